#include "ZEPFilterSimplification.h"

#include <algorithm>
#include <map>
#include <unordered_map>
#include <utility>

namespace zep {
namespace {

using Hash = std::uint64_t;

Hash Mixed(Hash hash, std::uint64_t number) {
  hash = (hash ^ number) * 0x9E3779B97F4A7C15ULL;
  return hash ^ (hash >> 29);
}

Hash HashOf(const FilterLiteral& literal) {
  Hash hash = Mixed(1, literal.variable);
  for (const Range& range : literal.numbers) {
    hash =
        Mixed(Mixed(hash, static_cast<std::uint64_t>(range.first)), static_cast<std::uint64_t>(range.last));
  }
  return hash;
}

// A sum, so that a literal can be taken out of it.
Hash HashOf(const FilterTerm& term) {
  Hash hash = 0;
  for (const FilterLiteral& literal : term) {
    hash += HashOf(literal);
  }
  return hash;
}

// Whether both say the same of all other variables.
bool IsSameBut(std::uint32_t variable, const FilterTerm& left, const FilterTerm& right) {
  const auto next = [variable](const FilterTerm& term, FilterTerm::const_iterator literal) {
    return literal != term.end() && literal->variable == variable ? literal + 1 : literal;
  };
  auto l = next(left, left.begin());
  auto r = next(right, right.begin());
  while (l != left.end() && r != right.end() && *l == *r) {
    l = next(left, l + 1);
    r = next(right, r + 1);
  }
  return l == left.end() && r == right.end();
}

class Simplification {
public:
  Simplification(std::vector<FilterTerm> terms, const std::vector<FilterVariable>& variables)
      : m_variables(variables),
        m_terms(std::move(terms)),
        m_isRemoved(m_terms.size()) {
    for (const FilterTerm& term : m_terms) {
      m_hashes.push_back(HashOf(term));
    }
  }

  std::vector<FilterTerm> Simplify() {
    for (const auto& [variable, places] : PlacesByVariable()) {
      JoinOn(variable, places);
    }
    RemoveAbsorbed();
    std::vector<FilterTerm> left;
    for (std::size_t place = 0; place < m_terms.size(); ++place) {
      if (!m_isRemoved[place]) {
        left.push_back(std::move(m_terms[place]));
      }
    }
    return left;
  }

private:
  using Places = std::vector<std::size_t>;

  std::map<std::uint32_t, Places> PlacesByVariable() const {
    std::map<std::uint32_t, Places> places;
    for (std::size_t place = 0; place < m_terms.size(); ++place) {
      for (const FilterLiteral& literal : m_terms[place]) {
        places[literal.variable].push_back(place);
      }
    }
    return places;
  }

  void JoinOn(std::uint32_t variable, const Places& places) {
    std::vector<std::pair<Hash, std::size_t>> rests; // what the terms say of the other variables
    for (const std::size_t place : places) {
      if (!m_isRemoved[place]) {
        rests.emplace_back(m_hashes[place] - HashOf(*FindLiteral(m_terms[place], variable)), place);
      }
    }
    std::sort(rests.begin(), rests.end());
    for (auto first = rests.begin(); first != rests.end();) {
      const auto end =
          std::find_if(first, rests.end(), [&](const auto& rest) { return rest.first != first->first; });
      Places alike;
      for (auto rest = first; rest != end; ++rest) {
        if (IsSameBut(variable, m_terms[first->second], m_terms[rest->second])) {
          alike.push_back(rest->second);
        }
      }
      if (alike.size() > 1) {
        Join(variable, alike);
      }
      first = end;
    }
  }

  // Puts into the first of them what all of them say.
  void Join(std::uint32_t variable, const Places& places) {
    std::vector<Range> ranges;
    for (const std::size_t place : places) {
      const RangeSet& numbers = FindLiteral(m_terms[place], variable)->numbers;
      ranges.insert(ranges.end(), numbers.begin(), numbers.end());
      m_isRemoved[place] = place != places.front();
    }
    FilterTerm& joined = m_terms[places.front()];
    const auto literal = joined.begin() + (FindLiteral(joined, variable) - joined.data());
    literal->numbers = Joined(std::move(ranges));
    if (literal->numbers == RangeSet{DomainOf(m_variables[variable].kind)}) {
      joined.erase(literal);
    }
    m_hashes[places.front()] = HashOf(joined);
  }

  // Those that are another term with one more literal.
  void RemoveAbsorbed() {
    std::unordered_map<Hash, std::size_t> placeOf;
    for (std::size_t place = 0; place < m_terms.size(); ++place) {
      if (!m_isRemoved[place]) {
        placeOf.emplace(m_hashes[place], place);
      }
    }
    for (std::size_t place = 0; place < m_terms.size(); ++place) {
      for (const FilterLiteral& literal : m_terms[place]) {
        const auto other = placeOf.find(m_hashes[place] - HashOf(literal));
        if (!m_isRemoved[place] && other != placeOf.end() && other->second != place &&
            !m_isRemoved[other->second] && m_terms[other->second].size() + 1 == m_terms[place].size() &&
            IsSameBut(literal.variable, m_terms[place], m_terms[other->second])) {
          m_isRemoved[place] = true;
        }
      }
    }
  }

  const std::vector<FilterVariable>& m_variables;
  std::vector<FilterTerm> m_terms;
  std::vector<Hash> m_hashes;
  std::vector<bool> m_isRemoved;
};

void SortOut(std::vector<FilterTerm>& terms) {
  std::sort(terms.begin(), terms.end());
  terms.erase(std::unique(terms.begin(), terms.end()), terms.end());
}

} // namespace

std::vector<FilterTerm> Simplified(std::vector<FilterTerm> terms,
                                   const std::vector<FilterVariable>& variables) {
  SortOut(terms);
  if (terms.size() > 1) {
    terms = Simplification(std::move(terms), variables).Simplify();
    SortOut(terms);
  }
  return !terms.empty() && terms.front().empty() ? std::vector<FilterTerm>{{}} : terms;
}

} // namespace zep
