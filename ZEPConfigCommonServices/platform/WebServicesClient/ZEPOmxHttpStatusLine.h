#pragma once

#include "ZEPOmxSP.h"

class ZEPUnicodeString;

// The first line of an answer.
class ZEP_PLATFORM_API ZEPOmxHttpStatusLine : public ZEPOmxObject {
public:
  virtual int GetStatusCode() = 0; // 200 for example
  // The line as the server wrote it, "HTTP/1.1 200 OK" for example.
  virtual ZEPUnicodeString ToString() = 0;
};
