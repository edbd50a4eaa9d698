#include "ZEPFilterComparison.h"

#include "ZEPBinary.h"
#include "ZEPFilterBinary_flatbuffers.h"
#include "ZEPFilterFault.h"
#include "ZEPFilterIndex.h"
#include "ZEPFilterResult.h"
#include "ZEPFilterSolver_cadical.h"
#include "ZEPFilterTranslation.h"
#include "ZEPHResult.h"

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstring>
#include <utility>

namespace zep {
namespace {

// Days beyond are of no year that a calendar has.
constexpr std::int64_t kMaxCalendarDay = 3'000'000;

std::string DayText(std::int64_t day) {
  if (day < -kMaxCalendarDay || day > kMaxCalendarDay) {
    return "day " + std::to_string(day) + " from 1970-01-01";
  }
  const std::chrono::year_month_day date{std::chrono::sys_days(std::chrono::days(day))};
  char text[32];
  std::snprintf(text, sizeof text, "%04d-%02u-%02u", static_cast<int>(date.year()),
                static_cast<unsigned>(date.month()), static_cast<unsigned>(date.day()));
  return text;
}

// One that a person can make something of: next to a bound, where there is one.
std::int64_t AnyOf(const RangeSet& numbers) {
  const Range& range = numbers.front();
  return range.first != kNoFirst ? range.first : (range.last != kNoLast ? range.last : 0);
}

bool IsSame(const ZEPBinary& left, const ZEPBinary& right) {
  return left.ByteCount() == right.ByteCount() &&
         (left.ByteCount() == 0 || std::memcmp(left.Bytes(), right.Bytes(), left.ByteCount()) == 0);
}

// Makes a configuration of an outsider.
class Explanation {
public:
  Explanation(const Filter& candidate, const Filter& reference, const FilterTranslation& translation)
      : m_candidate(candidate),
        m_reference(reference),
        m_translation(translation) {}

  Configuration Explain(const FilterTerm& term, const std::vector<Range>& outside) const {
    Configuration configuration;
    std::vector<bool> isDone(m_reference.variables.size());
    for (std::uint32_t own = 0; own < m_candidate.variables.size(); ++own) {
      const std::uint32_t other = m_translation.Variable(own);
      const Range domain = DomainOf(m_candidate.variables[own].kind);
      const FilterLiteral* const literal = FindLiteral(term, own);
      const RangeSet allowed = literal == nullptr ? RangeSet{domain} : literal->numbers;
      if (other == FilterTranslation::kUnknown) {
        configuration.push_back(Valued(m_candidate.variables[own], allowed));
      } else {
        isDone[other] = true;
        configuration.push_back(Valued(own, allowed, other, outside[other]));
      }
    }
    for (std::uint32_t other = 0; other < m_reference.variables.size(); ++other) {
      if (!isDone[other]) {
        configuration.push_back(Valued(m_reference.variables[other], {outside[other]}));
      }
    }
    std::sort(configuration.begin(), configuration.end(), [](const auto& left, const auto& right) {
      return std::pair(left.kind, left.variable) < std::pair(right.kind, right.variable);
    });
    return configuration;
  }

private:
  static ConfigurationValue Unnamed(const FilterVariable& variable) {
    return {variable.kind, variable.name, std::nullopt};
  }

  static ConfigurationValue Named(const FilterVariable& variable, const std::string& value) {
    return {variable.kind, variable.name, value};
  }

  static ConfigurationValue Numbered(const FilterVariable& variable, const RangeSet& numbers) {
    const std::int64_t number = AnyOf(numbers);
    return Named(variable,
                 variable.kind == FilterVariableKind::Date ? DayText(number) : std::to_string(number));
  }

  // Of a variable that one of the filters speaks of.
  static ConfigurationValue Valued(const FilterVariable& variable, const RangeSet& numbers) {
    if (!HasNames(variable.kind)) {
      return Numbered(variable, numbers);
    }
    const auto number = static_cast<std::size_t>(numbers.front().first);
    return number < variable.values.size() ? Named(variable, variable.values[number]) : Unnamed(variable);
  }

  // Of a variable that both speak of.
  ConfigurationValue Valued(std::uint32_t own, const RangeSet& allowed, std::uint32_t other,
                            const Range& outside) const {
    const FilterVariable& candidate = m_candidate.variables[own];
    if (!HasNames(candidate.kind)) {
      return Numbered(candidate, Intersection(allowed, {outside}));
    }
    for (std::size_t value = 0; value < candidate.values.size(); ++value) {
      if (Includes(allowed, static_cast<std::int64_t>(value)) &&
          Includes({outside}, m_translation.Number(own, value))) {
        return Named(candidate, candidate.values[value]);
      }
    }
    return UnmentionedByCandidate(candidate, m_reference.variables[other], outside);
  }

  static ConfigurationValue UnmentionedByCandidate(const FilterVariable& candidate,
                                                   const FilterVariable& reference, const Range& outside) {
    for (std::size_t value = 0; value < reference.values.size(); ++value) {
      const std::string& name = reference.values[value];
      if (Includes({outside}, static_cast<std::int64_t>(value)) &&
          !std::binary_search(candidate.values.begin(), candidate.values.end(), name)) {
        return Named(reference, name);
      }
    }
    return Unnamed(candidate);
  }

  const Filter& m_candidate;
  const Filter& m_reference;
  const FilterTranslation& m_translation;
};

} // namespace

class FilterComparison::Implementation {
public:
  explicit Implementation(const ZEPBinary& reference)
      : m_limits(CurrentFilterLimits()),
        m_deadline(std::chrono::steady_clock::now() + m_limits.time),
        m_binary(reference),
        m_reference(ReadFilterBinary(reference, m_limits)),
        m_index(m_reference) {}

  std::optional<Configuration> FindCounterexample(const ZEPBinary& binary) {
    if (IsSame(binary, m_binary)) {
      return std::nullopt;
    }
    const Filter candidate = ReadFilterBinary(binary, m_limits);
    const FilterTranslation translation(candidate.variables, m_reference.variables);
    std::vector<std::size_t> places; // of the terms that are left
    std::vector<FilterTerm> terms;
    for (std::size_t place = 0; place < candidate.terms.size(); ++place) {
      FilterTerm term = translation.Translated(candidate.terms[place]);
      if (!m_index.IsIncludedInATerm(term)) {
        places.push_back(place);
        terms.push_back(std::move(term));
      }
    }
    const auto outsider = terms.empty() ? std::nullopt : Solver().Find(terms);
    if (!outsider) {
      return std::nullopt;
    }
    return Explanation(candidate, m_reference, translation)
        .Explain(candidate.terms[places[outsider->term]], outsider->numbers);
  }

private:
  FilterSolver& Solver() {
    if (m_solver == nullptr) {
      m_solver = std::make_unique<FilterSolver>(m_reference, m_deadline);
    }
    return *m_solver;
  }

  FilterLimits m_limits;
  FilterSolver::Deadline m_deadline;
  ZEPBinary m_binary;
  Filter m_reference;
  FilterIndex m_index;
  std::unique_ptr<FilterSolver> m_solver; // made when it is needed first
};

FilterComparison::FilterComparison(const ZEPBinary& reference)
    : m_implementation(std::make_unique<Implementation>(reference)) {}

FilterComparison::~FilterComparison() = default;

std::optional<Configuration> FilterComparison::FindCounterexample(const ZEPBinary& candidate) {
  return m_implementation->FindCounterexample(candidate);
}

long FindCounterexample(const ZEPBinary& reference, const ZEPBinary& candidate,
                        std::optional<Configuration>& counterexample) {
  return FilterResult([&] { counterexample = FilterComparison(reference).FindCounterexample(candidate); });
}

} // namespace zep
