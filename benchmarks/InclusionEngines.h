#pragma once

#include "InclusionProblem.h"

#include <functional>
#include <optional>
#include <string>
#include <vector>

namespace inclusion {

// Nothing where the engine gives up.
using Question = std::function<std::optional<bool>()>;

struct Engine {
  std::string name;
  bool isExact;
  // What is done outside of the measured time. The problem outlives the question.
  Question (*prepare)(const Problem& problem);
};
const std::vector<Engine>& engines();

} // namespace inclusion
