#pragma once

#include <libxslt/xsltInternals.h>

namespace zep {

// Puts functions in place of operators (ZEPXMLExpressionText.h) wherever an element of a stylesheet has
// expressions. False without memory.
bool ReplaceOperators(const xmlNode& element);

// libxslt makes one expression of the pattern of a key, with a union of its alternatives.
bool ReplaceOperatorsOfKeys(xsltStylesheetPtr stylesheet);

} // namespace zep
