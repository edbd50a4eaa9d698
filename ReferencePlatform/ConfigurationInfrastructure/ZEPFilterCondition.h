#pragma once

#include "ZEPFilter.h"

#include <string>
#include <vector>

namespace zep {

// An expression as it was written, as a tree.
struct FilterCondition {
  enum class Kind {
    All,     // true when all parts are; without parts true
    Any,     // true when one of the parts is; without parts false
    Not,     // of its one part
    Literal, // the numbers may be none or all of the domain
  };

  Kind kind;
  std::vector<FilterCondition> parts;
  FilterLiteral literal{};
};

struct FilterDocument {
  std::vector<FilterVariable> variables; // as those of a filter
  FilterCondition condition;
};

} // namespace zep
