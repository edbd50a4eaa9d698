#include "ZEPRangeSet.h"

#include <algorithm>

namespace zep {
namespace {

// Whether no number lies between them. REQUIRES: left.first <= right.first.
bool Touch(const Range& left, const Range& right) {
  return left.last == kNoLast || right.first <= left.last + 1;
}

// The first range that ends at the number or behind it.
RangeSet::const_iterator FindEndingFrom(const RangeSet& numbers, std::int64_t number) {
  return std::lower_bound(numbers.begin(), numbers.end(), number,
                          [](const Range& range, std::int64_t value) { return range.last < value; });
}

} // namespace

bool IsRangeSet(const RangeSet& ranges, const Range& domain) {
  for (std::size_t i = 0; i < ranges.size(); ++i) {
    const Range& range = ranges[i];
    if (range.first > range.last || range.first < domain.first || range.last > domain.last ||
        (i > 0 && (range.first <= ranges[i - 1].first || Touch(ranges[i - 1], range)))) {
      return false;
    }
  }
  return true;
}

RangeSet Joined(std::vector<Range> ranges) {
  std::sort(ranges.begin(), ranges.end());
  RangeSet joined;
  for (const Range& range : ranges) {
    if (!joined.empty() && Touch(joined.back(), range)) {
      joined.back().last = std::max(joined.back().last, range.last);
    } else {
      joined.push_back(range);
    }
  }
  return joined;
}

RangeSet Union(const RangeSet& left, const RangeSet& right) {
  std::vector<Range> ranges = left;
  ranges.insert(ranges.end(), right.begin(), right.end());
  return Joined(std::move(ranges));
}

RangeSet Intersection(const RangeSet& left, const RangeSet& right) {
  RangeSet common;
  auto l = left.begin();
  auto r = right.begin();
  while (l != left.end() && r != right.end()) {
    const Range overlap{std::max(l->first, r->first), std::min(l->last, r->last)};
    if (overlap.first <= overlap.last) {
      common.push_back(overlap);
    }
    ++(l->last < r->last ? l : r);
  }
  return common;
}

RangeSet Complement(const RangeSet& numbers, const Range& domain) {
  RangeSet gaps;
  std::int64_t next = domain.first;
  for (const Range& range : numbers) {
    if (range.first > next) {
      gaps.push_back({next, range.first - 1});
    }
    if (range.last == domain.last) {
      return gaps;
    }
    next = range.last + 1;
  }
  gaps.push_back({next, domain.last});
  return gaps;
}

bool Includes(const RangeSet& numbers, std::int64_t number) {
  const auto range = FindEndingFrom(numbers, number);
  return range != numbers.end() && range->first <= number;
}

bool Includes(const RangeSet& outer, const RangeSet& inner) {
  auto range = outer.begin();
  for (const Range& wanted : inner) {
    while (range != outer.end() && range->last < wanted.last) {
      ++range;
    }
    if (range == outer.end() || range->first > wanted.first) {
      return false;
    }
  }
  return true;
}

} // namespace zep
