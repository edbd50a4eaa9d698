#include "ZEPTextSearch.h"

#if ZEP_TEXT_SEARCH_AVX2

#include <cstring>
#include <immintrin.h>

// What is compiled from here on runs only where the machine has these instructions. Nothing of it
// may be shared with other files, which is why the templates below have internal linkage.
#if defined(__clang__)
#pragma clang attribute push(__attribute__((target("avx2"))), apply_to = function)
#else
#pragma GCC push_options
#pragma GCC target("avx2")
#endif

#include "ZEPTextSearchParts.h"

namespace zep {
namespace {

struct Avx2Lanes {
  using Units = __m256i;
  static constexpr std::size_t count = sizeof(Units) / sizeof(char16_t);

  static Units Same(char16_t unit) { return _mm256_set1_epi16(static_cast<short>(unit)); }
  static Units Load(const char16_t* units) {
    return _mm256_loadu_si256(reinterpret_cast<const __m256i*>(units));
  }
  static Units Equal(Units left, Units right) { return _mm256_cmpeq_epi16(left, right); }
  static Units Both(Units left, Units right) { return _mm256_and_si256(left, right); }
  static Units Either(Units left, Units right) { return _mm256_or_si256(left, right); }
  static unsigned Bits(Units found) { return static_cast<unsigned>(_mm256_movemask_epi8(found)); }
  static std::size_t FindShort(UnitRange text, UnitRange pattern, std::size_t start) {
    return FindUnitsSse2(text, pattern, start);
  }
};

} // namespace

std::size_t FindUnitsAvx2(UnitRange text, UnitRange pattern, std::size_t start) {
  return FindInLanes<Avx2Lanes>(text, pattern, start);
}

} // namespace zep

#if defined(__clang__)
#pragma clang attribute pop
#else
#pragma GCC pop_options
#endif

#endif
