#pragma once

#include "PLMCfgInString.h"
#include "ZEPPlatformExport.h"

#include <vector>

// A list of values of the configuration core.
class ZEP_PLATFORM_API PLMCfgInListVal {
public:
  // `elementType`: PLMCfgInString::sType().
  explicit PLMCfgInListVal(const char* elementType);
  PLMCfgInListVal(const PLMCfgInListVal&) = delete;
  PLMCfgInListVal& operator=(const PLMCfgInListVal&) = delete;
  ~PLMCfgInListVal();

  void PutBack(const PLMCfgInString& value); // appends a copy
  void Clear();                              // removes every value
  // The values, in order; valid until the list is changed.
  const std::vector<PLMCfgInString>& GetValues() const;

private:
  std::vector<PLMCfgInString> m_values;
};
