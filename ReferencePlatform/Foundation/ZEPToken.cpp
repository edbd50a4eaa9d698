#include "ZEPToken.h"

ZEPToken::ZEPToken(const ZEPUnicodeString& text, const ZEPUnicodeString& separator)
    : m_text(text),
      m_separator(separator),
      m_position(0) {}

ZEPToken::~ZEPToken() = default;

ZEPUnicodeString ZEPToken::GetNextToken() {
  const int length = m_text.GetLengthInChar();
  // An empty separator would be found everywhere; it cuts nowhere.
  const int found = m_separator.IsEmpty() ? -1 : m_text.SearchSubString(m_separator, m_position, 1);
  const int end = found < 0 ? length : found;
  ZEPUnicodeString token = m_text.SubString(m_position, end - m_position);
  m_position = found < 0 ? length : end + m_separator.GetLengthInChar();
  return token;
}
