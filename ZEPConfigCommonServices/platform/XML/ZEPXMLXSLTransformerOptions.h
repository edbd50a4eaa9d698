#pragma once

#include "ZEPPlatformExport.h"
#include "ZEPUnicodeString.h"

// Names of the transformer's options.
class ZEP_PLATFORM_API ZEPXMLXSLTransformerOptions {
public:
  // Value "text": the result is delivered as text whatever the stylesheet's own output method.
  static const ZEPUnicodeString OutputFormat;
};
