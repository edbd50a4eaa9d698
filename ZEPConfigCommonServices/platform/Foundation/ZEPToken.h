#pragma once

#include "ZEPPlatformExport.h"
#include "ZEPUnicodeString.h"

// Cuts a text at a separator. Empty tokens are given out like any other ("a;;b" has three); after
// the last one every further token is empty.
class ZEP_PLATFORM_API ZEPToken {
public:
  // Both texts are copied.
  ZEPToken(const ZEPUnicodeString& text, const ZEPUnicodeString& separator);
  ~ZEPToken();
  ZEPToken(const ZEPToken&) = delete;
  ZEPToken& operator=(const ZEPToken&) = delete;

  ZEPUnicodeString GetNextToken(); // without the separator

private:
  ZEPUnicodeString m_text;
  ZEPUnicodeString m_separator;
  int m_position; // where the next token starts; the end when there is none left
};
