#pragma once

#include "ZEPOmxHttpRequest.h"
#include "ZEPOmxHttpResponse.h"
#include "ZEPOmxSP.h"

// The object HTTP client. Connections are kept alive and shared behind it.
class ZEP_PLATFORM_API ZEPOmxDefaultHttpClient : public ZEPOmxObject {
public:
  // `iFlag`: 0. Null when it cannot be had.
  static ZEPOmxSP<ZEPOmxDefaultHttpClient> Create(int iFlag);

  // Sends the request and receives the whole answer. REQUIRES: `oResponse` is null, else the
  // platform's assertion ends the process. A success code sets it, whatever the status; a failure
  // code (no answer, or not a valid one, or too long a body) leaves it null.
  virtual long Execute(const ZEPOmxSP<ZEPOmxHttpRequest>& iRequest,
                       ZEPOmxSP<ZEPOmxHttpResponse>& oResponse) = 0;
};
