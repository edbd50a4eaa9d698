#include "ScriptedState.h"
#include "ZEPOmxAnyValue.h"
#include "ZEPOmxJson.h"
#include "ZEPOmxKeyValueBlock.h"

using namespace scripted;

namespace {

std::string bytesOf(const ZEPOmxUTF8String& text) {
  return {text.asChar(), text.length()};
}

} // namespace

long ZEPOmxJson::parse(ZEPOmxUTF8String iText, ZEPOmxAny& oValue) {
  const Call call(Op::JsonParse, bytesOf(iText));
  if (!call.Fails()) {
    oValue = call.GivesEmpty() ? ZEPOmxAny() : script().json;
  }
  return call.Code();
}

long ZEPOmxAny::Extract(ZEPOmxKeyValueBlock& oBlock) const {
  const Call call(Op::Extract);
  const bool isObject = m_value && m_value->GetKind() == Value::Kind::Object;
  const bool isGiven = isObject && !call.Fails() && !call.GivesEmpty();
  oBlock.m_object = isGiven ? *this : ZEPOmxAny();
  return call.Code(isObject ? S_OK : E_FAIL);
}

ZEPOmxKeyValueBlock::ZEPOmxKeyValueBlock() = default;

long ZEPOmxKeyValueBlock::GetValue(const ZEPOmxKeyString& iKey, ZEPOmxAny& oValue) const {
  const std::string key = bytesOf(iKey.ToUTF8String());
  const Call call(Op::GetValue, key);
  if (call.Fails()) {
    return call.Code();
  }
  long result = E_FAIL;
  for (const ZEPOmxMapItem& member : m_object.MapItems()) {
    if (bytesOf(member.GetKey().ToUTF8String()) == key) {
      oValue = call.GivesEmpty() ? ZEPOmxAny() : member.GetValue();
      result = S_OK;
    }
  }
  return call.Code(result);
}
