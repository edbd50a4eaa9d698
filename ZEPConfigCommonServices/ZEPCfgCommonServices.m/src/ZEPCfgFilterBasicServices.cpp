#include "ZEPCfgFilterBasicServices.h"

#include "ZEPBinary.h"
#include "ZEPCfgExpressionComparisonServices.h"
#include "ZEPCfgServiceTrace.h"
#include "ZEPHResult.h"
#include "ZEPListValZEPBinary.h"
#include "ZEPListValZEPBoolean.h"

namespace {

ZEPCfgServiceTrace trace("ZEPCfgFilterBasicServices", "", __FILE__);
using TracedMethod = ZEPCfgTracedMethod<trace>;

// Fixed numbers of the comparison; no caller changes them.
constexpr auto comparisonView = static_cast<PLMCfgExpressionView>(1);
constexpr auto comparisonMode = static_cast<PLMCfgComparisonMode>(1);

char isAIncludedInBSignature[] =
    "long __cdecl ZEPCfgFilterBasicServices::IsAIncludedInB(const class ZEPBinary &,const class ZEPBinary &,unsigned char &)";

} // namespace

long ZEPCfgFilterBasicServices::IsAIncludedInB(const ZEPBinary& iA, const ZEPBinary& iB,
                                               unsigned char& oIsIncluded) {
  const TracedMethod method(isAIncludedInBSignature);
  ZEPListValZEPBinary candidates;
  candidates.Append(iA);
  ZEPListValZEPBoolean results;
  const long result = ZEPCfgExpressionComparisonServices::IsIncluding(iB, candidates, comparisonView, results,
                                                                      comparisonMode, comparisonMode);
  if (ZEPFailed(result)) {
    trace.Error("ERROR : IsIncluding FAILED");
    return result;
  }
  if (results.Size() != 1) {
    return E_FAIL;
  }
  oIsIncluded = results[1];
  return result;
}
