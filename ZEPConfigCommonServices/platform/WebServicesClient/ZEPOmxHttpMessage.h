#pragma once

#include "ZEPOmxSP.h"

class ZEPOmxKeyString;
class ZEPUnicodeString;

class ZEP_PLATFORM_API ZEPOmxHttpMessage : public ZEPOmxObject {
public:
  // Adds a header. One CR LF at the end of the value is cut when it is sent; a message with CR, LF
  // or NUL anywhere else in a header is not sent: Execute fails.
  virtual void AddHeader(const ZEPOmxKeyString& iKey, const ZEPUnicodeString& iValue) = 0;
};
