#include "ZEPXMLPatterns_libxslt.h"

#include "ZEPXMLParents_libxml2.h"
#include "ZEPXMLSession_libxslt.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <new>
#include <optional>
#include <string_view>
#include <unordered_map>

#include <libxslt/imports.h>

namespace zep {
namespace {

using Counts = std::unordered_map<std::string_view, std::size_t>;

constexpr std::string_view kAnyName = "*";
constexpr std::size_t kSiblingsPerMillisecond = 300'000;
constexpr std::size_t kFewPatterns = 10; // they take as long as a few expressions

bool EndsName(char c) {
  return c == '/' || c == '|' || c == ':' || c == '@' || c == ']' || c == ' ' || c == '\t' || c == '\r' ||
         c == '\n';
}

// The name in front of a predicate, without its prefix.
std::string_view NameBefore(std::string_view text) {
  std::size_t begin = text.size();
  while (begin > 0 && !EndsName(text[begin - 1])) {
    --begin;
  }
  return text.substr(begin);
}

void CountPredicates(std::string_view pattern, Counts& counts) {
  std::size_t depth = 0;
  char quote = '\0';
  for (std::size_t i = 0; i < pattern.size(); ++i) {
    const char c = pattern[i];
    if (quote != '\0') {
      quote = c == quote ? '\0' : quote;
    } else if (c == '\'' || c == '"') {
      quote = c;
    } else if (c == '[' && depth++ == 0) {
      ++counts[NameBefore(pattern.substr(0, i))];
    } else if (c == ']' && depth > 0) {
      --depth;
    }
  }
}

std::size_t CountChildren(const xmlNode& parent) {
  std::size_t count = 0;
  for (const xmlNode* child = parent.children; child != nullptr; child = child->next) {
    ++count;
  }
  return count;
}

std::size_t MostSiblings(const xmlNode& top) {
  std::size_t most = 0;
  VisitParents(top, [&most](const xmlNode& parent) { most = std::max(most, CountChildren(parent)); });
  return most;
}

std::size_t AllowedVisits(const XMLSession& session) {
  return static_cast<std::size_t>(session.Limits().time.count()) * kSiblingsPerMillisecond;
}

bool HasPredicate(const xmlNode& instruction) {
  for (const xmlAttr* attribute = instruction.properties; attribute != nullptr; attribute = attribute->next) {
    const xmlNode* const text = attribute->children;
    if (text != nullptr && text->content != nullptr && xmlStrchr(text->content, '[') != nullptr) {
      return true;
    }
  }
  return false;
}

// Each of so many siblings counts those before it.
std::size_t Pairs(std::size_t siblings) {
  return siblings * siblings / 2;
}

// Of all nodes before this one.
std::size_t PairsBefore(const xmlNode& current, std::size_t enough) {
  std::size_t pairs = 0;
  for (const xmlNode* node = &current; node != nullptr && pairs <= enough; node = node->parent) {
    std::size_t before = 0;
    for (const xmlNode* sibling = node->prev; sibling != nullptr; sibling = sibling->prev) {
      ++before;
      VisitParents(*sibling, [&pairs](const xmlNode& parent) { pairs += Pairs(CountChildren(parent)); });
    }
    pairs += Pairs(before);
  }
  return pairs;
}

// How many of them libxslt tries on one node, at the most.
std::size_t CountPatternsWithPredicates(xsltStylesheetPtr stylesheet) {
  Counts counts;
  for (; stylesheet != nullptr; stylesheet = xsltNextImport(stylesheet)) {
    for (const xsltTemplate* each = stylesheet->templates; each != nullptr; each = each->next) {
      CountPredicates(each->match == nullptr ? "" : reinterpret_cast<const char*>(each->match), counts);
    }
  }
  const std::size_t ofAny = counts[kAnyName];
  std::size_t most = 0;
  for (const auto& [name, count] : counts) {
    most = std::max(most, name == kAnyName ? 0 : count);
  }
  return most + ofAny;
}

// Also called from C.
bool Count(XMLSession& session, std::optional<std::size_t>& patterns) {
  try {
    patterns = CountPatternsWithPredicates(session.Transformation()->style);
    return true;
  } catch (const std::bad_alloc&) {
    session.Fail("out of memory");
    return false;
  }
}

} // namespace

void CheckSiblings(XMLSession& session, const xmlNode& top) {
  std::optional<std::size_t>& patterns = *session.patternsWithPredicates;
  if (session.HasFailed() || (!patterns && !Count(session, patterns))) {
    return;
  }
  if (*patterns >= kFewPatterns && MostSiblings(top) > AllowedVisits(session) / *patterns) {
    session.Fail("the stylesheet takes longer than ZEP_XSLT_TIMEOUT_MS allows: it has too many patterns with "
                 "predicates for so many elements beside each other");
  }
}

void CheckSiblings(XMLSession& session, const xmlNodeSet* trees) {
  for (int i = 0; trees != nullptr && i < trees->nodeNr; ++i) {
    CheckSiblings(session, *trees->nodeTab[i]);
  }
}

void CheckNumber(XMLSession& session, const xmlNode& instruction, const xmlNode& current) {
  const std::size_t allowed = AllowedVisits(session);
  if (current.type != XML_NAMESPACE_DECL && HasPredicate(instruction) &&
      PairsBefore(current, allowed) > allowed) {
    session.Fail("the stylesheet takes longer than ZEP_XSLT_TIMEOUT_MS allows: it numbers by a pattern with "
                 "predicates among too many elements beside each other");
    session.PreventNumber(static_cast<xsltStylePreComp*>(instruction.psvi)->numdata);
  }
}

} // namespace zep
