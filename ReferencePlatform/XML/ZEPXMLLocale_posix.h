#pragma once

#include <locale.h>

namespace zep {

// While it lives, numbers on this thread are written and read with a point, whatever the host has asked for:
// libxml2 goes by the locale.
class XMLPlainLocale {
public:
  XMLPlainLocale() : m_outer(uselocale(Plain())) {}
  ~XMLPlainLocale() { uselocale(m_outer); }
  XMLPlainLocale(const XMLPlainLocale&) = delete;
  XMLPlainLocale& operator=(const XMLPlainLocale&) = delete;

private:
  // Null without memory: then nothing is changed.
  static locale_t Plain() {
    static const locale_t plain = newlocale(LC_ALL_MASK, "C", static_cast<locale_t>(nullptr));
    return plain;
  }

  locale_t m_outer;
};

} // namespace zep
