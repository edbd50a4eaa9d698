#pragma once

#include "ExportedByZEPCfgCommonServices.h"

class ZEPCfgEffectivityExpressionHandlerInternal;

// Carries a compiled effectivity expression between callers. It owns the internal object that it
// points to, unless it came by it through an assignment.
class ExportedByZEPCfgCommonServices ZEPCfgEffectivityExpressionHandler {
public:
  // Empty: it points to nothing.
  ZEPCfgEffectivityExpressionHandler();
  ZEPCfgEffectivityExpressionHandler(const ZEPCfgEffectivityExpressionHandler&) = delete;
  // Deletes the internal object, if there is one.
  ~ZEPCfgEffectivityExpressionHandler();

  // Copies the pointer alone and leaves what was held. Both handlers then point to one object: it
  // is the caller's duty that only one of them deletes it.
  ZEPCfgEffectivityExpressionHandler& operator=(const ZEPCfgEffectivityExpressionHandler& iOther);

  // The pointer stays the handler's; null when the handler is empty.
  void getInternal(ZEPCfgEffectivityExpressionHandlerInternal*& oInternal);
  // Takes over the caller's object, which may be null, and sets the caller's pointer to null. What
  // was held is deleted, unless it is that very object.
  void setInternal(ZEPCfgEffectivityExpressionHandlerInternal*& ioInternal);

private:
  ZEPCfgEffectivityExpressionHandlerInternal* m_internal;
};
