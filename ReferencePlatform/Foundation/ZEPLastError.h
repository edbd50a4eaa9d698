#pragma once

#include "ZEPPlatformExport.h"

#include <string>

// How the platform's own operations record what ZEPError::ZEPGetLastError gives out. The error
// replaces the one recorded before on the calling thread. Does not throw, and allocates nothing.
ZEP_PLATFORM_API void ZEPSetLastError(long code, std::string utf8Message);
