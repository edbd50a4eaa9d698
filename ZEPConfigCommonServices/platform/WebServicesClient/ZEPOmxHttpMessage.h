#pragma once

#include "ZEPOmxSP.h"

class ZEPOmxKeyString;
class ZEPUnicodeString;

// What has headers: the base of requests.
class ZEP_PLATFORM_API ZEPOmxHttpMessage : public ZEPOmxObject {
public:
  // Adds a header. One CR LF at the end of the value is cut when it is sent; a message with CR, LF
  // or NUL anywhere else in a header is not sent: Execute fails. It fails likewise for other control
  // characters and for the headers that are the transport's own (Content-Length, Host, Connection
  // and the like). Of several headers with one name, each is sent.
  virtual void AddHeader(const ZEPOmxKeyString& iKey, const ZEPUnicodeString& iValue) = 0;
};
