#pragma once

#include "ZEPPlatformExport.h"

#include <cstddef>

class ZEPUnicodeString;

// The UTF-8 form of a text, in a buffer that lives as long as this object. Texts of up to 32
// bytes, the terminating zero included, are kept in place, longer ones on the heap. A lone
// surrogate becomes U+FFFD.
class ZEP_PLATFORM_API ZEPUTF8Conversion {
public:
  // Converts the text, which may end before this object.
  explicit ZEPUTF8Conversion(const ZEPUnicodeString& text);
  ~ZEPUTF8Conversion();
  ZEPUTF8Conversion(const ZEPUTF8Conversion&) = delete;
  ZEPUTF8Conversion& operator=(const ZEPUTF8Conversion&) = delete;

  // Zero-terminated; a NUL inside the text is kept and counted by ByteCount().
  const char* Bytes() const;
  std::size_t ByteCount() const; // without the terminating zero

private:
  static constexpr std::size_t kBytesInPlace = 32;

  char m_inPlace[kBytesInPlace];
  char* m_bytes; // m_inPlace, or owned heap memory
  std::size_t m_byteCount;
};
