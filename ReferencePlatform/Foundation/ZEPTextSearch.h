#pragma once

#include <atomic>
#include <cstddef>

#if defined(__SSE2__)
#define ZEP_TEXT_SEARCH_SSE2 1
#else
#define ZEP_TEXT_SEARCH_SSE2 0
#endif

#if defined(__x86_64__)
#define ZEP_TEXT_SEARCH_AVX2 1
#else
#define ZEP_TEXT_SEARCH_AVX2 0
#endif

// Search of 16-bit units. All functions answer the same: the position of the first occurrence of
// the pattern that starts at or behind `start`, or kNotFound.
namespace zep {

inline constexpr std::size_t kNotFound = static_cast<std::size_t>(-1);

struct UnitRange {
  const char16_t* units;
  std::size_t count;
};

using Search = std::size_t (*)(UnitRange text, UnitRange pattern, std::size_t start);

extern constinit std::atomic<Search> fastestSearch;

// The fastest of those below that this machine has.
inline std::size_t FindUnits(UnitRange text, UnitRange pattern, std::size_t start) {
  return fastestSearch.load(std::memory_order_relaxed)(text, pattern, start);
}

std::size_t FindUnitsPortable(UnitRange text, UnitRange pattern, std::size_t start);
#if ZEP_TEXT_SEARCH_SSE2
std::size_t FindUnitsSse2(UnitRange text, UnitRange pattern, std::size_t start);
#endif
#if ZEP_TEXT_SEARCH_AVX2
bool MachineHasAvx2();
// REQUIRES: MachineHasAvx2().
std::size_t FindUnitsAvx2(UnitRange text, UnitRange pattern, std::size_t start);
#endif

} // namespace zep
