#pragma once

#include "ZEPPlatformExport.h"

// A broken invariant: writes the text to stderr and ends the process, in release builds too.
[[noreturn]] ZEP_PLATFORM_API void ZEPOmxAssertionFailed(const char* iWhat);
