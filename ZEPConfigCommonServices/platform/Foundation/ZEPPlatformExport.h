#pragma once

// Marks what the platform's shared object offers to the library and to programs.
#if defined(_WIN32)
#define ZEP_PLATFORM_API
#else
#define ZEP_PLATFORM_API __attribute__((visibility("default")))
#endif
