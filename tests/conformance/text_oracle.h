#pragma once

#include "ZEPListValZEPCfgContextExpression.h"
#include "ZEPUnicodeString.h"

#include <string>
#include <vector>

// The text operations, one step behind the other as they are defined: search again from the start,
// cut out of the middle. Slow, and easy to compare with the definition; what the library does is
// compared with this.
namespace oracle {

struct Run {
  bool traced = false;
  long result = 0;
  std::vector<std::string> records; // texts, in UTF-8: errors, and details while the trace is on
  int jumpsBack = 0;                // how often a walk went on further in front
  int endlessWalks = 0;             // walks that would never have ended by themselves
  int joinedNames = 0;              // attribute names that a cut had joined
};

Run splitByContext(const ZEPUnicodeString& expression, ZEPListValZEPCfgContextExpression& contexts,
                   bool traced);
Run removeDescription(const ZEPUnicodeString& expression, ZEPUnicodeString& cleaned, bool traced);

// Member by member: the contexts' own operator tells none apart.
bool equal(const ZEPListValZEPCfgContextExpression& left, const ZEPListValZEPCfgContextExpression& right);

} // namespace oracle
