#pragma once

#include "ZEPOmxHttpRequest.h"

class ZEPUnicodeString;

// A GET request.
class ZEP_PLATFORM_API ZEPOmxHttpGet : public ZEPOmxHttpRequest {
public:
  // Null when it cannot be had. The URL is checked when the request is executed.
  static ZEPOmxSP<ZEPOmxHttpGet> Create(const ZEPUnicodeString& iUrl);
};
