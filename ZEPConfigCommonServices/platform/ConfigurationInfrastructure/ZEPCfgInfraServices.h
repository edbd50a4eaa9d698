#pragma once

#include "ZEPPlatformExport.h"

class ZEPUnicodeString;

// What the client's session knows about its configuration.
class ZEP_PLATFORM_API ZEPCfgInfraServices {
public:
  // The security context that requests to the server carry; empty when there is none. On a
  // failure code `oContext` is untouched.
  static long GetCurrentContext(ZEPUnicodeString& oContext);
  // Non-zero when the server works with branches.
  static unsigned char GetBranchingVar();
  // True when the session's provider has no server that could supply a stylesheet.
  static bool IsATSTProvider();
};
