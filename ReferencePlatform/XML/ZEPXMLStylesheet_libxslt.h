#pragma once

#include "ZEPIXMLXSLTransformer.h"
#include "ZEPXMLDocument_libxml2.h"
#include "ZEPXMLLimits.h"
#include "ZEPXMLStylesheetText.h"
#include "ZEPXMLTransformation_libxslt.h"

#include <cstddef>
#include <memory>
#include <vector>

#include <libxslt/xsltInternals.h>

namespace zep {

class XMLSession;

struct XSLTStylesheetDeleter {
  void operator()(xsltStylesheetPtr stylesheet) const { xsltFreeStylesheet(stylesheet); }
};
using XSLTStylesheet = std::unique_ptr<xsltStylesheet, XSLTStylesheetDeleter>;

// A compiled stylesheet with what applies it, and what it was made from. It belongs to one
// transformer at a time: libxslt writes into compiled stylesheets while it applies them.
struct PreparedStylesheet {
  PreparedStylesheet(XSLTStylesheet compiled, const XMLLimits& limitsThen, StylesheetText textRead,
                     std::vector<IncludedText> includedRead);

  std::size_t SourceBytes() const;

  XSLTStylesheet stylesheet;
  XMLExpressionParser parser;
  XMLTransformation transformation;

  XMLLimits limits; // under which it was compiled
  StylesheetText text;
  std::vector<IncludedText> included;
};
using PreparedStylesheetPtr = std::unique_ptr<PreparedStylesheet>;

// Keeps prepared stylesheets that no transformer uses, a few of them, those used last. They are found
// by their whole text.
void KeepPrepared(PreparedStylesheetPtr prepared);

// One that was made from this text, under the same limits, and whose included files hold now, where
// they were found then, what they held then. Null if there is none.
PreparedStylesheetPtr TakePrepared(const StylesheetText& text, const XMLLimits& limits);

ZEPIXMLXSLTransformer_var MakeTransformer(PreparedStylesheetPtr prepared);

} // namespace zep
