#pragma once

#include "ZEPOmxUTF8String.h"
#include "ZEPPlatformExport.h"

#include <cstddef>

class ZEPUnicodeString;

// The key of a JSON member or the name of a header.
class ZEP_PLATFORM_API ZEPOmxKeyString {
public:
  explicit ZEPOmxKeyString(const char* text);                // zero-terminated UTF-8
  ZEPOmxKeyString(const char* bytes, std::size_t byteCount); // UTF-8, copied

  const ZEPOmxUTF8String& ToUTF8String() const; // its bytes
  ZEPUnicodeString ToUnicodeString() const;     // its characters

private:
  ZEPOmxUTF8String m_text;
};
