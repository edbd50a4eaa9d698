#pragma once

#include "ZEPFilter.h"

class ZEPBinary;

namespace zep {

// Whether the bytes begin like a compiled filter; they may be damaged all the same.
bool LooksLikeFilterBinary(const ZEPBinary& binary);

// Whether they hold the same bytes.
bool IsSame(const ZEPBinary& left, const ZEPBinary& right);

// The same bytes for the same filter. Throws FilterFault for a filter that would be too large to be read.
ZEPBinary FilterBinary(const Filter& filter);

// Takes exactly the bytes that FilterBinary() makes, of filters within the limits: throws FilterFault for all
// others.
Filter ReadFilterBinary(const ZEPBinary& binary, const FilterLimits& limits);

} // namespace zep
