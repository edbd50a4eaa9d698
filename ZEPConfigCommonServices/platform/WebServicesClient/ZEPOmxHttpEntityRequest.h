#pragma once

#include "ZEPOmxHttpEntity.h"
#include "ZEPOmxHttpRequest.h"

// A request that carries a body.
class ZEP_PLATFORM_API ZEPOmxHttpEntityRequest : public ZEPOmxHttpRequest {
public:
  // The server's service that the request is meant for; the text is copied.
  virtual void SetServiceName(const char* iName) = 0;
  // The request takes a reference of its own.
  virtual void SetEntity(const ZEPOmxSP<ZEPOmxHttpEntity>& iEntity) = 0;
};
