#pragma once

#include "ZEPXMLDocument_libxml2.h"
#include "ZEPXMLPatterns_libxslt.h"

#include <cstddef>
#include <map>
#include <memory>
#include <string>

#include <libxslt/security.h>
#include <libxslt/transform.h>
#include <libxslt/xsltInternals.h>

namespace zep {

class XMLSession;

struct XSLTContextDeleter {
  void operator()(xsltTransformContextPtr context) const { xsltFreeTransformContext(context); }
};
using XSLTContext = std::unique_ptr<xsltTransformContext, XSLTContextDeleter>;

struct XSLTSecurityDeleter {
  void operator()(xsltSecurityPrefsPtr preferences) const { xsltFreeSecurityPrefs(preferences); }
};
using XSLTSecurity = std::unique_ptr<xsltSecurityPrefs, XSLTSecurityDeleter>;

// By name, "{namespace}name" for one in a namespace.
using XSLTParameters = std::map<std::string, std::string>;

// Applies one stylesheet to one document after the other. To make libxslt's context costs as much
// as to format a short text, so it is kept, once nothing of the last document is left in it: after
// each document it has to be again, field by field, what it was when it was new. If it is not, or
// if anything went wrong, the next document gets a new one.
class XMLTransformation {
public:
  explicit XMLTransformation(xsltStylesheetPtr stylesheet);

  // Null on failure, with the reason in the session.
  XMLDocument Apply(XMLSession& session, xmlDocPtr document, const XSLTParameters& parameters);

private:
  xsltTransformContextPtr Prepare(XMLSession& session, xmlDocPtr document, const XSLTParameters& parameters);
  bool MakeContext(XMLSession& session, xmlDocPtr document);
  void CheckDocument(XMLSession& session, const xmlDoc& document);
  bool BindContext(xmlDocPtr document);
  bool CleanContext();
  bool IsAsNew() const;

  // libxslt's structures as they were before the first document came near them.
  struct Snapshot {
    xsltTransformContext context;
    xmlXPathContext xpath;
  };

  xsltStylesheetPtr m_stylesheet;
  XSLTSecurity m_security;
  XSLTContext m_context;
  std::unique_ptr<Snapshot> m_new;
  xsltStylesheet m_empty{};
  XMLPatterns m_patterns;
};

} // namespace zep
