#pragma once

#include "ZEPOmxUTF8String.h"
#include "ZEPPlatformExport.h"

#include <cstddef>

class ZEPUnicodeString;

// The key of a JSON member or the name of a header.
class ZEP_PLATFORM_API ZEPOmxKeyString {
public:
  explicit ZEPOmxKeyString(const char* text); // zero-terminated UTF-8
  ZEPOmxKeyString(const char* bytes, std::size_t byteCount);

  const ZEPOmxUTF8String& ToUTF8String() const;
  ZEPUnicodeString ToUnicodeString() const;

private:
  ZEPOmxUTF8String m_text;
};
