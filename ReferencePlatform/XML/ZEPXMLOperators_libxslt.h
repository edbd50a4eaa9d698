#pragma once

#include <string_view>

#include <libxml/xpath.h>

namespace zep {

class XMLSession;

// The function of this name that stands for an operator (ZEPXMLExpressionText.h), or null. Where both sides
// are large sets of nodes, libxml2 goes through one of them for each node of the other, without a look at
// the clock; these come to the same result in linear time, with such looks.
xmlXPathFunction FindOperator(std::string_view name);

// What the paths of an expression that came to no end had collected.
void DropCollections(XMLSession& session);

} // namespace zep
