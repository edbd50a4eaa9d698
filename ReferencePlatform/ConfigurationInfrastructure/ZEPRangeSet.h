#pragma once

#include <compare>
#include <cstdint>
#include <limits>
#include <vector>

namespace zep {

// The whole numbers from `first` to `last`, both included.
struct Range {
  std::int64_t first;
  std::int64_t last;

  friend auto operator<=>(const Range&, const Range&) = default;
};

// Bounds that mean: none.
inline constexpr std::int64_t kNoFirst = std::numeric_limits<std::int64_t>::min();
inline constexpr std::int64_t kNoLast = std::numeric_limits<std::int64_t>::max();

// A set of whole numbers: ranges in order, with at least one number between each two of them.
using RangeSet = std::vector<Range>;

// Whether the ranges are in order, apart, not empty, and within the domain.
bool IsRangeSet(const RangeSet& ranges, const Range& domain);

// Puts ranges in order, and joins those that touch.
RangeSet Joined(std::vector<Range> ranges);

RangeSet Union(const RangeSet& left, const RangeSet& right);
RangeSet Intersection(const RangeSet& left, const RangeSet& right);
RangeSet Complement(const RangeSet& numbers, const Range& domain);
bool Includes(const RangeSet& numbers, std::int64_t number);
bool Includes(const RangeSet& outer, const RangeSet& inner);

} // namespace zep
