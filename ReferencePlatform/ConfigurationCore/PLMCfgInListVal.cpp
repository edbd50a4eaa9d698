#include "PLMCfgInListVal.h"

PLMCfgInListVal::PLMCfgInListVal(const char*) {}
PLMCfgInListVal::~PLMCfgInListVal() = default;

void PLMCfgInListVal::PutBack(const PLMCfgInString& value) {
  m_values.push_back(value);
}

void PLMCfgInListVal::Clear() {
  m_values.clear();
}

const std::vector<PLMCfgInString>& PLMCfgInListVal::GetValues() const {
  return m_values;
}
