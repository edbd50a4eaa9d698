#pragma once

#include "ZEPPlatformExport.h"

class ZEPPLMID;
class ZEPUnicodeString;

// The identifiers under which the server's services know an object. A success code sets `oText`; a
// failure code leaves it untouched.
class ZEP_PLATFORM_API ZEPCfgBasicInfraServices {
public:
  // The identifier that all versions of the object share.
  static long GetLogicalID(const ZEPPLMID& iId, ZEPUnicodeString& oText);
  // The identifier of this very object.
  static long GetPhysicalID(const ZEPPLMID& iId, ZEPUnicodeString& oText);
};
