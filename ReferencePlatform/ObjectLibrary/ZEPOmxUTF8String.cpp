#include "ZEPOmxUTF8String.h"

#include "ZEPTranscoding.h"
#include "ZEPUnicodeString.h"

#include <utility>

ZEPOmxUTF8String::ZEPOmxUTF8String() = default;

ZEPOmxUTF8String::ZEPOmxUTF8String(const ZEPUnicodeString& text)
    : m_bytes(zep::UTF8FromUTF16(text.CastToUnitPtr(), static_cast<std::size_t>(text.GetLengthInChar()),
                                 kRoomBehind)) {}

ZEPOmxUTF8String::ZEPOmxUTF8String(const char* bytes, std::size_t byteCount) {
  if (bytes != nullptr) {
    m_bytes.assign(bytes, byteCount);
  }
}

ZEPOmxUTF8String::ZEPOmxUTF8String(const ZEPOmxUTF8String& other) = default;

ZEPOmxUTF8String::ZEPOmxUTF8String(ZEPOmxUTF8String&& other) noexcept : m_bytes(std::move(other.m_bytes)) {
  other.m_bytes.clear();
}

ZEPOmxUTF8String& ZEPOmxUTF8String::operator=(const ZEPOmxUTF8String& other) = default;

ZEPOmxUTF8String& ZEPOmxUTF8String::operator=(ZEPOmxUTF8String&& other) noexcept {
  if (this != &other) {
    m_bytes = std::move(other.m_bytes);
    other.m_bytes.clear();
  }
  return *this;
}

ZEPOmxUTF8String::~ZEPOmxUTF8String() = default;

const char* ZEPOmxUTF8String::asChar() const {
  return m_bytes.c_str();
}

void ZEPOmxUTF8String::MakeRoomBehind() {
  if (m_bytes.capacity() - m_bytes.size() < kRoomBehind) {
    const std::size_t length = m_bytes.size();
    m_bytes.resize(length + kRoomBehind);
    m_bytes.resize(length);
  }
}

std::size_t ZEPOmxUTF8String::length() const {
  return m_bytes.size();
}
