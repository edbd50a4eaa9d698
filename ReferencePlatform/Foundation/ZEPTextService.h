#pragma once

#include <cstddef>
#include <string>
#include <string_view>

// What a service of the system or a library of its field knows about texts. Fewer than 2^31 bytes or
// units at once.
namespace zep {

// In small letters, by the rules of no language in particular.
std::u16string Lowered(std::u16string_view text);

// One U+FFFD for each maximal ill-formed subpart. Gives the number of units written. REQUIRES: room
// for as many as there are bytes, and at least one byte.
std::size_t WriteMixedUTF16(const char* bytes, std::size_t byteCount, char16_t* units);

// U+FFFD for each lone surrogate. Gives the number of bytes written. REQUIRES: room for three times as
// many as there are units, or for what they give; at least one unit.
std::size_t WriteMixedUTF8Step(const char16_t* units, std::size_t unitCount, char* bytes);

} // namespace zep
