#pragma once

#include "ZEPIOmxInputStream.h"
#include "ZEPOmxSP.h"

// The body of a request or of an answer.
class ZEP_PLATFORM_API ZEPOmxHttpEntity : public ZEPOmxObject {
public:
  // S_OK and a stream over the body from its start, or a failure code with `oStream` untouched.
  virtual long GetContent(ZEPOmxSP<ZEPIOmxInputStream>& oStream) = 0;
};
