#include "ZEPFilterNormalForm.h"

#include "ZEPFilterFault.h"
#include "ZEPFilterSimplification.h"

#include <iterator>
#include <string>
#include <utility>

namespace zep {
namespace {

using Terms = std::vector<FilterTerm>;

// Literals and ranges on the way, however few are left of them at the end.
constexpr std::size_t kWorkPerTerm = 512;

std::size_t RangeCount(const FilterTerm& term) {
  std::size_t count = 0;
  for (const FilterLiteral& literal : term) {
    count += literal.numbers.size();
  }
  return count;
}

class NormalForm {
public:
  NormalForm(const std::vector<FilterVariable>& variables, const FilterLimits& limits)
      : m_variables(variables),
        m_limits(limits) {}

  Terms TermsOf(const FilterCondition& condition, bool isNegated) {
    switch (condition.kind) {
    case FilterCondition::Kind::Literal:
      return LiteralTerms(condition.literal, isNegated);
    case FilterCondition::Kind::Not:
      return TermsOf(condition.parts.front(), !isNegated);
    default:
      break;
    }
    const bool isConjunction = (condition.kind == FilterCondition::Kind::All) != isNegated;
    Terms terms = isConjunction ? Terms{{}} : Terms{};
    for (const FilterCondition& part : condition.parts) {
      Terms more = TermsOf(part, isNegated);
      if (isConjunction) {
        terms = Shorter(Product(terms, more));
      } else {
        std::move(more.begin(), more.end(), std::back_inserter(terms));
        CheckSize(terms);
      }
    }
    return isConjunction ? terms : Shorter(std::move(terms));
  }

private:
  Terms LiteralTerms(const FilterLiteral& literal, bool isNegated) const {
    const Range domain = DomainOf(m_variables[literal.variable].kind);
    RangeSet numbers = isNegated ? Complement(literal.numbers, domain) : literal.numbers;
    if (numbers.empty()) {
      return {};
    }
    return numbers == RangeSet{domain} ? Terms{{}} : Terms{{{literal.variable, std::move(numbers)}}};
  }

  Terms Product(const Terms& left, const Terms& right) const {
    Terms product;
    for (const FilterTerm& l : left) {
      for (const FilterTerm& r : right) {
        FilterTerm term;
        if (Conjunction(l, r, term)) {
          Add(product, std::move(term));
        }
      }
    }
    return product;
  }

  // False where no configuration fits both.
  static bool Conjunction(const FilterTerm& left, const FilterTerm& right, FilterTerm& both) {
    auto l = left.begin();
    auto r = right.begin();
    while (l != left.end() && r != right.end()) {
      if (l->variable < r->variable) {
        both.push_back(*l++);
      } else if (r->variable < l->variable) {
        both.push_back(*r++);
      } else {
        both.push_back({l->variable, Intersection(l++->numbers, r++->numbers)});
        if (both.back().numbers.empty()) {
          return false;
        }
      }
    }
    both.insert(both.end(), l, left.end());
    both.insert(both.end(), r, right.end());
    return true;
  }

  void Add(Terms& terms, FilterTerm term) const {
    terms.push_back(std::move(term));
    CheckSize(terms);
  }

  Terms Shorter(Terms terms) {
    for (const FilterTerm& term : terms) {
      m_work += term.size() + RangeCount(term);
    }
    if (m_work > m_limits.maxTerms * kWorkPerTerm) {
      FailAsTooLarge();
    }
    return Simplified(std::move(terms), m_variables);
  }

  void CheckSize(const Terms& terms) const {
    if (terms.size() > m_limits.maxTerms) {
      FailAsTooLarge();
    }
  }

  [[noreturn]] void FailAsTooLarge() const {
    throw FilterFault("its disjunctive normal form, or a step on the way to it, has more than " +
                      std::to_string(m_limits.maxTerms) +
                      " terms (ZEP_FILTER_MAX_TERMS): say it with fewer alternatives inside And, or fewer "
                      "conditions inside Not");
  }

  const std::vector<FilterVariable>& m_variables;
  FilterLimits m_limits;
  std::size_t m_work = 0;
};

void CheckRanges(const Terms& terms, const FilterLimits& limits) {
  std::size_t ranges = 0;
  for (const FilterTerm& term : terms) {
    ranges += RangeCount(term);
  }
  if (ranges > limits.maxRanges) {
    throw FilterFault("its disjunctive normal form names more than " + std::to_string(limits.maxRanges) +
                      " values and ranges (64 for each term of ZEP_FILTER_MAX_TERMS)");
  }
}

} // namespace

Filter NormalFormOf(FilterDocument document, const FilterLimits& limits) {
  Terms terms = NormalForm(document.variables, limits).TermsOf(document.condition, false);
  CheckRanges(terms, limits);
  return {std::move(document.variables), std::move(terms)};
}

} // namespace zep
