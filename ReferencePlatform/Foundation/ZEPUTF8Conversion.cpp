#include "ZEPUTF8Conversion.h"

#include "ZEPTranscoding.h"
#include "ZEPUnicodeString.h"

ZEPUTF8Conversion::ZEPUTF8Conversion(const ZEPUnicodeString& text) : m_bytes(m_inPlace) {
  const char16_t* const units = text.CastToUnitPtr();
  const auto unitCount = static_cast<std::size_t>(text.GetLengthInChar());
  m_byteCount = zep::UTF8ByteCount(units, unitCount);
  if (m_byteCount + 1 > kBytesInPlace) {
    m_bytes = new char[m_byteCount + 1];
  }
  zep::WriteUTF8(units, unitCount, m_bytes);
  m_bytes[m_byteCount] = '\0';
}

ZEPUTF8Conversion::~ZEPUTF8Conversion() {
  if (m_bytes != m_inPlace) {
    delete[] m_bytes;
  }
}

const char* ZEPUTF8Conversion::Bytes() const {
  return m_bytes;
}

std::size_t ZEPUTF8Conversion::ByteCount() const {
  return m_byteCount;
}
