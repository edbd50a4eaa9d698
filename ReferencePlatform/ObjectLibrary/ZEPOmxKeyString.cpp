#include "ZEPOmxKeyString.h"

#include "ZEPUnicodeString.h"

#include <cstring>

ZEPOmxKeyString::ZEPOmxKeyString(const char* text)
    : ZEPOmxKeyString(text, text == nullptr ? 0 : std::strlen(text)) {}

ZEPOmxKeyString::ZEPOmxKeyString(const char* bytes, std::size_t byteCount) : m_text(bytes, byteCount) {}

const ZEPOmxUTF8String& ZEPOmxKeyString::ToUTF8String() const {
  return m_text;
}

ZEPUnicodeString ZEPOmxKeyString::ToUnicodeString() const {
  ZEPUnicodeString text;
  text.BuildFromUTF8(m_text.asChar(), m_text.length());
  return text;
}
