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
  // A view that is not known becomes Source.
  static ZEPCfgEffectivityView ApplyingView(PLMCfgExpressionView iView);
  // A view that is not known becomes Unset, which the other direction never gives.
  static PLMCfgExpressionView ApplyingView(ZEPCfgEffectivityView iView);

  // A domain that is not known becomes Unset.
  static ZEPCfgDiversityDomain DiversityDomain(PLMCfgDiversityDomain iDomain);
  static PLMCfgDiversityDomain DiversityDomain(ZEPCfgDiversityDomain iDomain);
};
