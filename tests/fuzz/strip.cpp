#include "FuzzTarget.h"
#include "TextTarget.h"
#include "ZEPCfgXMLExpressionServices.h"
#include "ZEPHResult.h"
#include "text_oracle.h"

// Removing the description gives what the literal way gives, records included.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const ZEPUnicodeString text = fuzz::Text(fuzz::Bytes(data, size));
  const bool isTraced = fuzz::IsToBeTraced(size);

  ZEPUnicodeString expected;
  const oracle::Run run = oracle::removeDescription(text, expected, isTraced);
  ZEPUnicodeString cleaned = fuzz::kUntouched;
  const fuzz::RecordedCall call =
      fuzz::Recorded(isTraced, [&] { return ZEPCfgXMLExpressionServices::RemoveDescription(text, cleaned); });
  fuzz::Require(call.result == run.result, "the result is that of the literal removal");
  fuzz::Require(fuzz::AreRecords(call.records, run.records), "the records are those of the literal removal");
  fuzz::Require(cleaned == expected, "the text is that of the literal removal");
  fuzz::Require(!ZEPFailed(call.result) || cleaned.IsEmpty(), "a failure empties the output");

  ZEPUnicodeString both = text;
  fuzz::Require(ZEPCfgXMLExpressionServices::RemoveDescription(both, both) == call.result && both == cleaned,
                "input and output may be the same object");
  return 0;
}
