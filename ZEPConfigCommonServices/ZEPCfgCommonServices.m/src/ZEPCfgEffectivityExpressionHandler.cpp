#include "ZEPCfgEffectivityExpressionHandler.h"

#include "ZEPCfgEffectivityExpressionHandlerInternal.h"

// ---- ZEPCfgEffectivityExpressionHandlerInternal ------------------------------------------------

ZEPCfgEffectivityExpressionHandlerInternal::ZEPCfgEffectivityExpressionHandlerInternal(const ZEPBinary& iDNF)
    : m_DNF(iDNF) {}

ZEPCfgEffectivityExpressionHandlerInternal::ZEPCfgEffectivityExpressionHandlerInternal(
    const ZEPCfgEffectivityExpressionHandlerInternal& iOther) = default;

ZEPCfgEffectivityExpressionHandlerInternal::~ZEPCfgEffectivityExpressionHandlerInternal() = default;

ZEPCfgEffectivityExpressionHandlerInternal& ZEPCfgEffectivityExpressionHandlerInternal::operator=(
    const ZEPCfgEffectivityExpressionHandlerInternal& iOther) = default;

ZEPBinary ZEPCfgEffectivityExpressionHandlerInternal::GetDNFBinary() {
  return m_DNF;
}

// ---- ZEPCfgEffectivityExpressionHandler --------------------------------------------------------

ZEPCfgEffectivityExpressionHandler::ZEPCfgEffectivityExpressionHandler() : m_internal(nullptr) {}

ZEPCfgEffectivityExpressionHandler::~ZEPCfgEffectivityExpressionHandler() {
  delete m_internal;
  m_internal = nullptr;
}

// The pointer is shared on purpose.
ZEPCfgEffectivityExpressionHandler&
ZEPCfgEffectivityExpressionHandler::operator=(const ZEPCfgEffectivityExpressionHandler& iOther) = default;

void ZEPCfgEffectivityExpressionHandler::getInternal(ZEPCfgEffectivityExpressionHandlerInternal*& oInternal) {
  oInternal = m_internal;
}

void ZEPCfgEffectivityExpressionHandler::setInternal(
    ZEPCfgEffectivityExpressionHandlerInternal*& ioInternal) {
  if (m_internal != ioInternal) {
    delete m_internal;
    m_internal = ioInternal;
  }
  ioInternal = nullptr;
}
