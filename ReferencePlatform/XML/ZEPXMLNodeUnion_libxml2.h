#pragma once

#include "ZEPXMLNodeTable_libxml2.h"

#include <cstddef>
#include <memory>
#include <optional>

#include <libxml/xpath.h>

namespace zep {

// Sets of nodes that are united one after the other, in linear time: libxml2 by itself compares each node
// with all those that are there. Called from C: it does not throw.
class XMLNodeUnion {
public:
  XMLNodeUnion() : m_set(nullptr, xmlXPathFreeNodeSet) {}

  // Appends those nodes that are not there yet, in their order. The first set is taken over, and null
  // afterwards. False when the work is to end, and the parser is told.
  bool Add(xmlXPathParserContextPtr parser, xmlNodeSetPtr& set);
  bool Add(xmlXPathParserContextPtr parser, xmlNodePtr node);
  // The caller owns the set; null without memory. Afterwards the union is empty.
  xmlNodeSetPtr Take();

private:
  bool AddAll(xmlXPathParserContextPtr parser, const xmlNodeSet& set);
  bool AddByTable(xmlXPathParserContextPtr parser, xmlNodePtr node);
  bool MakeTable(std::size_t maxNodes);
  bool IsNew(const xmlNode* node, std::size_t number);

  std::unique_ptr<xmlNodeSet, void (*)(xmlNodeSetPtr)> m_set;
  std::optional<XMLNodeTable> m_table; // once there is much to compare
  std::size_t m_comparisons = 0;
  std::size_t m_nodesSeen = 0;
};

} // namespace zep
