#include "FuzzTarget.h"
#include "ZEPCfgBasicInfraServices.h"
#include "ZEPCfgDictionaryServices.h"
#include "ZEPCfgWebServices.h"
#include "ZEPHResult.h"
#include "ZEPListValZEPPLMID.h"
#include "ZEPPLMID.h"

#include <vector>

namespace {

struct Answer {
  long result;
  ZEPUnicodeString text;
};

using Question = long (*)(const ZEPPLMID&, ZEPUnicodeString&);

Answer Ask(Question question, const ZEPPLMID& id) {
  Answer answer{S_OK, fuzz::kUntouched};
  answer.result = question(id, answer.text);
  fuzz::Require(!ZEPFailed(answer.result) || answer.text == fuzz::kUntouched,
                "a failure leaves the text untouched");
  return answer;
}

// The list of one identifier, as a request names it.
void CheckList(const ZEPPLMID& id, const Answer& expected) {
  ZEPListValZEPPLMID ids;
  ids.Append(id);
  std::vector<ZEPUnicodeString> texts;
  const long result = ZEPCfgWebServices::BuildJsonList(ids, texts);
  fuzz::Require(ZEPFailed(result) == ZEPFailed(expected.result), "the list fails where the part is missing");
  fuzz::Require(ZEPFailed(result) ? texts.empty() : texts.size() == 1 && texts[0] == expected.text,
                "the list names the object by that part");
}

} // namespace

// The parts of an identifier, put together again, are its text.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const ZEPUnicodeString text = fuzz::Text(fuzz::Bytes(data, size));
  const ZEPPLMID id(text);
  const Answer logical = Ask(ZEPCfgBasicInfraServices::GetLogicalID, id);
  const Answer physical = Ask(ZEPCfgBasicInfraServices::GetPhysicalID, id);

  constexpr unsigned char kBefore = 77;
  unsigned char isFeature = kBefore;
  const long typeResult =
      ZEPCfgDictionaryServices::IsPLMIDOfType(id, entity_ConfigurationFeature, 0, isFeature);
  fuzz::Require(ZEPFailed(typeResult) == ZEPFailed(physical.result),
                "type and physical part are read from the same texts");
  fuzz::Require(ZEPFailed(typeResult) == (isFeature == kBefore), "a failure leaves the answer untouched");
  if (ZEPFailed(typeResult)) {
    fuzz::Require(ZEPFailed(logical.result), "a text that is no identifier has no logical part");
    CheckList(id, physical);
    return 0;
  }
  const ZEPUnicodeString type = text.SubString(0, text.SearchSubString(":", 0, 1));
  unsigned char isOfType = kBefore;
  fuzz::Require(ZEPCfgDictionaryServices::IsPLMIDOfType(id, type, 0, isOfType) == S_OK && isOfType == 1,
                "the type is what stands in front of the first colon");
  const ZEPUnicodeString logicalText = ZEPFailed(logical.result) ? ZEPUnicodeString() : logical.text;
  fuzz::Require(type + ":" + logicalText + ":" + physical.text == text, "the parts are all of the text");
  CheckList(id, isFeature == 1 ? logical : physical);
  return 0;
}
