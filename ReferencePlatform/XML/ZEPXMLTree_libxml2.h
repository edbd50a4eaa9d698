#pragma once

#include <cstddef>

#include <libxml/tree.h>

namespace zep {

inline bool HasChildren(const xmlNode& node) {
  return (node.type == XML_ELEMENT_NODE || node.type == XML_DOCUMENT_NODE ||
          node.type == XML_HTML_DOCUMENT_NODE) &&
         node.children != nullptr;
}

// Calls `visit` with each node but attributes, from the top on, and with the number of those above it.
template <class Visit>
void VisitTree(const xmlNode& top, const Visit& visit) {
  std::size_t depth = 0;
  for (const xmlNode* node = &top; node != nullptr;) {
    visit(*node, depth);
    if (HasChildren(*node)) {
      node = node->children;
      ++depth;
      continue;
    }
    while (node != &top && node->next == nullptr) {
      node = node->parent;
      --depth;
    }
    node = node == &top ? nullptr : node->next;
  }
}

// The same with each node that has children.
template <class Visit>
void VisitParents(const xmlNode& top, const Visit& visit) {
  VisitTree(top, [&visit](const xmlNode& node, std::size_t) {
    if (HasChildren(node)) {
      visit(node);
    }
  });
}

} // namespace zep
