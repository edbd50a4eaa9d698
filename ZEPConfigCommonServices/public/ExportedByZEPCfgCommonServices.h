#pragma once

// Marks what the library's shared object offers.
#if defined(_WIN32)
#if defined(ZEPCfgCommonServices_EXPORTS)
#define ExportedByZEPCfgCommonServices __declspec(dllexport)
#else
#define ExportedByZEPCfgCommonServices __declspec(dllimport)
#endif
#else
#define ExportedByZEPCfgCommonServices __attribute__((visibility("default")))
#endif
