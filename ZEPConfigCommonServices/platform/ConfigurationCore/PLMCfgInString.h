#pragma once

#include "ZEPPlatformExport.h"
#include "ZEPUnicodeString.h"

// The text value of the configuration core.
class ZEP_PLATFORM_API PLMCfgInString {
public:
  // What names this value type to a PLMCfgInListVal.
  static const char* sType();

  // From zero-terminated narrow text; null reads as empty.
  PLMCfgInString(const char* narrowText); // NOLINT(google-explicit-constructor)
  // From a text, which is copied.
  PLMCfgInString(const ZEPUnicodeString& text); // NOLINT(google-explicit-constructor)
  PLMCfgInString(const PLMCfgInString& other);
  PLMCfgInString& operator=(const PLMCfgInString& other);
  ~PLMCfgInString();

  const ZEPUnicodeString& GetText() const; // valid until the value is changed

private:
  ZEPUnicodeString m_text;
};
