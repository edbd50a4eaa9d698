#include "ZEPFilterTranslation.h"

#include <algorithm>
#include <utility>

namespace zep {
namespace {

std::int64_t NumberOf(const std::string& name, const std::vector<std::string>& names) {
  const auto place = std::lower_bound(names.begin(), names.end(), name);
  return place != names.end() && *place == name ? place - names.begin()
                                                : static_cast<std::int64_t>(names.size());
}

std::vector<std::int64_t> NumbersOf(const std::vector<std::string>& own,
                                    const std::vector<std::string>& names) {
  std::vector<std::int64_t> numbers;
  numbers.reserve(own.size());
  for (const std::string& name : own) {
    numbers.push_back(NumberOf(name, names));
  }
  return numbers;
}

} // namespace

FilterTranslation::FilterTranslation(const std::vector<FilterVariable>& candidate,
                                     const std::vector<FilterVariable>& reference)
    : m_candidate(candidate) {
  for (const FilterVariable& own : candidate) {
    const auto place = std::lower_bound(reference.begin(), reference.end(), own, IsBefore);
    if (place != reference.end() && IsSameVariable(*place, own)) {
      m_places.push_back({static_cast<std::uint32_t>(place - reference.begin()),
                          NumbersOf(own.values, place->values),
                          static_cast<std::int64_t>(place->values.size())});
    } else {
      m_places.push_back({});
    }
  }
}

FilterTerm FilterTranslation::Translated(const FilterTerm& term) const {
  FilterTerm translated;
  for (const FilterLiteral& literal : term) {
    const Place& place = m_places[literal.variable];
    if (place.variable != kUnknown) {
      const bool isOfNames = HasNames(m_candidate[literal.variable].kind);
      translated.push_back(
          {place.variable, isOfNames ? Translated(literal.numbers, place) : literal.numbers});
    }
  }
  return translated;
}

// By way of the names that the set holds or, where it holds all but a few, of these few: never by way of
// all that there are. The set may come out as the whole domain.
RangeSet FilterTranslation::Translated(const RangeSet& numbers, const Place& place) {
  const Range domain = DomainOf(FilterVariableKind::Feature);
  const bool isOpen = numbers.back().last == kNoLast;
  std::vector<Range> translated;
  for (const Range& range : isOpen ? Complement(numbers, domain) : numbers) {
    for (std::int64_t value = range.first; value <= range.last; ++value) {
      const std::int64_t number = place.values[static_cast<std::size_t>(value)];
      if (number != place.unmentioned) {
        translated.push_back({number, number});
      } else if (!isOpen) { // an open set holds others of the unmentioned names
        translated.push_back({number, kNoLast});
      }
    }
  }
  RangeSet joined = Joined(std::move(translated));
  return isOpen ? Complement(joined, domain) : joined;
}

} // namespace zep
