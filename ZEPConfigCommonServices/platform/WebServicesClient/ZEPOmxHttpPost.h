#pragma once

#include "ZEPOmxHttpEntityRequest.h"

class ZEPUnicodeString;

// A POST request.
class ZEP_PLATFORM_API ZEPOmxHttpPost : public ZEPOmxHttpEntityRequest {
public:
  // Null when it cannot be had. The URL is checked when the request is executed.
  static ZEPOmxSP<ZEPOmxHttpPost> Create(const ZEPUnicodeString& iUrl);
};
