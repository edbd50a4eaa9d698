#pragma once

#include "ZEPPlatformExport.h"

#include <cstddef>
#include <vector>

// An opaque run of bytes, held by value.
class ZEP_PLATFORM_API ZEPBinary {
public:
  ZEPBinary();
  ZEPBinary(const void* bytes, std::size_t byteCount); // copies
  ZEPBinary(const ZEPBinary& other);
  ZEPBinary& operator=(const ZEPBinary& other);
  ~ZEPBinary();

  const unsigned char* Bytes() const; // valid until the binary is changed
  std::size_t ByteCount() const;      // 0 when it is empty

private:
  std::vector<unsigned char> m_bytes;
};
