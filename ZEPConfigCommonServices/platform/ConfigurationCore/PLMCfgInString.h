#pragma once

#include "ZEPPlatformExport.h"
#include "ZEPUnicodeString.h"

// The text value of the configuration core.
class ZEP_PLATFORM_API PLMCfgInString {
public:
  // What names this value type to a PLMCfgInListVal.
  static const char* sType();

  PLMCfgInString(const char* narrowText);       // NOLINT(google-explicit-constructor)
  PLMCfgInString(const ZEPUnicodeString& text); // NOLINT(google-explicit-constructor)
  PLMCfgInString(const PLMCfgInString& other);
  PLMCfgInString& operator=(const PLMCfgInString& other);
  ~PLMCfgInString();

  const ZEPUnicodeString& GetText() const;

private:
  ZEPUnicodeString m_text;
};
