#pragma once

#include "ZEPPlatformExport.h"

class ZEPPLMID;
class ZEPUnicodeString;

// The name of the type of configuration features.
ZEP_PLATFORM_API extern const char* const entity_ConfigurationFeature;

// What the dictionary knows of types.
class ZEP_PLATFORM_API ZEPCfgDictionaryServices {
public:
  // Whether the object is of that type. `iFlag` is 0. A success code sets `oIsOfType`; a failure
  // code leaves it untouched.
  static long IsPLMIDOfType(const ZEPPLMID& iId, const ZEPUnicodeString& iType, unsigned char iFlag,
                            unsigned char& oIsOfType);
};
