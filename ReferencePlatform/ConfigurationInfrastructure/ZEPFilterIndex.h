#pragma once

#include "ZEPFilter.h"

#include <cstdint>
#include <unordered_map>
#include <vector>

namespace zep {

// Finds quickly that one term of a filter alone includes a given one. It gives up after a while: a "no"
// says nothing.
class FilterIndex {
public:
  explicit FilterIndex(const Filter& filter); // has to outlive the index

  // The term is in the filter's numbers.
  bool IsIncludedInATerm(const FilterTerm& term);

private:
  using Places = std::vector<std::uint32_t>; // of terms

  void Enter(std::uint32_t place, const std::vector<std::size_t>& uses);
  bool IsIncludedInOneOf(const Places& places, const FilterTerm& term);

  const Filter& m_filter;
  bool m_includesAll = false;
  // Terms with few names for a variable stand under each of them, the others under the variable.
  std::vector<std::unordered_map<std::int64_t, Places>> m_byNumber;
  std::vector<Places> m_byVariable;
  std::size_t m_comparisons = 0;
};

} // namespace zep
