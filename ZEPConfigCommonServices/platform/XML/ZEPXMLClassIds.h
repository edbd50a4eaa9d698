#pragma once

#include "ZEPPlatformExport.h"

#include <cstdint>

// Names a component class: four groups of bits, of which only the whole means something.
struct GUID {
  std::uint32_t Data1;   // the first 32 bits
  std::uint16_t Data2;   // the next 16
  std::uint16_t Data3;   // the next 16
  std::uint8_t Data4[8]; // the last 64
};

ZEP_PLATFORM_API extern const GUID CLSID_XML4C_SAX; // SAX2 factory
ZEP_PLATFORM_API extern const GUID CLSID_XSLT_JAVA; // XSL factory
ZEP_PLATFORM_API extern const GUID CLSID_XML4C5_PP; // output (pretty-print) factory
