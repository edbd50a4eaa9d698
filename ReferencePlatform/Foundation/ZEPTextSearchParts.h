#pragma once

#include "ZEPTextSearch.h"

#include <cstring>

// What the searches of any width share.
namespace zep {

// Linear whatever the text, at the price of a table.
std::size_t FindUnitsLinear(UnitRange text, UnitRange pattern, std::size_t start);

// One candidate after the other.
std::size_t FindUnitsOneByOne(UnitRange text, UnitRange pattern, std::size_t start);

namespace {

inline bool CanMatch(UnitRange text, UnitRange pattern, std::size_t start) {
  return start <= text.count && pattern.count <= text.count - start;
}

template <class Word>
bool SameWord(const char16_t* left, const char16_t* right) {
  Word leftWord;
  Word rightWord;
  std::memcpy(&leftWord, left, sizeof leftWord);
  std::memcpy(&rightWord, right, sizeof rightWord);
  return leftWord == rightWord;
}

// Patterns are short: word by word, the last ones overlapping, is faster than a call.
template <class Word>
bool SameUnits(const char16_t* left, const char16_t* right, std::size_t count) {
  constexpr std::size_t step = sizeof(Word) / sizeof(char16_t);
  for (std::size_t i = 0; i + step < count; i += step) {
    if (!SameWord<Word>(left + i, right + i)) {
      return false;
    }
  }
  return SameWord<Word>(left + count - step, right + count - step);
}

inline bool Matches(UnitRange text, UnitRange pattern, std::size_t position) {
  const char16_t* const candidate = text.units + position;
  if (pattern.count >= sizeof(unsigned long long) / sizeof(char16_t)) {
    return SameUnits<unsigned long long>(candidate, pattern.units, pattern.count);
  }
  return SameUnits<char16_t>(candidate, pattern.units, pattern.count);
}

// A guess at which units are rare in markup. A wrong one costs time only.
inline int Commonness(char16_t unit) {
  if (unit >= 0x80 || (unit >= u'A' && unit <= u'Z')) {
    return 0;
  }
  const bool isRareLetter = unit >= u'j' && unit <= u'z' && (unit == u'j' || unit == u'q' || unit >= u'v');
  return isRareLetter ? 1 : 2;
}

inline std::size_t RarestUnit(UnitRange pattern) {
  std::size_t rarest = 0;
  for (std::size_t i = 1; i < pattern.count && Commonness(pattern.units[rarest]) > 0; ++i) {
    rarest = Commonness(pattern.units[i]) < Commonness(pattern.units[rarest]) ? i : rarest;
  }
  return rarest;
}

// Allows failed comparisons in proportion to the text already searched. Comparing a candidate costs
// next to nothing for a short pattern; for a long one, a text made to fail late at every position
// could make a search quadratic, so failed comparisons are counted.
class ComparisonBudget {
public:
  ComparisonBudget(std::size_t patternCount, std::size_t start)
      : m_patternCount(patternCount),
        m_start(start) {}

  bool IsSpentByFailureAt(std::size_t position) {
    constexpr std::size_t shortPattern = 64;
    if (m_patternCount <= shortPattern) {
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

// Looks at Lanes::count positions at once, for those where both the first and the last unit of the
// pattern stand. Never reads outside the text: where fewer positions are left than lanes, the last
// step overlaps the one before it, and a text shorter than one step goes to Lanes::FindShort.
//
// Lanes offers: Units, count, Same(unit), Load(units), Equal, Both, Either, Bits(found): two equal
// bits for each lane, and FindShort.
template <class Lanes>
class LaneSearch {
public:
  using Units = typename Lanes::Units;

  LaneSearch(UnitRange text, UnitRange pattern, std::size_t start)
      : m_text(text),
        m_pattern(pattern),
        m_first(Lanes::Same(pattern.units[0])),
        m_last(Lanes::Same(pattern.units[pattern.count - 1])),
        m_budget(pattern.count, start) {}

  // REQUIRES: room for one step of candidates in the text, with no match in front of `position`.
  std::size_t From(std::size_t position) {
    const std::size_t candidates = m_text.count - m_pattern.count + 1;
    if (candidates - position >= kBlock) {
      if (BlockHasMatch(position)) {
        return m_found;
      }
      position += kBlock;
      if (GoFar(position, candidates)) {
        return m_found;
      }
    }
    for (; candidates - position >= Lanes::count; position += Lanes::count) {
      if (Step(position)) {
        return m_found;
      }
    }
    return position < candidates && Step(candidates - Lanes::count) ? m_found : kNotFound;
  }

private:
  static constexpr std::size_t kBlock = 4 * Lanes::count;

  Units Candidates(std::size_t position) const {
    const char16_t* const units = m_text.units + position;
    return Lanes::Both(Lanes::Equal(Lanes::Load(units), m_first),
                       Lanes::Equal(Lanes::Load(units + m_pattern.count - 1), m_last));
  }

  // Over long distances one unit of the pattern that hardly ever occurs costs half of two. True when
  // the search is over; else `position` is where less than a block is left.
  bool GoFar(std::size_t& position, std::size_t candidates) {
    const std::size_t offset = RarestUnit(m_pattern);
    const Units rarest = Lanes::Same(m_pattern.units[offset]);
    for (; candidates - position >= kBlock; position += kBlock) {
      const char16_t* const units = m_text.units + position + offset;
      const auto at = [&](std::size_t step) {
        return Lanes::Equal(Lanes::Load(units + step * Lanes::count), rarest);
      };
      const Units found = Lanes::Either(Lanes::Either(at(0), at(1)), Lanes::Either(at(2), at(3)));
      if (Lanes::Bits(found) != 0 && BlockHasMatch(position)) {
        return true;
      }
    }
    return false;
  }

  bool BlockHasMatch(std::size_t position) {
    const Units front = Lanes::Either(Candidates(position), Candidates(position + Lanes::count));
    const Units back =
        Lanes::Either(Candidates(position + 2 * Lanes::count), Candidates(position + 3 * Lanes::count));
    if (Lanes::Bits(Lanes::Either(front, back)) == 0) {
      return false;
    }
    return Step(position) || Step(position + Lanes::count) || Step(position + 2 * Lanes::count) ||
           Step(position + 3 * Lanes::count);
  }

  // True when the search is over; m_found is its result then.
  bool Step(std::size_t position) {
    for (unsigned bits = Lanes::Bits(Candidates(position)); bits != 0;) {
      const auto lane = static_cast<unsigned>(__builtin_ctz(bits)) / 2;
      m_found = position + lane;
      if (Matches(m_text, m_pattern, m_found)) {
        return true;
      }
      if (m_budget.IsSpentByFailureAt(m_found)) {
        m_found = FindUnitsLinear(m_text, m_pattern, m_found + 1);
        return true;
      }
      bits &= ~(3U << (2 * lane));
    }
    return false;
  }

  UnitRange m_text;
  UnitRange m_pattern;
  Units m_first;
  Units m_last;
  ComparisonBudget m_budget;
  std::size_t m_found = kNotFound;
};

// Apart from the search for a near match, so that this one needs no memory of its own.
template <class Lanes>
[[gnu::noinline]] std::size_t FindStepByStep(UnitRange text, UnitRange pattern, std::size_t start) {
  return LaneSearch<Lanes>(text, pattern, start).From(start);
}

template <class Lanes>
std::size_t FindInLanes(UnitRange text, UnitRange pattern, std::size_t start) {
  if (!CanMatch(text, pattern, start)) {
    return kNotFound;
  }
  if (pattern.count == 0) {
    return start;
  }
  const std::size_t candidates = text.count - pattern.count + 1;
  if (candidates - start < Lanes::count) {
    return Lanes::FindShort(text, pattern, start);
  }
  // Most matches are so near that setting up more would cost more than the search.
  constexpr int nearSteps = 3;
  const std::size_t last = pattern.count - 1;
  const auto firstUnit = Lanes::Same(pattern.units[0]);
  const auto lastUnit = Lanes::Same(pattern.units[last]);
  std::size_t position = start;
  for (int step = 0; step < nearSteps && candidates - position >= Lanes::count; ++step) {
    const char16_t* const units = text.units + position;
    const unsigned bits = Lanes::Bits(Lanes::Both(Lanes::Equal(Lanes::Load(units), firstUnit),
                                                  Lanes::Equal(Lanes::Load(units + last), lastUnit)));
    if (bits != 0) {
      const std::size_t candidate = position + static_cast<unsigned>(__builtin_ctz(bits)) / 2;
      if (Matches(text, pattern, candidate)) {
        return candidate;
      }
      break;
    }
    position += Lanes::count;
  }
  return FindStepByStep<Lanes>(text, pattern, position);
}

} // namespace
} // namespace zep
