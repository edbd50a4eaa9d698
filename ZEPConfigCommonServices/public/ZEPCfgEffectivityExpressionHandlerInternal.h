#pragma once

#include "ExportedByZEPCfgCommonServices.h"
#include "ZEPBinary.h"

// Holds a compiled effectivity expression, in disjunctive normal form.
class ExportedByZEPCfgCommonServices ZEPCfgEffectivityExpressionHandlerInternal {
public:
  explicit ZEPCfgEffectivityExpressionHandlerInternal(const ZEPBinary& iDNF);
  ZEPCfgEffectivityExpressionHandlerInternal(const ZEPCfgEffectivityExpressionHandlerInternal& iOther);
  virtual ~ZEPCfgEffectivityExpressionHandlerInternal();

  ZEPCfgEffectivityExpressionHandlerInternal&
  operator=(const ZEPCfgEffectivityExpressionHandlerInternal& iOther);

  ZEPBinary GetDNFBinary(); // a copy

private:
  ZEPBinary m_DNF;
};
