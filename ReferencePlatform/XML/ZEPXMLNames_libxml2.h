#pragma once

#include <cstring>

#include <libxml/tree.h>

namespace zep {

// libxml2 compares names and the URIs of namespaces byte by byte, for each node that a step comes to.
constexpr std::size_t kMaxNameBytes = 500;
constexpr char kLongName[] = "a name, a prefix or a namespace of more than 500 bytes is refused";

inline bool IsLongName(const xmlChar* name) {
  return name != nullptr && strnlen(reinterpret_cast<const char*>(name), kMaxNameBytes + 1) > kMaxNameBytes;
}

inline bool HasLongName(const xmlNode& node) {
  return (node.type == XML_ELEMENT_NODE || node.type == XML_ATTRIBUTE_NODE || node.type == XML_PI_NODE) &&
         IsLongName(node.name);
}

} // namespace zep
