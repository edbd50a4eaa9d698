#pragma once

#include "ZEPFilter.h"

namespace zep {

// Says what a candidate's terms say in the numbers of a reference. Names that the reference does not
// know stand there among those that nobody mentioned: it treats all of them alike. Of variables that it
// does not know nothing is said.
class FilterTranslation {
public:
  // Both have to outlive the translation.
  FilterTranslation(const std::vector<FilterVariable>& candidate,
                    const std::vector<FilterVariable>& reference);

  FilterTerm Translated(const FilterTerm& term) const;

  static constexpr std::uint32_t kUnknown = ~std::uint32_t{0};
  // The reference's variable, or kUnknown.
  std::uint32_t Variable(std::uint32_t variable) const { return m_places[variable].variable; }
  // The reference's number of a name; for a name that it does not know its first unmentioned number.
  // REQUIRES: the reference has the variable.
  std::int64_t Number(std::uint32_t variable, std::size_t value) const {
    return m_places[variable].values[value];
  }

private:
  struct Place {
    std::uint32_t variable = kUnknown;
    std::vector<std::int64_t> values;
  };

  RangeSet Translated(const RangeSet& numbers, const FilterVariable& own, const Place& place) const;

  const std::vector<FilterVariable>& m_candidate;
  const std::vector<FilterVariable>& m_reference;
  std::vector<Place> m_places;
};

} // namespace zep
