#pragma once

#include "ZEPIOmxInputStream.h"

class ZEPOmxUTF8String;

// Helpers on streams.
class ZEP_PLATFORM_API ZEPOmxIOUtils {
public:
  // Reads a stream to its end. S_OK and all of its bytes, or the stream's failure code with
  // `oText` untouched.
  static long ToString(const ZEPOmxSP<ZEPIOmxInputStream>& iStream, ZEPOmxUTF8String& oText);
};
