#pragma once

#include "ZEPOmxHttpEntity.h"
#include "ZEPOmxHttpStatusLine.h"
#include "ZEPOmxSP.h"

// The answer of a server.
class ZEP_PLATFORM_API ZEPOmxHttpResponse : public ZEPOmxObject {
public:
  virtual ZEPOmxSP<ZEPOmxHttpStatusLine> GetStatusLine() = 0; // never null
  // The body, or null when the answer has none.
  virtual ZEPOmxSP<ZEPOmxHttpEntity> GetEntity() = 0;
};
