#pragma once

#include "PLMCfgComparisonMode.h"
#include "PLMCfgExpressionView.h"
#include "ZEPPlatformExport.h"

class ZEPBinary;
class ZEPListValZEPBinary;
class ZEPListValZEPBoolean;

// Compares compiled effectivity expressions.
class ZEP_PLATFORM_API ZEPCfgExpressionComparisonServices {
public:
  // For each candidate, whether every configuration that it selects is selected by the reference
  // too. A success code fills `oResults`, emptied first, with one boolean for each candidate, in
  // order; a failure code (not a compiled expression, too much work) leaves it untouched. The library asks
  // with the view 1 (current) and twice the mode 1 (exact) alone; others may be refused.
  static long IsIncluding(const ZEPBinary& iReference, const ZEPListValZEPBinary& iCandidates,
                          PLMCfgExpressionView iView, ZEPListValZEPBoolean& oResults,
                          PLMCfgComparisonMode iMode1, PLMCfgComparisonMode iMode2);
};
