#pragma once

#include "ZEPOmxAny.h"
#include "ZEPOmxUTF8String.h"
#include "ZEPPlatformExport.h"

// The JSON parser. Any number of threads may use it.
class ZEP_PLATFORM_API ZEPOmxJson {
public:
  // Parses one JSON document. S_OK, or a failure code with `oValue` untouched: invalid UTF-8, text
  // behind the document, nesting deeper than the parser allows, a document that is not closed. A
  // UTF-8 byte-order mark in front of the document is skipped; keys that repeat are all kept.
  static long parse(ZEPOmxUTF8String iText, ZEPOmxAny& oValue);
};
