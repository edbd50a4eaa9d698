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
    : m_candidate(candidate),
      m_reference(reference) {
  for (const FilterVariable& own : candidate) {
    const auto place = std::lower_bound(reference.begin(), reference.end(), own, IsBefore);
    if (place != reference.end() && IsSameVariable(*place, own)) {
      m_places.push_back(
          {static_cast<std::uint32_t>(place - reference.begin()), NumbersOf(own.values, place->values)});
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
      translated.push_back(
          {place.variable, Translated(literal.numbers, m_candidate[literal.variable], place)});
    }
  }
  return translated;
}

// The set may come out as the whole domain.
RangeSet FilterTranslation::Translated(const RangeSet& numbers, const FilterVariable& own,
                                       const Place& place) const {
  if (!HasNames(own.kind)) {
    return numbers;
  }
  std::vector<Range> translated;
  std::vector<bool> isNamed(m_reference[place.variable].values.size() + 1);
  const auto unmentioned = static_cast<std::int64_t>(isNamed.size() - 1);
  for (std::size_t value = 0; value < place.values.size(); ++value) {
    const std::int64_t number = place.values[value];
    isNamed[static_cast<std::size_t>(number)] = true;
    if (Includes(numbers, static_cast<std::int64_t>(value))) {
      translated.push_back({number, number == unmentioned ? kNoLast : number});
    }
  }
  if (numbers.back().last == kNoLast) {
    for (std::int64_t number = 0; number < unmentioned; ++number) {
      if (!isNamed[static_cast<std::size_t>(number)]) {
        translated.push_back({number, number});
      }
    }
    translated.push_back({unmentioned, kNoLast});
  }
  return Joined(std::move(translated));
}

} // namespace zep
