#include "ZEPFilterSolver_cadical.h"

#include "ZEPFilterFault.h"

#include <algorithm>
#include <cstdlib>
#include <map>
#include <memory>
#include <tuple>

#include <cadical.hpp>

namespace zep {
namespace {

class DeadlineTerminator final : public CaDiCaL::Terminator {
public:
  explicit DeadlineTerminator(FilterSolver::Deadline deadline) : m_deadline(deadline) {}
  bool terminate() override { return std::chrono::steady_clock::now() > m_deadline; }

private:
  FilterSolver::Deadline m_deadline;
};

// A solver that has run out of memory can be deleted, except where its tables of variables grew: it would
// free what it has not got.
struct SolverDelete {
  bool canDelete = true;

  void operator()(CaDiCaL::Solver* solver) const {
    if (canDelete) {
      delete solver;
    }
  }
};

// Where the filter's sets begin and end. Between two neighbouring cuts it treats all numbers alike.
using Cuts = std::vector<std::int64_t>;

std::vector<Cuts> CutsOf(const Filter& filter) {
  std::vector<Cuts> cuts(filter.variables.size());
  for (const FilterTerm& term : filter.terms) {
    for (const FilterLiteral& literal : term) {
      for (const Range& range : literal.numbers) {
        cuts[literal.variable].push_back(range.first);
        if (range.last != kNoLast) {
          cuts[literal.variable].push_back(range.last + 1);
        }
      }
    }
  }
  for (std::size_t variable = 0; variable < cuts.size(); ++variable) {
    Cuts& own = cuts[variable];
    own.push_back(DomainOf(filter.variables[variable].kind).first);
    std::sort(own.begin(), own.end());
    own.erase(std::unique(own.begin(), own.end()), own.end());
    own.erase(own.begin()); // nothing lies below the domain
  }
  return cuts;
}

} // namespace

// Each cut of a variable is a Boolean: the value lies below it. A value below one cut lies below the
// next, so that there is exactly one value.
class FilterSolver::Implementation {
public:
  Implementation(const Filter& filter, Deadline deadline)
      : m_filter(filter),
        m_cuts(CutsOf(filter)),
        m_terminator(deadline) {
    m_solver->set("quiet", 1); // standard output is the program's
    m_solver->connect_terminator(&m_terminator);
    for (const Cuts& cuts : m_cuts) {
      m_firstBelow.push_back(m_booleans + 1);
      for (std::size_t i = 1; i < cuts.size(); ++i) {
        const int below = m_firstBelow.back() + static_cast<int>(i);
        AddClause({-(below - 1), below});
      }
      m_booleans += static_cast<int>(cuts.size());
    }
    for (const FilterTerm& term : filter.terms) {
      Exclude(term);
    }
  }

  std::optional<Outsider> Find(const std::vector<FilterTerm>& terms) {
    const int question = ++m_booleans;
    const int firstChoice = m_booleans + 1;
    m_booleans += static_cast<int>(terms.size());
    std::vector<int> isOneChosen{-question};
    for (std::size_t i = 0; i < terms.size(); ++i) {
      isOneChosen.push_back(firstChoice + static_cast<int>(i));
      Choose(terms[i], isOneChosen.back());
    }
    AddClause(isOneChosen);
    m_solver->assume(question);
    const int answer = m_solver->solve();
    if (answer == 0) {
      throw FilterWorkLimit(kTakesTooLong);
    }
    std::optional<Outsider> outsider;
    if (answer == 10) {
      outsider = ReadOutsider(firstChoice);
    }
    AddClause({-question}); // asked once
    return outsider;
  }

private:
  // So that the tables grow in no other step.
  void Reserve(int booleans) {
    if (booleans > m_reserved) {
      m_solver.get_deleter().canDelete = false;
      m_solver->reserve(booleans);
      m_solver.get_deleter().canDelete = true;
      m_reserved = booleans;
    }
  }

  void AddClause(const std::vector<int>& literals) {
    for (const int literal : literals) {
      Reserve(std::abs(literal));
    }
    for (const int literal : literals) {
      m_solver->add(literal);
    }
    m_solver->add(0);
  }

  // REQUIRES: the number is a cut.
  int Below(std::uint32_t variable, std::int64_t number) const {
    const Cuts& cuts = m_cuts[variable];
    return m_firstBelow[variable] +
           static_cast<int>(std::lower_bound(cuts.begin(), cuts.end(), number) - cuts.begin());
  }

  Range Domain(std::uint32_t variable) const { return DomainOf(m_filter.variables[variable].kind); }

  // No configuration fits the term: each one lies outside of one of its sets.
  void Exclude(const FilterTerm& term) {
    std::vector<int> isOutside;
    for (const FilterLiteral& literal : term) {
      for (const Range& gap : Complement(literal.numbers, Domain(literal.variable))) {
        isOutside.push_back(Inside(literal.variable, gap));
      }
    }
    AddClause(isOutside);
  }

  // A literal from which follows that the value is in the range.
  int Inside(std::uint32_t variable, const Range& range) {
    if (range.first == Domain(variable).first) {
      return Below(variable, range.last + 1);
    }
    if (range.last == kNoLast) {
      return -Below(variable, range.first);
    }
    const auto [entry, isNew] = m_inside.try_emplace({variable, range}, m_booleans + 1);
    if (isNew) {
      ++m_booleans;
      AddClause({-entry->second, -Below(variable, range.first)});
      AddClause({-entry->second, Below(variable, range.last + 1)});
    }
    return entry->second;
  }

  // The choice of a term puts the values into its sets.
  void Choose(const FilterTerm& term, int choice) {
    for (const FilterLiteral& literal : term) {
      const Range domain = Domain(literal.variable);
      for (const Range& gap : Complement(Widened(literal), domain)) {
        std::vector<int> isElsewhere{-choice};
        if (gap.first != domain.first) {
          isElsewhere.push_back(Below(literal.variable, gap.first));
        }
        if (gap.last != kNoLast) {
          isElsewhere.push_back(-Below(literal.variable, gap.last + 1));
        }
        AddClause(isElsewhere);
      }
    }
  }

  // All that the filter cannot tell from the set's numbers.
  RangeSet Widened(const FilterLiteral& literal) const {
    std::vector<Range> ranges;
    for (const Range& range : literal.numbers) {
      ranges.push_back(
          {Alike(literal.variable, range.first).first, Alike(literal.variable, range.last).last});
    }
    return Joined(std::move(ranges));
  }

  // The numbers that the filter cannot tell from this one.
  Range Alike(std::uint32_t variable, std::int64_t number) const {
    const Cuts& cuts = m_cuts[variable];
    const auto next = std::upper_bound(cuts.begin(), cuts.end(), number);
    return {next == cuts.begin() ? Domain(variable).first : next[-1],
            next == cuts.end() ? kNoLast : *next - 1};
  }

  Outsider ReadOutsider(int firstChoice) {
    Outsider outsider{};
    while (m_solver->val(firstChoice + static_cast<int>(outsider.term)) < 0) {
      ++outsider.term;
    }
    for (std::uint32_t variable = 0; variable < m_cuts.size(); ++variable) {
      std::size_t above = 0; // cuts that the value is not below
      while (above < m_cuts[variable].size() &&
             m_solver->val(m_firstBelow[variable] + static_cast<int>(above)) < 0) {
        ++above;
      }
      outsider.numbers.push_back(
          Alike(variable, above == 0 ? Domain(variable).first : m_cuts[variable][above - 1]));
    }
    return outsider;
  }

  const Filter& m_filter;
  std::vector<Cuts> m_cuts;
  std::vector<int> m_firstBelow; // of each variable
  std::map<std::pair<std::uint32_t, Range>, int> m_inside;
  int m_booleans = 0;
  DeadlineTerminator m_terminator;
  int m_reserved = 0; // Booleans that the solver has room for
  std::unique_ptr<CaDiCaL::Solver, SolverDelete> m_solver{new CaDiCaL::Solver};
};

FilterSolver::FilterSolver(const Filter& filter, Deadline deadline)
    : m_implementation(std::make_unique<Implementation>(filter, deadline)) {}

FilterSolver::~FilterSolver() = default;

std::optional<FilterSolver::Outsider> FilterSolver::Find(const std::vector<FilterTerm>& terms) {
  return m_implementation->Find(terms);
}

} // namespace zep
