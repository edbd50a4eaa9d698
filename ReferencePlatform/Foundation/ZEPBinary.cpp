#include "ZEPBinary.h"

ZEPBinary::ZEPBinary() = default;

ZEPBinary::ZEPBinary(const void* bytes, std::size_t byteCount)
    : m_bytes(static_cast<const unsigned char*>(bytes),
              static_cast<const unsigned char*>(bytes) + byteCount) {}

ZEPBinary::ZEPBinary(const ZEPBinary& other) = default;
ZEPBinary& ZEPBinary::operator=(const ZEPBinary& other) = default;
ZEPBinary::~ZEPBinary() = default;

const unsigned char* ZEPBinary::Bytes() const {
  return m_bytes.data();
}

std::size_t ZEPBinary::ByteCount() const {
  return m_bytes.size();
}
