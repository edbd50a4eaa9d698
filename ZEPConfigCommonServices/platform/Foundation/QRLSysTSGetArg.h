#pragma once

#include "ZEPPlatformExport.h"

class ZEPUnicodeString;

// Value of a named argument that the running client was started with. A success code sets
// `oValue` (empty when the argument has no value); a failure code leaves it untouched. The two
// integers are outputs that mean nothing outside the platform.
ZEP_PLATFORM_API long QRLSysTSGetArg(const char* iName, int& oKind, int& oRank, ZEPUnicodeString& oValue);
