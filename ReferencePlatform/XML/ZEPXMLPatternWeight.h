#pragma once

#include <array>
#include <cstddef>
#include <string_view>

namespace zep {

constexpr std::string_view kAnyName = "*";

// The name in front of a predicate or at the end of a pattern, without its prefix.
std::string_view NameAtEnd(std::string_view text);

// What it takes to try some patterns on one node, as far as their texts tell. Behind each `//` inside a
// pattern libxslt tries all elements above, one after the other: for a node with d of them and k such steps
// it may come to any choice of up to k of the d. For key(), and where a step has several predicates, it looks
// for the node in a list of those found.
class XMLPatternWeight {
public:
  void Add(const XMLPatternWeight& other);
  void AddSteps(std::size_t steps, std::size_t ancestorSteps, std::size_t lists = 0);
  // At least as much as each of the two.
  void Raise(const XMLPatternWeight& other);
  // In looks at a node, for one with so many above it, among so many in all.
  double At(std::size_t depth, std::size_t nodes) const;

private:
  static constexpr std::size_t kMaxAncestorSteps = 16; // with more of them it is hardly more any more

  // Of the patterns with so many `//`.
  struct Counts {
    std::size_t steps = 0;
    std::size_t lists = 0;
  };

  std::array<Counts, kMaxAncestorSteps + 1> m_counts{};
  std::size_t m_end = 0; // of those in use
};

// Reads one alternative of a pattern after the other.
class XMLPatternAlternatives {
public:
  explicit XMLPatternAlternatives(std::string_view pattern) : m_pattern(pattern) {}

  bool Read();
  // Of what it matches, without a prefix, or kAnyName.
  std::string_view Name() const;
  std::size_t Steps() const { return m_steps; }
  std::size_t AncestorSteps() const { return m_ancestorSteps; }
  std::size_t Lists() const { return m_lists; }

private:
  void BeginStep(std::size_t position);
  void ReadOne();
  void ReadBracket();
  void ReadSlash();

  std::string_view m_pattern;
  std::size_t m_position = 0;
  std::size_t m_begin = 0; // of the step
  std::size_t m_nameEnd = 0;
  std::size_t m_steps = 0;
  std::size_t m_ancestorSteps = 0;
  std::size_t m_lists = 0;
  std::size_t m_depth = 0; // of brackets and parentheses
  bool m_isInName = false;
};

} // namespace zep
