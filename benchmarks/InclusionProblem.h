#pragma once

#include <cstdint>
#include <string>
#include <vector>

// Questions of inclusion, as data that every engine makes of it what it needs.
namespace inclusion {

enum class Kind { Feature, Unit, Date };

// Where a range of values of a feature ends that holds all others, those that nobody names included.
inline constexpr int kOpen = 1'000'000;

// The value lies in one of these ranges. Values of features are v0, v1 and so on.
struct Literal {
  int variable;
  std::vector<std::pair<int, int>> ranges;
};
using Term = std::vector<Literal>; // by variable, each once
using Terms = std::vector<Term>;

struct Problem {
  std::vector<Kind> variables;
  Terms a;
  Terms b;
  bool isIncluded; // as its family means it to be; checked against every engine that knows
};

// Number of values named, from 0 on; units and days have one more than the largest bound.
std::vector<int> valueCounts(const Problem& problem);

// As an expression of the vocabulary.
std::string expressionOf(const Problem& problem, const Terms& terms);

struct Family {
  std::string name;
  Problem (*make)(int termCount);
  int maxTerms;
};
const std::vector<Family>& families();

} // namespace inclusion
