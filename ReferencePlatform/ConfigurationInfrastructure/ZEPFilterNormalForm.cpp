#include "ZEPFilterNormalForm.h"

#include "ZEPFilterFault.h"

#include <algorithm>
#include <iterator>
#include <set>
#include <string>
#include <utility>

namespace zep {
namespace {

using Terms = std::vector<FilterTerm>;

// Terms handled on the way, however few are left of them at the end.
constexpr std::size_t kHandledTermsPerTerm = 256;

std::size_t RangeCount(const FilterTerm& term) {
  std::size_t count = 0;
  for (const FilterLiteral& literal : term) {
    count += literal.numbers.size();
  }
  return count;
}

// The order of terms, whatever they say of one variable.
class OrderWithout {
public:
  explicit OrderWithout(std::uint32_t variable) : m_variable(variable) {}

  bool operator()(const FilterTerm& left, const FilterTerm& right) const {
    auto l = Next(left, left.begin());
    auto r = Next(right, right.begin());
    while (l != left.end() && r != right.end() && *l == *r) {
      l = Next(left, l + 1);
      r = Next(right, r + 1);
    }
    return r != right.end() && (l == left.end() || *l < *r);
  }

private:
  FilterTerm::const_iterator Next(const FilterTerm& term, FilterTerm::const_iterator literal) const {
    return literal != term.end() && literal->variable == m_variable ? literal + 1 : literal;
  }

  std::uint32_t m_variable;
};

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
        terms = Simplified(Product(terms, more));
      } else {
        std::move(more.begin(), more.end(), std::back_inserter(terms));
        CheckSize(terms);
      }
    }
    return isConjunction ? terms : Simplified(std::move(terms));
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

  Terms Product(const Terms& left, const Terms& right) {
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

  void Add(Terms& terms, FilterTerm term) {
    terms.push_back(std::move(term));
    Handle(1);
    CheckSize(terms);
  }

  void Handle(std::size_t terms) {
    m_handled += terms;
    if (m_handled > m_limits.maxTerms * kHandledTermsPerTerm) {
      FailAsTooLarge();
    }
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

  // Each term once; those that differ in what they say of one variable become one.
  Terms Simplified(Terms terms) {
    for (const std::uint32_t variable : VariablesOf(terms)) {
      JoinOn(variable, terms);
    }
    std::sort(terms.begin(), terms.end());
    return !terms.empty() && terms.front().empty() ? Terms{{}} : terms;
  }

  static std::set<std::uint32_t> VariablesOf(const Terms& terms) {
    std::set<std::uint32_t> variables;
    for (const FilterTerm& term : terms) {
      for (const FilterLiteral& literal : term) {
        variables.insert(literal.variable);
      }
    }
    return variables;
  }

  void JoinOn(std::uint32_t variable, Terms& terms) {
    Handle(terms.size());
    const OrderWithout order(variable);
    std::sort(terms.begin(), terms.end(), order);
    Terms joined;
    for (auto first = terms.begin(); first != terms.end();) {
      const auto end =
          std::find_if(first, terms.end(), [&](const FilterTerm& term) { return order(*first, term); });
      joined.push_back(JoinedOn(variable, first, end));
      first = end;
    }
    terms = std::move(joined);
  }

  // One term for terms that differ in this variable alone.
  FilterTerm JoinedOn(std::uint32_t variable, Terms::const_iterator first, Terms::const_iterator end) const {
    if (end - first == 1) {
      return *first;
    }
    const Range domain = DomainOf(m_variables[variable].kind);
    std::vector<Range> ranges;
    for (auto term = first; term != end; ++term) {
      const FilterLiteral* const literal = FindLiteral(*term, variable);
      const RangeSet numbers = literal == nullptr ? RangeSet{domain} : literal->numbers;
      ranges.insert(ranges.end(), numbers.begin(), numbers.end());
    }
    return Replaced(*first, {variable, Joined(std::move(ranges))}, domain);
  }

  static FilterTerm Replaced(const FilterTerm& term, FilterLiteral literal, const Range& domain) {
    FilterTerm replaced;
    std::copy_if(term.begin(), term.end(), std::back_inserter(replaced),
                 [&literal](const FilterLiteral& other) { return other.variable != literal.variable; });
    if (literal.numbers != RangeSet{domain}) {
      replaced.insert(std::lower_bound(replaced.begin(), replaced.end(), literal), std::move(literal));
    }
    return replaced;
  }

  const std::vector<FilterVariable>& m_variables;
  FilterLimits m_limits;
  std::size_t m_handled = 0;
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
