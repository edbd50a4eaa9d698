#pragma once

#include "ZEPOmxHttpEntityRequest.h"

class ZEPUnicodeString;

// A PUT request.
class ZEP_PLATFORM_API ZEPOmxHttpPut : public ZEPOmxHttpEntityRequest {
public:
  // Null when it cannot be had. The URL is checked when the request is executed.
  static ZEPOmxSP<ZEPOmxHttpPut> Create(const ZEPUnicodeString& iUrl);
};
