#pragma once

#include "ZEPFilterComparison.h"

#include <nlohmann/json.hpp>
#include <string>

namespace zep::cli {

// One line for each value that matters.
std::string inWords(const Configuration& configuration);

// A list of objects with kind, name (null where the kind says all) and value (null for any that neither
// filter names).
nlohmann::ordered_json asJSON(const Configuration& configuration);

} // namespace zep::cli
