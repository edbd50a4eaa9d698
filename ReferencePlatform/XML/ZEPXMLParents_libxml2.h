#pragma once

#include <libxml/tree.h>

namespace zep {

inline bool HasChildren(const xmlNode& node) {
  return (node.type == XML_ELEMENT_NODE || node.type == XML_DOCUMENT_NODE ||
          node.type == XML_HTML_DOCUMENT_NODE) &&
         node.children != nullptr;
}

// Calls `visit` with each node that has children, from the top on.
template <class Visit>
void VisitParents(const xmlNode& top, const Visit& visit) {
  for (const xmlNode* node = &top; node != nullptr;) {
    if (HasChildren(*node)) {
      visit(*node);
      node = node->children;
      continue;
    }
    while (node != &top && node->next == nullptr) {
      node = node->parent;
    }
    node = node == &top ? nullptr : node->next;
  }
}

} // namespace zep
