#pragma once

#include "ZEPFilter.h"

#include <vector>

namespace zep {

// The same selection with fewer terms: each once, in order; terms that differ in one variable alone
// become one, and a term that says what another says, and more, goes. Cheap, not thorough.
std::vector<FilterTerm> Simplified(std::vector<FilterTerm> terms,
                                   const std::vector<FilterVariable>& variables);

} // namespace zep
