#include "ZEPXMLFunctions_libxslt.h"

#include "ZEPXMLSession_libxslt.h"

#include <cstring>

#include <libxml/xpath.h>
#include <libxml/xpathInternals.h>
#include <libxslt/variables.h>

namespace zep {
namespace {

// Looks for one text in another, or for each character of one in another: what it costs is the
// product of their lengths, in one go that no clock interrupts.
bool IsSearch(xmlXPathFunction function) {
  return function == xmlXPathContainsFunction || function == xmlXPathSubstringBeforeFunction ||
         function == xmlXPathSubstringAfterFunction || function == xmlXPathTranslateFunction;
}

std::size_t LengthOf(const xmlXPathObject* text) {
  return text == nullptr || text->stringval == nullptr
             ? 0
             : std::strlen(reinterpret_cast<const char*>(text->stringval));
}

// Takes the texts from the stack and puts them back as strings.
void CountSearch(XMLSession& session, xmlXPathParserContextPtr parser, int argumentCount) {
  constexpr int kMostArguments = 3;
  if (argumentCount < 2 || argumentCount > kMostArguments || parser->valueNr < argumentCount) {
    return; // the function itself will say so
  }
  xmlXPathObjectPtr arguments[kMostArguments] = {};
  for (int i = argumentCount - 1; i >= 0; --i) {
    arguments[i] = xmlXPathConvertString(valuePop(parser));
  }
  session.CountSearch(LengthOf(arguments[0]), LengthOf(arguments[1]));
  for (int i = 0; i < argumentCount; ++i) {
    valuePush(parser, arguments[i]);
  }
}

// One place for each function, so that the names stand once.
template <xmlXPathFunction function>
void Watched(xmlXPathParserContextPtr parser, int argumentCount) {
  XMLSession* const session = XMLSession::Current();
  if (session == nullptr) {
    function(parser, argumentCount); // a compiled expression may outlive the session it was first used in
    return;
  }
  session->CheckTime();
  if (IsSearch(function)) {
    CountSearch(*session, parser, argumentCount);
  }
  if (session->HasFailed()) {
    xmlXPathErr(parser, XPATH_OP_LIMIT_EXCEEDED);
    return;
  }
  function(parser, argumentCount);
  if (parser->value != nullptr && parser->value->type == XPATH_STRING &&
      parser->value->stringval != nullptr) {
    session->CountText(std::strlen(reinterpret_cast<const char*>(parser->value->stringval)));
  }
}

struct WatchedFunction {
  const char* name;
  xmlXPathFunction function;
};

constexpr WatchedFunction kWatchedFunctions[] = {
    {"concat", Watched<xmlXPathConcatFunction>},
    {"contains", Watched<xmlXPathContainsFunction>},
    {"count", Watched<xmlXPathCountFunction>},
    {"id", Watched<xmlXPathIdFunction>},
    {"lang", Watched<xmlXPathLangFunction>},
    {"normalize-space", Watched<xmlXPathNormalizeFunction>},
    {"number", Watched<xmlXPathNumberFunction>},
    {"starts-with", Watched<xmlXPathStartsWithFunction>},
    {"string", Watched<xmlXPathStringFunction>},
    {"string-length", Watched<xmlXPathStringLengthFunction>},
    {"substring", Watched<xmlXPathSubstringFunction>},
    {"substring-after", Watched<xmlXPathSubstringAfterFunction>},
    {"substring-before", Watched<xmlXPathSubstringBeforeFunction>},
    {"sum", Watched<xmlXPathSumFunction>},
    {"translate", Watched<xmlXPathTranslateFunction>},
};

xmlXPathObjectPtr FindVariable(void* transformation, const xmlChar* name, const xmlChar* uri) {
  if (XMLSession* const session = XMLSession::Current()) {
    session->CheckTime();
  }
  return xsltXPathVariableLookup(transformation, name, uri);
}

} // namespace

void WatchFunctions(xsltTransformContextPtr transformation) {
  xmlXPathContextPtr xpath = transformation->xpathCtxt;
  for (const WatchedFunction& watched : kWatchedFunctions) {
    const auto* const name = reinterpret_cast<const xmlChar*>(watched.name);
    xmlXPathRegisterFunc(xpath, name, nullptr); // a name that is taken keeps its function
    xmlXPathRegisterFunc(xpath, name, watched.function);
  }
  xmlXPathRegisterVariableLookup(xpath, FindVariable, transformation);
}

} // namespace zep
