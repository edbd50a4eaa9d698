#include "ZEPCfgConstantsConversion.h"

namespace {

// Both enumerations number the domains alike.
template <class To, class From>
To sameDomain(From domain) {
  const int number = domain;
  return static_cast<To>(number >= ZEPCfgDiversityDomainDWS && number <= ZEPCfgDiversityDomainVariant
                             ? number
                             : ZEPCfgDiversityDomainUnset);
}

} // namespace

ZEPCfgEffectivityView ZEPCfgConstantsConversion::ApplyingView(PLMCfgExpressionView iView) {
  switch (iView) {
  case PLMCfgExpressionViewCurrent:
    return ZEPCfgEffectivityViewCurrent;
  case PLMCfgExpressionViewProjected:
    return ZEPCfgEffectivityViewProjected;
  default:
    return ZEPCfgEffectivityViewSource;
  }
}

PLMCfgExpressionView ZEPCfgConstantsConversion::ApplyingView(ZEPCfgEffectivityView iView) {
  switch (iView) {
  case ZEPCfgEffectivityViewSource:
    return PLMCfgExpressionViewSource;
  case ZEPCfgEffectivityViewCurrent:
    return PLMCfgExpressionViewCurrent;
  case ZEPCfgEffectivityViewProjected:
    return PLMCfgExpressionViewProjected;
  default:
    return PLMCfgExpressionViewUnset;
  }
}

ZEPCfgDiversityDomain ZEPCfgConstantsConversion::DiversityDomain(PLMCfgDiversityDomain iDomain) {
  return sameDomain<ZEPCfgDiversityDomain>(iDomain);
}

PLMCfgDiversityDomain ZEPCfgConstantsConversion::DiversityDomain(ZEPCfgDiversityDomain iDomain) {
  return sameDomain<PLMCfgDiversityDomain>(iDomain);
}
