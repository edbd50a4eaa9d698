#include "ZEPCfgExpressionComparisonServices.h"

#include "ZEPFilterComparison.h"
#include "ZEPFilterResult.h"
#include "ZEPListValZEPBinary.h"
#include "ZEPListValZEPBoolean.h"

namespace {

ZEPListValZEPBoolean AreIncluded(const ZEPListValZEPBinary& candidates, const ZEPBinary& reference) {
  zep::FilterComparison comparison(reference);
  ZEPListValZEPBoolean results;
  for (int i = 1; i <= candidates.Size(); ++i) {
    results.Append(comparison.FindCounterexample(candidates[i]) ? 0 : 1);
  }
  return results;
}

} // namespace

// A compiled filter is of the current view, and says all that it says exactly.
long ZEPCfgExpressionComparisonServices::IsIncluding(
    const ZEPBinary& iReference, const ZEPListValZEPBinary& iCandidates, PLMCfgExpressionView iView,
    ZEPListValZEPBoolean& oResults, PLMCfgComparisonMode iMode1, PLMCfgComparisonMode iMode2) {
  if (iView != PLMCfgExpressionViewCurrent || iMode1 != PLMCfgComparisonModeExact ||
      iMode2 != PLMCfgComparisonModeExact) {
    ZEPSetLastError(E_INVALIDARG, "only current views are compared, and only exactly");
    return E_INVALIDARG;
  }
  return zep::FilterResult([&] { oResults = AreIncluded(iCandidates, iReference); });
}
