#include "ZEPFilter.h"

#include "ZEPEnvironmentNumber.h"

#include <algorithm>
#include <tuple>

namespace zep {
namespace {

constexpr std::int64_t kMaxTermsEver = 10'000'000;
constexpr std::size_t kRangesOfATerm = 64; // on average
constexpr std::int64_t kDayInMilliseconds = std::int64_t{24} * 60 * 60 * 1000;

} // namespace

bool HasNames(FilterVariableKind kind) {
  return kind != FilterVariableKind::Date && kind != FilterVariableKind::Unit;
}

Range DomainOf(FilterVariableKind kind) {
  switch (kind) {
  case FilterVariableKind::Date:
    return {kNoFirst, kNoLast};
  case FilterVariableKind::Unit:
    return {1, kNoLast};
  default:
    return {0, kNoLast};
  }
}

bool IsSameVariable(const FilterVariable& left, const FilterVariable& right) {
  return left.kind == right.kind && left.name == right.name;
}

bool IsBefore(const FilterVariable& left, const FilterVariable& right) {
  return std::tie(left.kind, left.name) < std::tie(right.kind, right.name);
}

const FilterLiteral* FindLiteral(const FilterTerm& term, std::uint32_t variable) {
  const auto literal =
      std::lower_bound(term.begin(), term.end(), variable,
                       [](const FilterLiteral& l, std::uint32_t number) { return l.variable < number; });
  return literal != term.end() && literal->variable == variable ? &*literal : nullptr;
}

FilterLimits CurrentFilterLimits() {
  const auto maxTerms =
      static_cast<std::size_t>(NumberFromEnvironment("ZEP_FILTER_MAX_TERMS", 65'536, kMaxTermsEver));
  return {
      maxTerms, maxTerms * kRangesOfATerm,
      std::chrono::milliseconds(NumberFromEnvironment("ZEP_FILTER_TIMEOUT_MS", 10'000, kDayInMilliseconds))};
}

} // namespace zep
