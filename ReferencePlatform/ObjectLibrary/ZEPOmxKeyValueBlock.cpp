#include "ZEPOmxKeyValueBlock.h"

#include "ZEPHResult.h"
#include "ZEPOmxAnyValue.h"

#include <algorithm>
#include <string_view>

namespace {

std::string_view Characters(const ZEPOmxKeyString& key) {
  const ZEPOmxUTF8String& text = key.ToUTF8String();
  return {text.asChar(), text.length()};
}

} // namespace

ZEPOmxKeyValueBlock::ZEPOmxKeyValueBlock() = default;

long ZEPOmxKeyValueBlock::GetValue(const ZEPOmxKeyString& iKey, ZEPOmxAny& oValue) const {
  if (!m_object.GetValue()) {
    return E_FAIL;
  }
  const auto& members = std::get<ZEPOmxAny::Value::Object>(m_object.GetValue()->content);
  const std::string_view key = Characters(iKey);
  const auto last = std::find_if(members.rbegin(), members.rend(),
                                 [key](const auto& member) { return Characters(member.GetKey()) == key; });
  if (last == members.rend()) {
    return E_FAIL;
  }
  oValue = ZEPOmxAny(last->GetValue()); // a copy first: `oValue` may be what holds this object
  return S_OK;
}
