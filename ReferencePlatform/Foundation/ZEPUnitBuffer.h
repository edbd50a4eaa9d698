#pragma once

#include <cstddef>

// Memory for the units of long texts. Texts with the same content share it; it is given back when
// the last of them lets go of it. Whoever shares it only reads.
namespace zep {

// Room for that many units and a zero behind them. The caller is the sole owner. Throws
// std::bad_alloc.
char16_t* NewUnits(std::size_t capacity);

// The same units with room for `capacity` of them, at another place if need be; when it throws,
// nothing has changed. REQUIRES: a sole owner.
char16_t* ResizedUnits(char16_t* units, std::size_t capacity);

std::size_t CapacityOf(const char16_t* units);
bool HasSoleOwner(const char16_t* units);

void HoldUnits(char16_t* units);
void LetGoOfUnits(char16_t* units);

} // namespace zep
