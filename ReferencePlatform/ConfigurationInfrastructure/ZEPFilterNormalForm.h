#pragma once

#include "ZEPFilterCondition.h"

namespace zep {

// The disjunctive normal form of an expression; the same for the same document. Throws FilterFault
// where it, or one on the way to it, would pass the limits.
Filter NormalFormOf(FilterDocument document, const FilterLimits& limits);

} // namespace zep
