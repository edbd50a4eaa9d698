#pragma once

#include "ZEPFilter.h"

#include <chrono>
#include <memory>
#include <optional>
#include <vector>

namespace zep {

// Finds configurations that a filter does not select. What it has learnt about the filter it keeps from
// one question to the next.
class FilterSolver {
public:
  using Deadline = std::chrono::steady_clock::time_point;

  // The filter has to outlive the solver.
  FilterSolver(const Filter& filter, Deadline deadline);
  ~FilterSolver();

  // A configuration that one of the terms selects and the filter does not.
  struct Outsider {
    std::size_t term;
    std::vector<Range> numbers; // for each variable: any of them will do that the term allows
  };

  // The terms are in the filter's numbers; a set may be the whole domain. Throws FilterWorkLimit at
  // the deadline.
  std::optional<Outsider> Find(const std::vector<FilterTerm>& terms);

private:
  class Implementation;
  std::unique_ptr<Implementation> m_implementation;
};

} // namespace zep
