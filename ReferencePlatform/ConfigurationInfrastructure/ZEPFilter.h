#pragma once

#include "ZEPRangeSet.h"

#include <chrono>
#include <compare>
#include <cstdint>
#include <string>
#include <vector>

namespace zep {

// What a configuration has exactly one value of.
enum class FilterVariableKind : std::uint8_t {
  Holder = 0,    // the model, product or plant that it is a configuration of
  Inherited = 1, // whether an inherited effectivity holds for it
  Feature = 2,
  Date = 3, // a day, counted from 1970-01-01
  Unit = 4, // a unit number, from 1 on
};

inline constexpr FilterVariableKind kLastVariableKind = FilterVariableKind::Unit;

// A variable whose values are names stands for them by numbers, the places in `values`. The numbers
// from values.size() on stand for all the names that nobody mentioned: an open set. A set holds all
// of them or none.
struct FilterVariable {
  FilterVariableKind kind;
  std::string name;                // of features and inherited effectivities, else empty
  std::vector<std::string> values; // in order, each once; none for dates and units
};

// Whether they are of the same thing, whatever values they name.
bool IsSameVariable(const FilterVariable& left, const FilterVariable& right);
bool IsBefore(const FilterVariable& left, const FilterVariable& right);

bool HasNames(FilterVariableKind kind);
Range DomainOf(FilterVariableKind kind);

// The variable's value is one of these numbers: neither none nor all of its domain.
struct FilterLiteral {
  std::uint32_t variable; // its place in the filter's variables
  RangeSet numbers;

  friend auto operator<=>(const FilterLiteral&, const FilterLiteral&) = default;
};

// True where all its literals are. At most one for each variable, in the order of the variables.
using FilterTerm = std::vector<FilterLiteral>;

// What the term says of the variable, or null.
const FilterLiteral* FindLiteral(const FilterTerm& term, std::uint32_t variable);

// A disjunctive normal form: selects the configurations for which a term is true. Without terms it
// selects none, with a term without literals all.
struct Filter {
  std::vector<FilterVariable> variables; // in order of kind and name, each once
  std::vector<FilterTerm> terms;         // in order, each once
};

// How large a filter may become, and how long a comparison may take.
struct FilterLimits {
  std::size_t maxTerms;
  std::size_t maxRanges;
  std::chrono::milliseconds time;
};
FilterLimits CurrentFilterLimits();

} // namespace zep
