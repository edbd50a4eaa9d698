#include "ZEPXMLFunctions_libxslt.h"

#include "ZEPXMLSession_libxslt.h"

#include <cstring>

#include <libxml/xpath.h>
#include <libxml/xpathInternals.h>
#include <libxslt/variables.h>

namespace zep {
namespace {

// One place for each function, so that the names stand once.
template <xmlXPathFunction function>
void Watched(xmlXPathParserContextPtr parser, int argumentCount) {
  XMLSession* const session = XMLSession::Current();
  if (session == nullptr) {
    function(parser, argumentCount); // a compiled expression may outlive the session it was first used in
    return;
  }
  session->CheckTime();
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
    xmlXPathRegisterFunc(xpath, reinterpret_cast<const xmlChar*>(watched.name), watched.function);
  }
  xmlXPathRegisterVariableLookup(xpath, FindVariable, transformation);
}

} // namespace zep
