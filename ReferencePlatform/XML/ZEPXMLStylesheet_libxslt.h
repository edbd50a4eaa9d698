#pragma once

#include "ZEPIXMLXSLTransformer.h"

#include <memory>

#include <libxslt/xsltInternals.h>

namespace zep {

struct XSLTStylesheetDeleter {
  void operator()(xsltStylesheetPtr stylesheet) const { xsltFreeStylesheet(stylesheet); }
};
using XSLTStylesheet = std::unique_ptr<xsltStylesheet, XSLTStylesheetDeleter>;

ZEPIXMLXSLTransformer_var MakeTransformer(XSLTStylesheet stylesheet);

} // namespace zep
