#pragma once

#include "ZEPUnicodeString.h"

#include <nlohmann/json.hpp>
#include <string>

namespace zep::cli {

// What a line of a stream says.
struct LineInput {
  nlohmann::ordered_json id; // discarded where there is none
  ZEPUnicodeString expression;
};

// Throws CommandFailure for a line that is not JSON or holds no expression.
LineInput parseLine(const std::string& line);

} // namespace zep::cli
