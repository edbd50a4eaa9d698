#include "InclusionProblem.h"

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <iterator>
#include <random>

namespace inclusion {
namespace {

class Random {
public:
  int below(int bound) { return static_cast<int>(m_engine() % static_cast<unsigned>(bound)); }

private:
  std::mt19937 m_engine{7};
};

std::vector<Kind> variables(int features) {
  std::vector<Kind> kinds(static_cast<std::size_t>(features), Kind::Feature);
  kinds.push_back(Kind::Unit);
  kinds.push_back(Kind::Date);
  return kinds;
}

Literal is(int variable, int value) {
  return {variable, {{value, value}}};
}

// Features over each other in one term would be none: so each comes once, in order.
Term randomTerm(Random& random, int features, int literals, int values) {
  Term term;
  for (int variable = 0; variable < features && static_cast<int>(term.size()) < literals; ++variable) {
    if (random.below(features - variable) < literals - static_cast<int>(term.size())) {
      term.push_back(is(variable, random.below(values)));
    }
  }
  return term;
}

// Each term of A is one of B's, said more narrowly.
Problem narrowed(int count) {
  constexpr int features = 40;
  Random random;
  Problem problem{variables(features), {}, {}, true};
  for (int i = 0; i < count; ++i) {
    Term term = randomTerm(random, features, 3, 10);
    problem.b.push_back(term);
    const int from = 1 + random.below(1000);
    term.push_back({features, {{from, from + random.below(100)}}});
    problem.a.push_back(term);
  }
  return problem;
}

// The same, but a few of A's terms are not in B.
Problem withMisses(int count) {
  Problem problem = narrowed(count);
  for (std::size_t i = 0; i < problem.a.size(); i += 10) {
    problem.a[i].front().ranges.front() = {11, 11};
  }
  problem.isIncluded = false;
  return problem;
}

// A's terms name two values and a range of units. B says the same in three parts that overlap: none of
// them alone is enough, and no two of them are one.
Problem splitOverValues(int count) {
  constexpr int features = 40;
  Random random;
  Problem problem{variables(features), {}, {}, true};
  for (int i = 0; i < count; i += 3) {
    Term term = randomTerm(random, features, 3, 10);
    const int value = random.below(9);
    const int from = 1 + random.below(1000);
    const int middle = from + 20 + random.below(100);
    const auto add = [&](Terms& terms, std::pair<int, int> values, std::pair<int, int> units) {
      term.front().ranges = {values};
      terms.push_back(term);
      terms.back().push_back({features, {units}});
    };
    add(problem.a, {value, value + 1}, {from, middle + 50});
    add(problem.b, {value, value}, {from, middle + 10});
    add(problem.b, {value + 1, value + 1}, {from, middle - 10});
    add(problem.b, {value, value + 1}, {middle - 9, middle + 50});
  }
  return problem;
}

Problem unrelated(int count) {
  constexpr int features = 12;
  Random random;
  Problem problem{variables(features), {}, {}, false};
  for (int i = 0; i < count; ++i) {
    problem.a.push_back(randomTerm(random, features, 4, 4));
    problem.b.push_back(randomTerm(random, features, 3, 4));
  }
  return problem;
}

// B lays overlapping rectangles of units and days like bricks; A's rectangles lie across them.
Problem grid(int count) {
  int side = 1;
  while ((side + 1) * (side + 1) <= count) {
    ++side;
  }
  constexpr int cell = 20;
  Problem problem{variables(0), {}, {}, true};
  for (int i = 0; i < side; ++i) {
    for (int j = 0; j < side; ++j) {
      problem.b.push_back(
          {{0, {{1 + i * cell, (i + 1) * cell + 3}}}, {1, {{1 + j * cell, (j + 1) * cell + 3}}}});
    }
  }
  Random random;
  for (int i = 0; i < count / 10 + 1; ++i) {
    const int unit = 1 + random.below(side * cell);
    const int day = 1 + random.below(side * cell);
    problem.a.push_back({{0, {{unit, std::min(unit + 3 * cell, side * cell)}}},
                         {1, {{day, std::min(day + 3 * cell, side * cell)}}}});
  }
  return problem;
}

// B is everything, divided again and again by whether a feature has its first value.
Problem tautology(int count) {
  constexpr int features = 40;
  Random random;
  Problem problem{variables(features), {{}}, {{}}, true};
  while (static_cast<int>(problem.b.size()) < count) {
    const std::size_t place = static_cast<std::size_t>(random.below(static_cast<int>(problem.b.size())));
    const int variable = random.below(features);
    const auto literal = std::lower_bound(problem.b[place].begin(), problem.b[place].end(), variable,
                                          [](const Literal& l, int number) { return l.variable < number; });
    if (literal != problem.b[place].end() && literal->variable == variable) {
      continue;
    }
    Term rest = problem.b[place];
    const auto offset = literal - problem.b[place].begin();
    problem.b[place].insert(literal, is(variable, 0));
    rest.insert(rest.begin() + offset, {variable, {{1, kOpen}}});
    problem.b.push_back(std::move(rest));
  }
  return problem;
}

// More pigeons than holes, and no two in one: included, because nothing is in A and not in B.
Problem pigeonhole(int count) {
  int holes = 2;
  while ((holes + 1) * (holes + 2) * (holes + 1) / 2 <= count && holes < 9) {
    ++holes;
  }
  Problem problem{std::vector<Kind>(static_cast<std::size_t>(holes + 1), Kind::Feature), {{}}, {}, true};
  for (int pigeon = 0; pigeon <= holes; ++pigeon) {
    problem.a.front().push_back({pigeon, {{0, holes - 1}}});
    for (int other = 0; other < pigeon; ++other) {
      for (int hole = 0; hole < holes; ++hole) {
        problem.b.push_back({is(other, hole), is(pigeon, hole)});
      }
    }
  }
  return problem;
}

std::string dayText(int number) {
  const std::chrono::year_month_day date{std::chrono::sys_days(std::chrono::days(10'957 + number))};
  char text[32];
  std::snprintf(text, sizeof text, "%04d-%02u-%02u", static_cast<int>(date.year()),
                static_cast<unsigned>(date.month()), static_cast<unsigned>(date.day()));
  return text;
}

std::string featureText(int variable, const std::vector<std::pair<int, int>>& ranges) {
  std::string values;
  for (const auto& [first, last] : ranges) {
    for (int value = first; value <= last; ++value) {
      values += "<Value Name=\"v" + std::to_string(value) + "\"/>";
    }
  }
  return "<Feature Name=\"F" + std::to_string(variable) + "\">" + values + "</Feature>";
}

std::string literalText(Kind kind, const Literal& literal) {
  if (kind == Kind::Feature && literal.ranges.back().second == kOpen) {
    return "<Not>" + featureText(literal.variable, {{0, literal.ranges.back().first - 1}}) + "</Not>";
  }
  if (kind == Kind::Feature) {
    return featureText(literal.variable, literal.ranges);
  }
  std::string text;
  for (const auto& [first, last] : literal.ranges) {
    const std::string bounds =
        kind == Kind::Unit ? " From=\"" + std::to_string(first) + "\" To=\"" + std::to_string(last) + "\"/>"
                           : " From=\"" + dayText(first) + "\" To=\"" + dayText(last) + "\"/>";
    text += (kind == Kind::Unit ? "<UnitRange" : "<DateRange") + bounds;
  }
  return literal.ranges.size() == 1 ? text : "<Or>" + text + "</Or>";
}

} // namespace

std::vector<int> valueCounts(const Problem& problem) {
  std::vector<int> counts(problem.variables.size(), 1);
  for (const Terms* const terms : {&problem.a, &problem.b}) {
    for (const Term& term : *terms) {
      for (const Literal& literal : term) {
        for (const auto& [first, last] : literal.ranges) {
          int& count = counts[static_cast<std::size_t>(literal.variable)];
          count = std::max(count, last == kOpen ? first : last + 1);
        }
      }
    }
  }
  return counts;
}

std::string expressionOf(const Problem& problem, const Terms& terms) {
  std::string alternatives;
  for (const Term& term : terms) {
    std::string all;
    for (const Literal& literal : term) {
      all += literalText(problem.variables[static_cast<std::size_t>(literal.variable)], literal);
    }
    alternatives += term.empty() ? "<Boolean>true</Boolean>" : "<And>" + all + "</And>";
  }
  return "<EffectivityExpression xmlns=\"urn:zep:configuration-expression\"><Or>" + alternatives +
         "</Or></EffectivityExpression>";
}

const std::vector<Family>& families() {
  static const std::vector<Family> all{
      {"narrowed", narrowed, 10'000},
      {"with_misses", withMisses, 10'000},
      {"split_over_values", splitOverValues, 10'000},
      {"random", unrelated, 10'000},
      {"grid_of_ranges", grid, 10'000},
      {"tautology", tautology, 10'000},
      {"pigeonhole", pigeonhole, 1'000},
  };
  return all;
}

} // namespace inclusion
