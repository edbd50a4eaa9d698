#pragma once

#include "ZEPXMLStylesheetText.h"

#include <memory>
#include <optional>
#include <string>

#include <libxml/parser.h>
#include <libxml/tree.h>

namespace zep {

class XMLInputSource;
class XMLSession;
struct XMLLimits;

struct XMLDocumentDeleter {
  void operator()(xmlDocPtr document) const { xmlFreeDoc(document); }
};
using XMLDocument = std::unique_ptr<xmlDoc, XMLDocumentDeleter>;

struct XMLParserDeleter {
  void operator()(xmlParserCtxtPtr parser) const { xmlFreeParserCtxt(parser); }
};
using XMLParser = std::unique_ptr<xmlParserCtxt, XMLParserDeleter>;

// All of these give null on failure, with the reason in the session. Nothing but the source itself
// is read: no external subset, no external entity. A document type is refused, except that a
// stylesheet from a file may define plain entities in it.
std::optional<StylesheetText> LoadStylesheet(XMLSession& session, const XMLInputSource& source);
XMLDocument ParseStylesheet(XMLSession& session, const StylesheetText& text);

// Whether reading the file again gives what it gave then.
bool IsUnchanged(const XMLLimits& limits, const IncludedText& included);

// Parses one expression after the other, and keeps for the next one what is dear to make: the parser and
// the names that it has seen. Both are bounded, and nothing is kept after a failure.
class XMLExpressionParser {
public:
  enum class BlankText { Keep, Drop }; // between two tags

  explicit XMLExpressionParser(BlankText blankText) : m_dropsBlankText(blankText == BlankText::Drop) {}

  XMLDocument Parse(XMLSession& session, const XMLInputSource& source);

private:
  XMLDocument ParseText(XMLSession& session, const XMLInputSource& source, const char* url);

  bool m_dropsBlankText;
  XMLParser m_parser;
};

// One expression alone.
XMLDocument ParseExpression(XMLSession& session, const XMLInputSource& source);

// For libxslt: the document that a stylesheet includes or imports. Only files in the folder of the
// stylesheet or below. The caller owns the document.
xmlDocPtr ParseIncludedStylesheet(XMLSession& session, const char* uri, xmlDictPtr dictionary);

} // namespace zep
