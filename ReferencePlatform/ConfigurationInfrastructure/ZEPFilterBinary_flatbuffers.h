#pragma once

#include "ZEPFilter.h"

class ZEPBinary;

namespace zep {

// Whether the bytes begin like a compiled filter; they may be damaged all the same.
bool LooksLikeFilterBinary(const ZEPBinary& binary);

// The same bytes for the same filter.
ZEPBinary FilterBinary(const Filter& filter);

// Takes exactly the bytes that FilterBinary() makes, of filters within the limits: throws FilterFault for all
// others.
Filter ReadFilterBinary(const ZEPBinary& binary, const FilterLimits& limits);

} // namespace zep
