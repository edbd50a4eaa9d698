#include "ZEPPLMID.h"

ZEPPLMID::ZEPPLMID() = default;
ZEPPLMID::ZEPPLMID(const ZEPUnicodeString& text) : m_text(text) {}
ZEPPLMID::ZEPPLMID(const ZEPPLMID& other) = default;
ZEPPLMID& ZEPPLMID::operator=(const ZEPPLMID& other) = default;
ZEPPLMID::~ZEPPLMID() = default;

bool ZEPPLMID::IsNull() const {
  return m_text.IsEmpty();
}

ZEPUnicodeString ZEPPLMID::ToString(int) const {
  return m_text;
}
