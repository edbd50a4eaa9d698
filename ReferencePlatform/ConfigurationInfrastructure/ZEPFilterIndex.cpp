#include "ZEPFilterIndex.h"

#include <algorithm>

namespace zep {
namespace {

constexpr std::int64_t kFewNumbers = 8;
constexpr std::size_t kMaxComparisons = 10'000'000; // of literals

bool IsIncluded(const FilterTerm& inner, const FilterTerm& outer) {
  auto literal = inner.begin();
  for (const FilterLiteral& wanted : outer) {
    while (literal != inner.end() && literal->variable < wanted.variable) {
      ++literal;
    }
    if (literal == inner.end() || literal->variable != wanted.variable ||
        !Includes(wanted.numbers, literal->numbers)) {
      return false;
    }
  }
  return true;
}

bool HasFewNumbers(const RangeSet& numbers) {
  std::int64_t count = 0;
  for (const Range& range : numbers) {
    if (range.first < 0 || range.last - range.first >= kFewNumbers - count) {
      return false;
    }
    count += range.last - range.first + 1;
  }
  return true;
}

} // namespace

FilterIndex::FilterIndex(const Filter& filter)
    : m_filter(filter),
      m_byNumber(filter.variables.size()),
      m_byVariable(filter.variables.size()) {
  std::vector<std::size_t> uses(filter.variables.size());
  for (const FilterTerm& term : filter.terms) {
    for (const FilterLiteral& literal : term) {
      ++uses[literal.variable];
    }
  }
  for (std::uint32_t place = 0; place < filter.terms.size(); ++place) {
    Enter(place, uses);
  }
}

// Under the literal that tells the most: few numbers, then a variable that few terms speak of.
void FilterIndex::Enter(std::uint32_t place, const std::vector<std::size_t>& uses) {
  const FilterTerm& term = m_filter.terms[place];
  if (term.empty()) {
    m_includesAll = true;
    return;
  }
  const auto rank = [&uses](const FilterLiteral& literal) {
    return std::pair(!HasFewNumbers(literal.numbers), uses[literal.variable]);
  };
  const FilterLiteral& key =
      *std::min_element(term.begin(), term.end(),
                        [&rank](const auto& left, const auto& right) { return rank(left) < rank(right); });
  if (!HasFewNumbers(key.numbers)) {
    m_byVariable[key.variable].push_back(place);
    return;
  }
  for (const Range& range : key.numbers) {
    for (std::int64_t number = range.first; number <= range.last; ++number) {
      m_byNumber[key.variable][number].push_back(place);
    }
  }
}

bool FilterIndex::IsIncludedInATerm(const FilterTerm& term) {
  if (m_includesAll) {
    return true;
  }
  for (const FilterLiteral& literal : term) {
    const auto& byNumber = m_byNumber[literal.variable];
    const auto entry = byNumber.find(literal.numbers.front().first);
    if ((entry != byNumber.end() && IsIncludedInOneOf(entry->second, term)) ||
        IsIncludedInOneOf(m_byVariable[literal.variable], term)) {
      return true;
    }
  }
  return false;
}

bool FilterIndex::IsIncludedInOneOf(const Places& places, const FilterTerm& term) {
  for (const std::uint32_t place : places) {
    const FilterTerm& outer = m_filter.terms[place];
    m_comparisons += outer.size();
    if (m_comparisons > kMaxComparisons) {
      return false;
    }
    if (IsIncluded(term, outer)) {
      return true;
    }
  }
  return false;
}

} // namespace zep
