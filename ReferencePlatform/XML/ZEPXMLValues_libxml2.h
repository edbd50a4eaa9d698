#pragma once

#include <cstddef>
#include <memory>
#include <string_view>

#include <libxml/globals.h>
#include <libxml/xpath.h>

namespace zep {

struct XMLTextFree {
  void operator()(xmlChar* text) const { xmlFree(text); }
};
using OwnedXMLText = std::unique_ptr<xmlChar, XMLTextFree>;

struct XMLValueFree {
  void operator()(xmlXPathObjectPtr value) const { xmlXPathFreeObject(value); }
};
using OwnedXMLValue = std::unique_ptr<xmlXPathObject, XMLValueFree>;

inline std::string_view View(const xmlChar* text) {
  return text == nullptr ? std::string_view() : std::string_view(reinterpret_cast<const char*>(text));
}

inline bool IsNodeSet(const xmlXPathObject& value) {
  return value.type == XPATH_NODESET || value.type == XPATH_XSLT_TREE;
}

inline std::size_t CountOf(const xmlNodeSet* set) {
  return set == nullptr ? 0 : static_cast<std::size_t>(set->nodeNr);
}

} // namespace zep
