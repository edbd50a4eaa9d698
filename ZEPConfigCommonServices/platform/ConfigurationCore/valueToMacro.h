#pragma once

#include "ZEPPlatformExport.h"

#include <unordered_map>

// The macro name of each result code that has one. Built when the platform is loaded, never
// changed afterwards.
ZEP_PLATFORM_API extern const std::unordered_map<long, const char*> valueToMacro;
