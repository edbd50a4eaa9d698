#pragma once

#include <cstddef>

// Texts are mostly ASCII, which needs no conversion but a change of width. These look at 16 units at
// a time where the machine can.
namespace zep {

// How many units from `units` on, up to `count`, are ASCII.
std::size_t ASCIIRun(const char16_t* units, std::size_t count);

// Copies the ASCII that `bytes` or `units` begin with, up to `count` of them, and gives its length.
std::size_t CopyASCIIRun(const char* bytes, std::size_t count, char16_t* units);
std::size_t CopyASCIIRun(const char16_t* units, std::size_t count, char* bytes);

// How many units from `units` on, up to `count`, are no surrogates.
std::size_t RunWithoutSurrogates(const char16_t* units, std::size_t count);

} // namespace zep
