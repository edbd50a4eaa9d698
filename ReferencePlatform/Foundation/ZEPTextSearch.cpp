#include "ZEPTextSearch.h"

#include "ZEPTextSearchParts.h"

#include <string>
#include <vector>

#if ZEP_TEXT_SEARCH_SSE2
#include <emmintrin.h>
#endif

namespace zep {

// After Knuth, Morris and Pratt.
std::size_t FindUnitsLinear(UnitRange text, UnitRange pattern, std::size_t start) {
  std::vector<std::size_t> borders(pattern.count, 0);
  std::size_t matched = 0;
  for (std::size_t i = 1; i < pattern.count; ++i) {
    while (matched > 0 && pattern.units[i] != pattern.units[matched]) {
      matched = borders[matched - 1];
    }
    matched += pattern.units[i] == pattern.units[matched] ? 1 : 0;
    borders[i] = matched;
  }
  matched = 0;
  for (std::size_t i = start; i < text.count; ++i) {
    while (matched > 0 && text.units[i] != pattern.units[matched]) {
      matched = borders[matched - 1];
    }
    matched += text.units[i] == pattern.units[matched] ? 1 : 0;
    if (matched == pattern.count) {
      return i + 1 - pattern.count;
    }
  }
  return kNotFound;
}

std::size_t FindUnitsOneByOne(UnitRange text, UnitRange pattern, std::size_t start) {
  const std::size_t lastCandidate = text.count - pattern.count;
  ComparisonBudget budget(pattern.count, start);
  for (std::size_t position = start; position <= lastCandidate; ++position) {
    const char16_t* const candidate = std::char_traits<char16_t>::find(
        text.units + position, lastCandidate - position + 1, pattern.units[0]);
    if (candidate == nullptr) {
      return kNotFound;
    }
    position = static_cast<std::size_t>(candidate - text.units);
    if (Matches(text, pattern, position)) {
      return position;
    }
    if (budget.IsSpentByFailureAt(position)) {
      return FindUnitsLinear(text, pattern, position + 1);
    }
  }
  return kNotFound;
}

std::size_t FindUnitsPortable(UnitRange text, UnitRange pattern, std::size_t start) {
  if (!CanMatch(text, pattern, start)) {
    return kNotFound;
  }
  if (pattern.count == 0) {
    return start;
  }
  return FindUnitsOneByOne(text, pattern, start);
}

#if ZEP_TEXT_SEARCH_SSE2
namespace {

struct Sse2Lanes {
  using Units = __m128i;
  static constexpr std::size_t count = sizeof(Units) / sizeof(char16_t);

  static Units Same(char16_t unit) { return _mm_set1_epi16(static_cast<short>(unit)); }
  static Units Load(const char16_t* units) {
    return _mm_loadu_si128(reinterpret_cast<const __m128i*>(units));
  }
  static Units Equal(Units left, Units right) { return _mm_cmpeq_epi16(left, right); }
  static Units Both(Units left, Units right) { return _mm_and_si128(left, right); }
  static Units Either(Units left, Units right) { return _mm_or_si128(left, right); }
  static unsigned Bits(Units found) { return static_cast<unsigned>(_mm_movemask_epi8(found)); }
  static std::size_t FindShort(UnitRange text, UnitRange pattern, std::size_t start) {
    return FindUnitsOneByOne(text, pattern, start);
  }
};

} // namespace

std::size_t FindUnitsSse2(UnitRange text, UnitRange pattern, std::size_t start) {
  return FindInLanes<Sse2Lanes>(text, pattern, start);
}
#endif

#if ZEP_TEXT_SEARCH_AVX2
bool MachineHasAvx2() {
  __builtin_cpu_init();
  return __builtin_cpu_supports("avx2") != 0;
}
#endif

namespace {

Search FastestSearch() {
#if ZEP_TEXT_SEARCH_AVX2
  if (MachineHasAvx2()) {
    return FindUnitsAvx2;
  }
#endif
#if ZEP_TEXT_SEARCH_SSE2
  return FindUnitsSse2;
#else
  return FindUnitsPortable;
#endif
}

// The first search chooses; it may come before this file is initialised.
std::size_t ChooseAndFind(UnitRange text, UnitRange pattern, std::size_t start) {
  const Search search = FastestSearch();
  fastestSearch.store(search, std::memory_order_relaxed);
  return search(text, pattern, start);
}

} // namespace

constinit std::atomic<Search> fastestSearch = ChooseAndFind;

} // namespace zep
