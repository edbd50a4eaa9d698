#include "InclusionEngines.h"

#include "Bench.h"

#include "ZEPBinary.h"
#include "ZEPCfgFilterBasicServices.h"
#include "ZEPFilterCompiler.h"
#include "ZEPHResult.h"

#include <algorithm>
#include <chrono>

#include <bdd.h>
#include <cadical.hpp>
#include <z3++.h>

namespace inclusion {
namespace {

// ---- ours --------------------------------------------------------------------------------------

ZEPBinary compiled(const Problem& problem, const Terms& terms) {
  ZEPBinary binary;
  std::size_t count = 0;
  bench::require(zep::CompileFilter(bench::textOf(expressionOf(problem, terms)), binary, count) == S_OK,
                 "an expression does not compile");
  return binary;
}

Question ours(const Problem& problem) {
  return [a = compiled(problem, problem.a), b = compiled(problem, problem.b)]() -> std::optional<bool> {
    unsigned char isIncluded = 0;
    if (ZEPFailed(ZEPCfgFilterBasicServices::IsAIncludedInB(a, b, isIncluded))) {
      return std::nullopt;
    }
    return isIncluded != 0;
  };
}

// ---- term by term ------------------------------------------------------------------------------

bool isIncludedIn(const Literal& inner, const Literal& outer) {
  return std::all_of(inner.ranges.begin(), inner.ranges.end(), [&outer](const auto& wanted) {
    return std::any_of(outer.ranges.begin(), outer.ranges.end(), [&wanted](const auto& range) {
      return range.first <= wanted.first && wanted.second <= range.second;
    });
  });
}

bool isIncludedIn(const Term& inner, const Term& outer) {
  auto literal = inner.begin();
  for (const Literal& wanted : outer) {
    while (literal != inner.end() && literal->variable < wanted.variable) {
      ++literal;
    }
    if (literal == inner.end() || literal->variable != wanted.variable || !isIncludedIn(*literal, wanted)) {
      return false;
    }
  }
  return true;
}

// Says no where several terms of B are needed for one of A: fast, and wrong. In brackets, because it does
// less than the others.
Question termByTerm(const Problem& problem) {
  return [&problem]() -> std::optional<bool> {
    return std::all_of(problem.a.begin(), problem.a.end(), [&problem](const Term& inner) {
      return std::any_of(problem.b.begin(), problem.b.end(),
                         [&inner](const Term& outer) { return isIncludedIn(inner, outer); });
    });
  };
}

// ---- CaDiCaL -----------------------------------------------------------------------------------

// A Boolean for each value of a feature, and for each number that a unit or a day may lie below.
class CaDiCaLQuestion {
public:
  explicit CaDiCaLQuestion(const Problem& problem) : m_problem(problem) {
    m_solver.set("quiet", 1);
    const std::vector<int> counts = valueCounts(problem);
    for (std::size_t variable = 0; variable < counts.size(); ++variable) {
      m_first.push_back(m_booleans + 1);
      m_booleans += counts[variable];
      if (problem.variables[variable] == Kind::Feature) {
        oneAtMost(m_first.back(), counts[variable]);
      } else {
        for (int i = 1; i < counts[variable]; ++i) {
          clause({-(m_first.back() + i - 1), m_first.back() + i});
        }
      }
    }
  }

  bool isIncluded() {
    for (const Term& term : m_problem.b) {
      std::vector<int> isOutside;
      for (const Literal& literal : term) {
        outside(literal, isOutside);
      }
      clause(isOutside);
    }
    std::vector<int> isOne;
    for (const Term& term : m_problem.a) {
      isOne.push_back(++m_booleans);
      for (const Literal& literal : term) {
        inside(literal, isOne.back());
      }
    }
    clause(isOne);
    return m_solver.solve() == 20;
  }

private:
  void clause(const std::vector<int>& literals) {
    for (const int literal : literals) {
      m_solver.add(literal);
    }
    m_solver.add(0);
  }

  void oneAtMost(int first, int count) {
    for (int i = 0; i < count; ++i) {
      for (int j = 0; j < i; ++j) {
        clause({-(first + i), -(first + j)});
      }
    }
  }

  bool isFeature(const Literal& literal) const {
    return m_problem.variables[static_cast<std::size_t>(literal.variable)] == Kind::Feature;
  }

  int boolean(const Literal& literal, int value) const {
    return m_first[static_cast<std::size_t>(literal.variable)] + value;
  }

  static bool isOpen(const Literal& literal) { return literal.ranges.back().second == kOpen; }

  void outside(const Literal& literal, std::vector<int>& isOutside) {
    if (!isFeature(literal)) { // these families know one range alone
      isOutside.push_back(boolean(literal, literal.ranges.front().first - 1));
      isOutside.push_back(-boolean(literal, literal.ranges.front().second));
    } else if (isOpen(literal)) {
      for (int value = 0; value < literal.ranges.back().first; ++value) {
        isOutside.push_back(boolean(literal, value));
      }
    } else if (literal.ranges.front().first == literal.ranges.front().second) {
      isOutside.push_back(-boolean(literal, literal.ranges.front().first));
    } else {
      const int isNone = ++m_booleans;
      for (int value = literal.ranges.front().first; value <= literal.ranges.front().second; ++value) {
        clause({-isNone, -boolean(literal, value)});
      }
      isOutside.push_back(isNone);
    }
  }

  void inside(const Literal& literal, int chosen) {
    if (!isFeature(literal)) {
      clause({-chosen, -boolean(literal, literal.ranges.front().first - 1)});
      clause({-chosen, boolean(literal, literal.ranges.front().second)});
      return;
    }
    std::vector<int> isOne{-chosen};
    for (int value = literal.ranges.front().first; value <= literal.ranges.front().second; ++value) {
      isOne.push_back(boolean(literal, value));
    }
    clause(isOne);
  }

  const Problem& m_problem;
  CaDiCaL::Solver m_solver;
  std::vector<int> m_first;
  int m_booleans = 0;
};

Question cadicalByHand(const Problem& problem) {
  return [&problem]() -> std::optional<bool> { return CaDiCaLQuestion(problem).isIncluded(); };
}

// ---- Z3 ----------------------------------------------------------------------------------------

z3::expr z3Term(z3::context& context, const std::vector<z3::expr>& values, const Term& term) {
  z3::expr_vector all(context);
  for (const Literal& literal : term) {
    const z3::expr& value = values[static_cast<std::size_t>(literal.variable)];
    z3::expr_vector ranges(context);
    for (const auto& [first, last] : literal.ranges) {
      ranges.push_back(last == kOpen ? value >= first
                                     : (first == last ? value == first : value >= first && value <= last));
    }
    all.push_back(z3::mk_or(ranges));
  }
  return z3::mk_and(all);
}

Question z3ByHand(const Problem& problem) {
  return [&problem]() -> std::optional<bool> {
    z3::context context;
    z3::solver solver(context);
    z3::params parameters(context);
    parameters.set("timeout", 10'000U);
    solver.set(parameters);
    std::vector<z3::expr> values;
    for (std::size_t variable = 0; variable < problem.variables.size(); ++variable) {
      values.push_back(context.int_const(("x" + std::to_string(variable)).c_str()));
      solver.add(values.back() >= 0);
    }
    z3::expr_vector isOne(context);
    for (const Term& term : problem.a) {
      isOne.push_back(z3Term(context, values, term));
    }
    solver.add(z3::mk_or(isOne));
    for (const Term& term : problem.b) {
      solver.add(!z3Term(context, values, term));
    }
    const z3::check_result result = solver.check();
    return result == z3::unknown ? std::nullopt : std::optional(result == z3::unsat);
  };
}

// ---- BuDDy -------------------------------------------------------------------------------------

// A diagram beyond that, or one that takes longer, is given up.
constexpr int kMaxNodes = 500'000;
constexpr std::chrono::seconds kMaxTime(2);

// A package of its own for each question: what it remembers of the last one would be the answer.
class BDDPackage {
public:
  BDDPackage() {
    bdd_init(10'000, 1'000);
    bdd_gbc_hook(nullptr);
    bdd_resize_hook(nullptr);
    bdd_setmaxincrease(1'000'000);
  }
  ~BDDPackage() { bdd_done(); }
  BDDPackage(const BDDPackage&) = delete;
  BDDPackage& operator=(const BDDPackage&) = delete;
};

// Each value as a binary number.
class BDDQuestion {
public:
  explicit BDDQuestion(const Problem& problem) : m_problem(problem) {
    for (const int count : valueCounts(problem)) {
      int bits = 1;
      while ((1 << bits) <= count) {
        ++bits;
      }
      m_first.push_back(m_bits);
      m_widths.push_back(bits);
      m_bits += bits;
    }
    bdd_setvarnum(m_bits);
  }

  std::optional<bool> isIncluded() {
    bdd isInB = bddfalse;
    for (const Term& term : m_problem.b) {
      isInB |= termOf(term);
      if (hasFailed()) {
        return std::nullopt;
      }
    }
    for (const Term& term : m_problem.a) {
      if ((termOf(term) - isInB) != bddfalse) {
        return false;
      }
      if (hasFailed()) {
        return std::nullopt;
      }
    }
    return true;
  }

private:
  bool hasFailed() const {
    return bdd_getnodenum() > kMaxNodes || std::chrono::steady_clock::now() - m_start > kMaxTime;
  }

  // The value is at least this number.
  bdd atLeast(std::size_t variable, int number) const {
    bdd isSo = bddtrue;
    for (int bit = 0; bit < m_widths[variable]; ++bit) {
      const bdd isSet = bdd_ithvar(m_first[variable] + m_widths[variable] - 1 - bit);
      isSo = (number >> bit & 1) != 0 ? isSet & isSo : isSet | isSo;
    }
    return isSo;
  }

  bdd rangeOf(std::size_t variable, int first, int last) const {
    const int largest = (1 << m_widths[variable]) - 1;
    const bdd isAbove = atLeast(variable, first);
    return last >= largest ? isAbove : isAbove - atLeast(variable, last + 1);
  }

  bdd termOf(const Term& term) const {
    bdd all = bddtrue;
    for (auto literal = term.rbegin(); literal != term.rend(); ++literal) {
      bdd isOne = bddfalse;
      for (const auto& [first, last] : literal->ranges) {
        isOne |= rangeOf(static_cast<std::size_t>(literal->variable), first, last);
      }
      all &= isOne;
    }
    return all;
  }

  const Problem& m_problem;
  std::vector<int> m_first;
  std::vector<int> m_widths;
  int m_bits = 0;
  std::chrono::steady_clock::time_point m_start = std::chrono::steady_clock::now();
};

Question buddyByHand(const Problem& problem) {
  return [&problem]() -> std::optional<bool> {
    const BDDPackage package;
    return BDDQuestion(problem).isIncluded();
  };
}

} // namespace

const std::vector<Engine>& engines() {
  static const std::vector<Engine> all{
      {"ours", true, ours},   {"(term_by_term)", false, termByTerm}, {"cadical", true, cadicalByHand},
      {"z3", true, z3ByHand}, {"buddy", true, buddyByHand},
  };
  return all;
}

} // namespace inclusion
