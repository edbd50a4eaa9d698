#pragma once

#include "ZEPPlatformExport.h"

#include <cstddef>
#include <string>

class ZEPUnicodeString;

// Bytes that are meant to be UTF-8; what came from outside is not checked.
class ZEP_PLATFORM_API ZEPOmxUTF8String {
public:
  ZEPOmxUTF8String();
  // A lone surrogate becomes U+FFFD.
  explicit ZEPOmxUTF8String(const ZEPUnicodeString& text);
  // Copies the bytes as they stand.
  ZEPOmxUTF8String(const char* bytes, std::size_t byteCount);
  ZEPOmxUTF8String(const ZEPOmxUTF8String& other);
  ZEPOmxUTF8String(ZEPOmxUTF8String&& other) noexcept; // leaves `other` empty
  ZEPOmxUTF8String& operator=(const ZEPOmxUTF8String& other);
  ZEPOmxUTF8String& operator=(ZEPOmxUTF8String&& other) noexcept; // leaves `other` empty
  ~ZEPOmxUTF8String();

  const char* asChar() const; // zero-terminated, valid until the string is changed
  std::size_t length() const; // in bytes

private:
  friend class ZEPOmxJson;
  static constexpr std::size_t kRoomBehind = 64; // that a parser may read, whatever stands there

  void MakeRoomBehind();

  std::string m_bytes;
};
