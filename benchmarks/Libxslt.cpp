#include "Libxslt.h"

#include "Bench.h"

#include <libxml/parser.h>
#include <libxslt/transform.h>
#include <libxslt/xsltInternals.h>
#include <libxslt/xsltutils.h>

namespace libxslt {
namespace {

template <auto release>
struct Deleter {
  template <class Object>
  void operator()(Object* object) const {
    release(object);
  }
};
using Document = std::unique_ptr<xmlDoc, Deleter<xmlFreeDoc>>;
using Parser = std::unique_ptr<xmlParserCtxt, Deleter<xmlFreeParserCtxt>>;
using Compiled = std::unique_ptr<xsltStylesheet, Deleter<xsltFreeStylesheet>>;

// For documents of 10 MB, too.
constexpr int parserOptions = XSLT_PARSE_OPTIONS | XML_PARSE_COMPACT | XML_PARSE_HUGE;

Parser parserWithDictionaryOf(const xsltStylesheet& stylesheet) {
  Parser parser(xmlNewParserCtxt());
  bench::require(parser != nullptr, "libxml2 gives no parser");
  xmlDictFree(parser->dict);
  parser->dict = stylesheet.dict;
  xmlDictReference(parser->dict);
  return parser;
}

Document transformed(const Compiled& stylesheet, const Document& document) {
  bench::require(document != nullptr, "libxml2 does not read an expression");
  Document result(xsltApplyStylesheet(stylesheet.get(), document.get(), nullptr));
  bench::require(result != nullptr, "libxslt does not format an expression");
  return result;
}

void appendTexts(const xmlNode* node, std::string& text) {
  for (; node != nullptr; node = node->next) {
    if (node->type == XML_TEXT_NODE) {
      text += reinterpret_cast<const char*>(node->content);
    } else {
      appendTexts(node->children, text);
    }
  }
}

Compiled compiled(const std::string& path) {
  Compiled stylesheet(xsltParseStylesheetFile(reinterpret_cast<const xmlChar*>(path.c_str())));
  bench::require(stylesheet != nullptr, "libxslt does not compile " + path);
  return stylesheet;
}

std::string formatPlainly(const Compiled& stylesheet, std::string_view expression) {
  const Document document(
      xmlReadMemory(expression.data(), static_cast<int>(expression.size()), nullptr, "UTF-8", parserOptions));
  const Document result = transformed(stylesheet, document);
  xmlChar* bytes = nullptr;
  int count = 0;
  bench::require(xsltSaveResultToString(&bytes, &count, result.get(), stylesheet.get()) == 0,
                 "libxslt does not save a result");
  std::string text(reinterpret_cast<const char*>(bytes), static_cast<std::size_t>(count));
  xmlFree(bytes);
  return text;
}

} // namespace

struct Stylesheet::Objects {
  Compiled stylesheet;
  Parser parser;
};

Stylesheet::Stylesheet(const std::string& path) : m_objects(std::make_unique<Objects>()) {
  m_objects->stylesheet = compiled(path);
  m_objects->parser = parserWithDictionaryOf(*m_objects->stylesheet);
}

Stylesheet::~Stylesheet() = default;

std::string Stylesheet::Plain(std::string_view expression) const {
  return formatPlainly(m_objects->stylesheet, expression);
}

std::string Stylesheet::Best(std::string_view expression) const {
  const Document document(xmlCtxtReadMemory(m_objects->parser.get(), expression.data(),
                                            static_cast<int>(expression.size()), nullptr, "UTF-8",
                                            parserOptions));
  const Document result = transformed(m_objects->stylesheet, document);
  std::string text;
  appendTexts(result->children, text);
  return text;
}

std::string formatOnce(std::string_view expression, const std::string& stylesheetPath) {
  return formatPlainly(compiled(stylesheetPath), expression);
}

} // namespace libxslt
