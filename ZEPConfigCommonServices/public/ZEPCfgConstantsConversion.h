#pragma once

#include "ExportedByZEPCfgCommonServices.h"
#include "PLMCfgDiversityDomain.h"
#include "PLMCfgExpressionView.h"
#include "ZEPCfgDiversityDomain.h"
#include "ZEPCfgEffectivityView.h"

// Translates between the enumerations of the configuration core and those of the callers. Pure, for
// any number of threads, for any number that an argument may hold.
class ExportedByZEPCfgCommonServices ZEPCfgConstantsConversion {
public:
  // The caller's view for a core view: Source, Current or Projected. A view that is not known becomes
  // Source.
  static ZEPCfgEffectivityView ApplyingView(PLMCfgExpressionView iView);
  // The core view for a caller's view. A view that is not known becomes Unset, from which the other
  // direction does not lead back: it makes that Source.
  static PLMCfgExpressionView ApplyingView(ZEPCfgEffectivityView iView);

  // The caller's domain for a core domain, which has the same number. A domain that is not known
  // becomes Unset.
  static ZEPCfgDiversityDomain DiversityDomain(PLMCfgDiversityDomain iDomain);
  // The core domain for a caller's domain, likewise.
  static PLMCfgDiversityDomain DiversityDomain(ZEPCfgDiversityDomain iDomain);
};
