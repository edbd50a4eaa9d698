#include "ZEPXMLNodeUnion_libxml2.h"

#include "ZEPXMLFunctions_libxslt.h"
#include "ZEPXMLSession_libxslt.h"
#include "ZEPXMLValues_libxml2.h"

#include <algorithm>
#include <cstdint>
#include <functional>
#include <string_view>
#include <utility>

#include <libxml/xpathInternals.h>

namespace zep {
namespace {

// Up to here libxml2's own way is the fastest.
constexpr std::size_t kComparisonsLeftToLibxml2 = 10'000;
constexpr std::size_t kNodesBetweenLooksAtTheClock = 4096;
constexpr std::size_t kSmallestTable = 256;

// libxml2's namespace nodes are copies, each with its element.
struct NodeIdentity {
  explicit NodeIdentity(const xmlNode* node) : place(node) {
    if (node->type == XML_NAMESPACE_DECL) {
      const auto* const declaration = reinterpret_cast<const xmlNs*>(node);
      place = declaration->next;
      isNamespace = true;
      prefix = declaration->prefix;
    }
  }

  bool operator==(const NodeIdentity& other) const {
    return place == other.place && isNamespace == other.isNamespace && xmlStrEqual(prefix, other.prefix) != 0;
  }
  std::size_t Hash() const {
    constexpr std::size_t kSpread = 0x9E3779B97F4A7C15U;
    const std::size_t hash = reinterpret_cast<std::uintptr_t>(place) * kSpread;
    const std::size_t spread = hash ^ (hash >> 32);
    return prefix == nullptr ? spread : spread ^ std::hash<std::string_view>()(View(prefix));
  }

  const void* place;
  bool isNamespace = false;
  const xmlChar* prefix = nullptr;
};

bool LacksMemory(xmlXPathParserContextPtr parser) {
  xmlXPathErr(parser, XPATH_MEMORY_ERROR);
  return false;
}

} // namespace

bool XMLNodeUnion::Add(xmlXPathParserContextPtr parser, xmlNodeSetPtr& set) {
  if (m_set == nullptr) {
    m_set.reset(std::exchange(set, nullptr));
    return true;
  }
  return set == nullptr || AddAll(parser, *set);
}

bool XMLNodeUnion::Add(xmlXPathParserContextPtr parser, xmlNodePtr node) {
  if (m_set == nullptr) {
    m_set.reset(xmlXPathNodeSetCreate(node));
    return m_set != nullptr || LacksMemory(parser);
  }
  return AddAll(parser, xmlNodeSet{1, 1, &node});
}

xmlNodeSetPtr XMLNodeUnion::Take() {
  m_table.reset();
  m_comparisons = 0;
  return m_set == nullptr ? xmlXPathNodeSetCreate(nullptr) : m_set.release();
}

bool XMLNodeUnion::AddAll(xmlXPathParserContextPtr parser, const xmlNodeSet& set) {
  m_comparisons += CountOf(m_set.get()) * CountOf(&set);
  if (m_comparisons <= kComparisonsLeftToLibxml2) {
    return set.nodeNr == 0 || xmlXPathNodeSetMerge(m_set.get(), const_cast<xmlNodeSetPtr>(&set)) != nullptr ||
           LacksMemory(parser);
  }
  return std::all_of(set.nodeTab, set.nodeTab + set.nodeNr,
                     [this, parser](xmlNodePtr node) { return AddByTable(parser, node); });
}

bool XMLNodeUnion::AddByTable(xmlXPathParserContextPtr parser, xmlNodePtr node) {
  const std::size_t number = CountOf(m_set.get());
  if ((!m_table || number == m_table->MaxNodes()) && !MakeTable(std::max(number * 2, kSmallestTable))) {
    return LacksMemory(parser);
  }
  if (IsNew(node, number) && xmlXPathNodeSetAddUnique(m_set.get(), node) != 0) {
    m_table.reset(); // has a number too many
    return LacksMemory(parser);
  }
  return ++m_nodesSeen % kNodesBetweenLooksAtTheClock != 0 || MayGoOn(*XMLSession::Current(), parser);
}

bool XMLNodeUnion::MakeTable(std::size_t maxNodes) {
  m_table.emplace(maxNodes);
  if (!m_table->HasMemory()) {
    m_table.reset();
    return false;
  }
  for (std::size_t i = 0; i < CountOf(m_set.get()); ++i) {
    IsNew(m_set->nodeTab[i], i);
  }
  return true;
}

bool XMLNodeUnion::IsNew(const xmlNode* node, std::size_t number) {
  const NodeIdentity identity(node);
  return m_table->Add(identity.Hash(), number,
                      [&](std::size_t other) { return NodeIdentity(m_set->nodeTab[other]) == identity; });
}

} // namespace zep
