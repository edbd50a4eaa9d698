#include "ZEPXMLPatterns_libxslt.h"

#include "ZEPXMLSession_libxslt.h"
#include "ZEPXMLTree_libxml2.h"
#include "ZEPXMLValues_libxml2.h"

#include <algorithm>

#include <libxslt/imports.h>

namespace zep {
namespace {

using Counts = std::unordered_map<std::string_view, std::size_t>;

constexpr double kSiblingsPerMillisecond = 300'000;
constexpr double kLooksPerMillisecond = 40'000;
constexpr std::size_t kFewPatterns = 10; // they take as long as a few expressions
// To go to a node, and to find the patterns for it in one stylesheet, take as long as so many looks.
constexpr double kLooksOfStep = 2;
constexpr double kLooksOfStylesheet = 1;
constexpr std::size_t kBytesOfLevel = 7; // of elements, at the least

double Allowed(const XMLSession& session, double perMillisecond) {
  return static_cast<double>(session.Limits().time.count()) * perMillisecond;
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
      ++counts[NameAtEnd(pattern.substr(0, i))];
    } else if (c == ']' && depth > 0) {
      --depth;
    }
  }
}

// How many of them libxslt tries on one node, at the most.
std::size_t MostOnOneNode(Counts& counts) {
  const std::size_t ofAny = counts[kAnyName];
  std::size_t most = 0;
  for (const auto& [name, count] : counts) {
    most = std::max(most, name == kAnyName ? 0 : count);
  }
  return most + ofAny;
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

// Calls `visit` with each node of a tree, attributes too, and with the number of those above it.
template <class Visit>
void VisitAll(const xmlNode& top, const Visit& visit) {
  VisitTree(top, [&visit](const xmlNode& node, std::size_t depth) {
    visit(node, depth);
    for (const xmlAttr* each = node.type == XML_ELEMENT_NODE ? node.properties : nullptr; each != nullptr;
         each = each->next) {
      visit(reinterpret_cast<const xmlNode&>(*each), depth + 1);
    }
  });
}

constexpr char kTooHeavy[] = "the stylesheet takes longer than ZEP_XSLT_TIMEOUT_MS allows: it has too many "
                             "patterns, or patterns with too many paths, for so many nodes";

// A path may select a node and those above it, and templates are applied to it once for each.
double MostVisits(std::size_t depth) {
  return static_cast<double>(depth + 1);
}

std::size_t DepthOf(const xmlNode& current) {
  std::size_t depth = 0;
  for (const xmlNode* node = current.parent; node != nullptr; node = node->parent) {
    ++depth;
  }
  return depth;
}

// ---- xsl:number --------------------------------------------------------------------------------

// The nodes that it may come to.
struct Before {
  double nodes = 0;
  double pairs = 0; // each of some siblings counts those before it
  std::size_t deepest = 0;
};

double Pairs(std::size_t siblings) {
  return static_cast<double>(siblings) * static_cast<double>(siblings) / 2;
}

Before AllBefore(const xmlNode& current) {
  std::size_t depth = DepthOf(current);
  Before all{0, 0, depth};
  for (const xmlNode* node = &current; node != nullptr; node = node->parent, --depth) {
    std::size_t before = 0;
    for (const xmlNode* sibling = node->prev; sibling != nullptr; sibling = sibling->prev) {
      ++before;
      VisitTree(*sibling, [&all, depth](const xmlNode& each, std::size_t below) {
        ++all.nodes;
        all.pairs += HasChildren(each) ? Pairs(CountChildren(each)) : 0;
        all.deepest = std::max(all.deepest, depth + below);
      });
    }
    ++all.nodes;
    all.pairs += Pairs(before);
  }
  return all;
}

struct NumberPatterns {
  XMLPatternWeight weight;
  bool hasPredicate = false;

  void Add(std::string_view pattern) {
    hasPredicate = hasPredicate || pattern.find('[') != std::string_view::npos;
    for (XMLPatternAlternatives each(pattern); each.Read();) {
      weight.AddSteps(each.Steps(), each.AncestorSteps(), each.Lists());
    }
  }
};

NumberPatterns PatternsOf(const xmlNode& instruction) {
  NumberPatterns patterns;
  for (const xmlAttr* each = instruction.properties; each != nullptr; each = each->next) {
    const std::string_view name = View(each->name);
    if (each->ns == nullptr && each->children != nullptr && (name == "count" || name == "from")) {
      patterns.Add(View(each->children->content));
    }
  }
  return patterns;
}

const char* ReasonNotToNumber(const XMLSession& session, const xmlNode& instruction, const xmlNode& current) {
  const NumberPatterns patterns = PatternsOf(instruction);
  const double allowed = Allowed(session, kLooksPerMillisecond);
  const std::size_t nodes = session.Nodes();
  const double most = static_cast<double>(nodes) * patterns.weight.At(session.Limits().maxDepth, nodes);
  if (!patterns.hasPredicate && most <= allowed) {
    return nullptr;
  }
  const Before before = AllBefore(current);
  if (patterns.hasPredicate && before.pairs > Allowed(session, kSiblingsPerMillisecond)) {
    return "the stylesheet takes longer than ZEP_XSLT_TIMEOUT_MS allows: it numbers by a pattern with "
           "predicates among too many elements beside each other";
  }
  if (before.nodes * patterns.weight.At(before.deepest, nodes) > allowed) {
    return "the stylesheet takes longer than ZEP_XSLT_TIMEOUT_MS allows: it numbers by too many patterns, or "
           "by patterns with too many paths, among so many nodes";
  }
  return nullptr;
}

} // namespace

XMLPatterns::XMLPatterns(xsltStylesheetPtr stylesheet) {
  Counts predicates;
  for (xsltStylesheetPtr each = stylesheet; each != nullptr; each = xsltNextImport(each)) {
    ++m_stylesheets;
    for (const xsltTemplate* rule = each->templates; rule != nullptr; rule = rule->next) {
      AddWeights(View(rule->match));
      CountPredicates(View(rule->match), predicates);
    }
  }
  m_withPredicates = MostOnOneNode(predicates);
  m_heaviest = m_ofAny;
  for (auto& [name, weight] : m_byName) {
    weight.Add(m_ofAny);
    m_heaviest.Raise(weight);
  }
}

void XMLPatterns::AddWeights(std::string_view pattern) {
  for (XMLPatternAlternatives each(pattern); each.Read();) {
    const std::string_view name = each.Name();
    XMLPatternWeight& weight = name == kAnyName ? m_ofAny : m_byName[name];
    weight.AddSteps(each.Steps(), each.AncestorSteps(), each.Lists());
  }
}

double XMLPatterns::LooksOfVisit(const XMLPatternWeight& weight, std::size_t depth, std::size_t nodes) const {
  return kLooksOfStep + static_cast<double>(m_stylesheets) * kLooksOfStylesheet + weight.At(depth, nodes);
}

const XMLPatternWeight& XMLPatterns::WeightOf(const xmlChar* name) const {
  const auto found = m_byName.find(View(name));
  return found == m_byName.end() ? m_ofAny : found->second;
}

bool XMLPatterns::MayTakeLong(const XMLSession& session) const {
  const std::size_t nodes = session.Nodes();
  const std::size_t depth = std::min(session.readBytes / kBytesOfLevel, session.Limits().maxDepth);
  return static_cast<double>(nodes) * MostVisits(depth) * LooksOfVisit(m_heaviest, depth, nodes) >
         Allowed(session, kLooksPerMillisecond);
}

bool XMLPatterns::HasTooManySiblings(const XMLSession& session, const xmlNode& top) const {
  const auto patterns = static_cast<double>(m_withPredicates);
  return m_withPredicates >= kFewPatterns &&
         static_cast<double>(MostSiblings(top)) * patterns > Allowed(session, kSiblingsPerMillisecond);
}

void XMLPatterns::CheckWeight(XMLSession& session, const xmlNode& top) const {
  const double allowed = Allowed(session, kLooksPerMillisecond);
  const std::size_t nodes = session.Nodes();
  double visits = 0;
  std::size_t deepest = 0;
  VisitAll(top, [&](const xmlNode&, std::size_t depth) {
    visits += MostVisits(depth);
    deepest = std::max(deepest, depth);
  });
  if (visits * LooksOfVisit(m_heaviest, deepest, nodes) <= allowed) {
    return;
  }
  double looks = 0;
  double mostLooks = 0;
  VisitAll(top, [&](const xmlNode& node, std::size_t depth) {
    const double ofNode = LooksOfVisit(WeightOf(node.name), depth, nodes);
    looks += ofNode;
    mostLooks += ofNode * MostVisits(depth);
  });
  if (looks > allowed) {
    session.Fail(kTooHeavy);
  }
  session.weighsSelections = session.weighsSelections || mostLooks > allowed;
}

void XMLPatterns::CheckSelection(XMLSession& session, const xmlNodeSet* selected) const {
  const double allowed = Allowed(session, kLooksPerMillisecond);
  const std::size_t nodes = session.Nodes();
  double looks = 0;
  for (int i = 0; selected != nullptr && i < selected->nodeNr && looks <= allowed; ++i) {
    const xmlNode& top = *selected->nodeTab[i];
    if (top.type == XML_NAMESPACE_DECL) {
      continue;
    }
    const std::size_t above = DepthOf(top);
    VisitAll(top, [&](const xmlNode& node, std::size_t depth) {
      looks += LooksOfVisit(WeightOf(node.name), above + depth, nodes);
    });
  }
  if (looks > allowed) {
    session.Fail(kTooHeavy);
  }
}

void XMLPatterns::CheckTree(XMLSession& session, const xmlNode& top) const {
  if (session.HasFailed()) {
    return;
  }
  if (HasTooManySiblings(session, top)) {
    session.Fail("the stylesheet takes longer than ZEP_XSLT_TIMEOUT_MS allows: it has too many patterns with "
                 "predicates for so many elements beside each other");
  } else {
    CheckWeight(session, top);
  }
}

void CheckPatterns(XMLSession& session, const xmlNodeSet* trees) {
  for (int i = 0; trees != nullptr && i < trees->nodeNr; ++i) {
    session.patterns->CheckTree(session, *trees->nodeTab[i]);
  }
}

void CheckSelection(XMLSession& session, const xmlNodeSet* nodes) {
  session.patterns->CheckSelection(session, nodes);
}

void CheckNumber(XMLSession& session, const xmlNode& instruction, const xmlNode& current) {
  if (current.type == XML_NAMESPACE_DECL) {
    return;
  }
  if (const char* const reason = ReasonNotToNumber(session, instruction, current)) {
    session.Fail(reason);
    session.PreventNumber(static_cast<xsltStylePreComp*>(instruction.psvi)->numdata);
  }
}

} // namespace zep
