#include "FuzzTarget.h"
#include "TextTarget.h"
#include "ZEPCfgContextExpression.h"
#include "ZEPCfgXMLExpressionServices.h"
#include "ZEPHResult.h"
#include "text_oracle.h"

// Splitting a text gives what the literal way gives, records included.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const ZEPUnicodeString text = fuzz::Text(fuzz::Bytes(data, size));
  const bool isTraced = fuzz::IsToBeTraced(size);

  ZEPListValZEPCfgContextExpression expected;
  const oracle::Run run = oracle::splitByContext(text, expected, isTraced);
  ZEPListValZEPCfgContextExpression contexts;
  const fuzz::RecordedCall call =
      fuzz::Recorded(isTraced, [&] { return ZEPCfgXMLExpressionServices::SplitByContext(text, contexts); });

  fuzz::Require(call.result == S_OK, "a split is always S_OK");
  fuzz::Require(fuzz::AreRecords(call.records, run.records), "the records are those of the literal split");
  fuzz::Require(oracle::equal(contexts, expected), "the contexts are those of the literal split");
  for (int i = 1; i <= contexts.Size(); ++i) {
    fuzz::Require(contexts[i].m_holderNames.Size() ==
                      contexts[i].m_inheritedEffIds.Size() + contexts[i].m_operationHandlerIds.Size(),
                  "there is a holder name for each identifier");
  }
  return 0;
}
