#include "ZEPOmxAny.h"

#include "ZEPOmxAnyValue.h"
#include "ZEPUnicodeString.h"

ZEPOmxAny::ZEPOmxAny() = default;

ZEPOmxAny::ZEPOmxAny(std::shared_ptr<const Value> value) : m_value(std::move(value)) {}

const std::shared_ptr<const ZEPOmxAny::Value>& ZEPOmxAny::GetValue() const {
  return m_value;
}

std::vector<ZEPOmxMapItem> ZEPOmxAny::MapItems() const {
  const auto* const members = m_value ? std::get_if<Value::Object>(&m_value->content) : nullptr;
  return members == nullptr ? std::vector<ZEPOmxMapItem>() : *members;
}

ZEPUnicodeString ZEPOmxAny::ToUnicodeString() const {
  ZEPUnicodeString text;
  if (const auto* const string = m_value ? std::get_if<Value::String>(&m_value->content) : nullptr) {
    text.BuildFromUTF8(string->characters.data(), string->characters.size());
  }
  return text;
}

ZEPOmxMapItem::ZEPOmxMapItem(const ZEPOmxKeyString& key, const ZEPOmxAny& value)
    : m_key(key),
      m_value(value) {}

const ZEPOmxKeyString& ZEPOmxMapItem::GetKey() const {
  return m_key;
}

const ZEPOmxAny& ZEPOmxMapItem::GetValue() const {
  return m_value;
}
