#include "ZEPTextSearch.h"

#include <cstring>
#include <string>
#include <vector>

#if ZEP_TEXT_SEARCH_SSE2
#include <bit>
#include <emmintrin.h>
#endif

namespace zep {
namespace {

// Comparing a candidate costs next to nothing up to this length. Above it, a text made to fail
// late at every position could make a search quadratic, so failed comparisons are counted.
constexpr std::size_t kShortPattern = 64;

bool Matches(UnitRange text, UnitRange pattern, std::size_t position) {
  return std::memcmp(text.units + position, pattern.units, pattern.count * sizeof(char16_t)) == 0;
}

// Linear whatever the text, at the price of a table (Knuth, Morris, Pratt).
std::size_t FindLinear(UnitRange text, UnitRange pattern, std::size_t start) {
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

// Allows failed comparisons in proportion to the text already searched.
class ComparisonBudget {
public:
  ComparisonBudget(std::size_t patternCount, std::size_t start)
      : m_patternCount(patternCount),
        m_start(start) {}

  bool IsSpentByFailureAt(std::size_t position) {
    if (m_patternCount <= kShortPattern) {
      return false;
    }
    m_compared += m_patternCount;
    return m_compared > 8 * (position - m_start) + 16 * m_patternCount;
  }

private:
  std::size_t m_patternCount;
  std::size_t m_start;
  std::size_t m_compared = 0;
};

bool CanMatch(UnitRange text, UnitRange pattern, std::size_t start) {
  return start <= text.count && pattern.count <= text.count - start;
}

std::size_t FindByFirstUnit(UnitRange text, UnitRange pattern, std::size_t start, ComparisonBudget budget) {
  const std::size_t lastCandidate = text.count - pattern.count;
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
      return FindLinear(text, pattern, position + 1);
    }
  }
  return kNotFound;
}

} // namespace

std::size_t FindUnitsPortable(UnitRange text, UnitRange pattern, std::size_t start) {
  if (!CanMatch(text, pattern, start)) {
    return kNotFound;
  }
  if (pattern.count == 0) {
    return start;
  }
  return FindByFirstUnit(text, pattern, start, ComparisonBudget(pattern.count, start));
}

#if ZEP_TEXT_SEARCH_SSE2
namespace {

constexpr std::size_t kLanes = sizeof(__m128i) / sizeof(char16_t);

__m128i LoadLanes(const char16_t* units) {
  return _mm_loadu_si128(reinterpret_cast<const __m128i*>(units));
}

// Two bits for each of the eight positions at which first and last unit of the pattern stand.
unsigned CandidateBits(const char16_t* units, std::size_t patternCount, __m128i first, __m128i last) {
  const __m128i firstEqual = _mm_cmpeq_epi16(LoadLanes(units), first);
  const __m128i lastEqual = _mm_cmpeq_epi16(LoadLanes(units + patternCount - 1), last);
  return static_cast<unsigned>(_mm_movemask_epi8(_mm_and_si128(firstEqual, lastEqual)));
}

} // namespace

std::size_t FindUnitsSse2(UnitRange text, UnitRange pattern, std::size_t start) {
  if (!CanMatch(text, pattern, start)) {
    return kNotFound;
  }
  if (pattern.count == 0) {
    return start;
  }
  const __m128i first = _mm_set1_epi16(static_cast<short>(pattern.units[0]));
  const __m128i last = _mm_set1_epi16(static_cast<short>(pattern.units[pattern.count - 1]));
  const std::size_t candidates = text.count - pattern.count + 1;
  ComparisonBudget budget(pattern.count, start);
  std::size_t position = start;
  for (; candidates - position >= kLanes; position += kLanes) {
    unsigned bits = CandidateBits(text.units + position, pattern.count, first, last);
    while (bits != 0) {
      const auto lane = static_cast<std::size_t>(std::countr_zero(bits)) / 2;
      if (Matches(text, pattern, position + lane)) {
        return position + lane;
      }
      if (budget.IsSpentByFailureAt(position + lane)) {
        return FindLinear(text, pattern, position + lane + 1);
      }
      bits &= ~(3U << (2 * lane));
    }
  }
  return position < candidates ? FindByFirstUnit(text, pattern, position, budget) : kNotFound;
}
#endif

std::size_t FindUnits(UnitRange text, UnitRange pattern, std::size_t start) {
#if ZEP_TEXT_SEARCH_SSE2
  return FindUnitsSse2(text, pattern, start);
#else
  return FindUnitsPortable(text, pattern, start);
#endif
}

} // namespace zep
