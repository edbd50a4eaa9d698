#pragma once

#include <memory>
#include <string>

#include <libxml/tree.h>

namespace zep {

class XMLInputSource;
class XMLSession;

struct XMLDocumentDeleter {
  void operator()(xmlDocPtr document) const { xmlFreeDoc(document); }
};
using XMLDocument = std::unique_ptr<xmlDoc, XMLDocumentDeleter>;

// Parse one source. Null on failure, with the reason in the session. Nothing but the source itself
// is read: no external subset, no external entity. A document type is refused, except that a
// stylesheet from a file may define plain entities in it.
XMLDocument ParseExpression(XMLSession& session, const XMLInputSource& source);
XMLDocument ParseStylesheet(XMLSession& session, const XMLInputSource& source);

// For libxslt: the document that a stylesheet includes or imports. Only files in the folder of the
// stylesheet or below. The caller owns the document.
xmlDocPtr ParseIncludedStylesheet(XMLSession& session, const char* uri, xmlDictPtr dictionary);

} // namespace zep
