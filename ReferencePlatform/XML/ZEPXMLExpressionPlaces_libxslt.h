#pragma once

#include <libxslt/xsltInternals.h>

namespace zep {

// Puts functions in place of operators (ZEPXMLExpressionText.h) wherever the elements of one document of a
// stylesheet have expressions.
class XMLOperatorReplacer {
public:
  // False without memory.
  bool Replace(const xmlNode& element);

private:
  bool IsXSLT(const xmlNs* space);

  const xmlNs* m_xslt = nullptr; // the one seen last
};

// libxslt makes one expression of the pattern of a key, with a union of its alternatives.
bool ReplaceOperatorsOfKeys(xsltStylesheetPtr stylesheet);

} // namespace zep
