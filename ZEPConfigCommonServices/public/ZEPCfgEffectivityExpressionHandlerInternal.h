#pragma once

#include "ExportedByZEPCfgCommonServices.h"
#include "ZEPBinary.h"

// Holds a compiled effectivity expression, in disjunctive normal form, by value. Whoever creates it
// owns it, until ZEPCfgEffectivityExpressionHandler::setInternal() takes it over.
class ExportedByZEPCfgCommonServices ZEPCfgEffectivityExpressionHandlerInternal {
public:
  // Copies the compiled expression, whose content is not looked at.
  explicit ZEPCfgEffectivityExpressionHandlerInternal(const ZEPBinary& iDNF);
  // A copy with a compiled expression of its own.
  ZEPCfgEffectivityExpressionHandlerInternal(const ZEPCfgEffectivityExpressionHandlerInternal& iOther);
  virtual ~ZEPCfgEffectivityExpressionHandlerInternal();

  // Copies the compiled expression of the other one.
  ZEPCfgEffectivityExpressionHandlerInternal&
  operator=(const ZEPCfgEffectivityExpressionHandlerInternal& iOther);

  // A copy of the compiled expression: changing it changes nothing here.
  ZEPBinary GetDNFBinary();

private:
  ZEPBinary m_DNF;
};
