#pragma once

#include "ZEPPlatformExport.h"

class ZEPUnicodeString;

// Value of an environment variable as narrow text, or null when it is not set. The platform owns
// the text; it stays valid until the variable is next changed.
ZEP_PLATFORM_API const char* ZEPGetEnv(const char* name);

// Expands the variable references `$NAME`, `${NAME}` and `%NAME%` in place, once, from left to
// right; what a reference expands to is not expanded again. An unset variable expands to
// nothing; a `$` or `%` that begins no reference stands for itself. Returns S_OK.
ZEP_PLATFORM_API long ZEPExpandString(ZEPUnicodeString* ioText);
