#include "ZEPXMLPatternWeight.h"

#include <algorithm>

namespace zep {
namespace {

constexpr std::string_view kBlanks = " \t\r\n";
constexpr double kLooksOfListed = 1.0 / 64; // to compare a node of a list
// No element has more above it.
constexpr std::size_t kMaxSteps = 1'000;

bool EndsName(char c) {
  return c == '/' || c == '|' || c == ':' || c == '@' || c == ']' ||
         kBlanks.find(c) != std::string_view::npos;
}

bool IsBlank(std::string_view text) {
  return text.find_first_not_of(kBlanks) == std::string_view::npos;
}

// Node tests such as text() stand in a list that is tried on nodes of all names.
std::string_view NameOfStep(std::string_view step) {
  const std::string_view trimmed = step.substr(0, step.find_last_not_of(kBlanks) + 1);
  const std::string_view name = NameAtEnd(trimmed);
  return name.empty() || name.back() == ')' ? kAnyName : name;
}

} // namespace

std::string_view NameAtEnd(std::string_view text) {
  std::size_t begin = text.size();
  while (begin > 0 && !EndsName(text[begin - 1])) {
    --begin;
  }
  return text.substr(begin);
}

void XMLPatternWeight::Add(const XMLPatternWeight& other) {
  for (std::size_t i = 0; i < other.m_end; ++i) {
    m_counts[i].steps += other.m_counts[i].steps;
    m_counts[i].lists += other.m_counts[i].lists;
  }
  m_end = std::max(m_end, other.m_end);
}

void XMLPatternWeight::AddSteps(std::size_t steps, std::size_t ancestorSteps, std::size_t lists) {
  const std::size_t i = std::min(ancestorSteps, kMaxAncestorSteps);
  m_counts[i].steps += std::min(steps - ancestorSteps, kMaxSteps);
  m_counts[i].lists += lists;
  m_end = std::max(m_end, i + 1);
}

void XMLPatternWeight::Raise(const XMLPatternWeight& other) {
  for (std::size_t i = 0; i < other.m_end; ++i) {
    m_counts[i].steps = std::max(m_counts[i].steps, other.m_counts[i].steps);
    m_counts[i].lists = std::max(m_counts[i].lists, other.m_counts[i].lists);
  }
  m_end = std::max(m_end, other.m_end);
}

double XMLPatternWeight::At(std::size_t depth, std::size_t nodes) const {
  const double looksOfList = static_cast<double>(nodes) * kLooksOfListed;
  double looks = 0;
  double chosen = 1; // ways to choose i of the elements above
  double ways = 1;   // to choose up to i
  for (std::size_t i = 0; i < m_end; ++i) {
    looks += ways *
             (static_cast<double>(m_counts[i].steps) + static_cast<double>(m_counts[i].lists) * looksOfList);
    chosen *= depth > i ? static_cast<double>(depth - i) / static_cast<double>(i + 1) : 0;
    ways += chosen;
  }
  return looks;
}

bool XMLPatternAlternatives::Read() {
  if (m_position >= m_pattern.size()) {
    return false;
  }
  m_steps = 1;
  m_ancestorSteps = 0;
  m_lists = 0;
  m_depth = 0;
  BeginStep(m_position);
  while (m_position < m_pattern.size() && (m_depth != 0 || m_pattern[m_position] != '|')) {
    ReadOne();
  }
  if (m_isInName) {
    m_nameEnd = m_position;
  }
  ++m_position;
  return true;
}

std::string_view XMLPatternAlternatives::Name() const {
  return NameOfStep(m_pattern.substr(m_begin, m_nameEnd - m_begin));
}

void XMLPatternAlternatives::BeginStep(std::size_t position) {
  m_begin = position;
  m_isInName = true;
}

void XMLPatternAlternatives::ReadOne() {
  const char c = m_pattern[m_position];
  if (c == '\'' || c == '"') {
    m_position = std::min(m_pattern.find(c, m_position + 1), m_pattern.size() - 1);
  } else if (c == '[' || c == '(') {
    ReadBracket();
  } else if (c == ']' || c == ')') {
    m_depth -= m_depth == 0 ? 0 : 1;
  } else if (c == '/' && m_depth == 0) {
    ReadSlash();
  }
  ++m_position;
}

void XMLPatternAlternatives::ReadBracket() {
  if (m_depth++ != 0) {
    return;
  }
  if (m_pattern[m_position] == '(') {
    m_lists += NameOfStep(m_pattern.substr(m_begin, m_position - m_begin)) == "key" ? 1 : 0;
  } else if (m_isInName) {
    m_nameEnd = m_position;
    m_isInName = false;
  } else {
    ++m_lists;
  }
}

void XMLPatternAlternatives::ReadSlash() {
  const bool isFirst = m_steps == 1 && IsBlank(m_pattern.substr(m_begin, m_position - m_begin));
  const bool isDouble = m_position + 1 < m_pattern.size() && m_pattern[m_position + 1] == '/';
  m_position += isDouble ? 1 : 0;
  BeginStep(m_position + 1);
  if (isFirst && isDouble) {
    return; // libxslt leaves it out
  }
  ++m_steps;
  m_ancestorSteps += isDouble ? 1 : 0;
}

} // namespace zep
