#include "PLMCfgInString.h"

const char* PLMCfgInString::sType() {
  return "PLMCfgInString";
}

PLMCfgInString::PLMCfgInString(const char* narrowText) : m_text(narrowText) {}
PLMCfgInString::PLMCfgInString(const ZEPUnicodeString& text) : m_text(text) {}
PLMCfgInString::PLMCfgInString(const PLMCfgInString& other) = default;
PLMCfgInString& PLMCfgInString::operator=(const PLMCfgInString& other) = default;
PLMCfgInString::~PLMCfgInString() = default;

const ZEPUnicodeString& PLMCfgInString::GetText() const {
  return m_text;
}
