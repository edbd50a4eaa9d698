#include "ZEPXMLFunctions_libxslt.h"

#include "ZEPXMLCopies_libxslt.h"
#include "ZEPXMLOperators_libxslt.h"
#include "ZEPXMLOrder_libxml2.h"
#include "ZEPXMLPatterns_libxslt.h"
#include "ZEPXMLReferences_libxslt.h"
#include "ZEPXMLSession_libxslt.h"
#include "ZEPXMLValues_libxml2.h"

#include <algorithm>
#include <cstddef>
#include <cstring>
#include <memory>
#include <string_view>

#include <libxml/xpath.h>
#include <libxml/xpathInternals.h>
#include <libxslt/extra.h>
#include <libxslt/functions.h>
#include <libxslt/variables.h>

namespace zep {
namespace {

OwnedXMLText Pop(xmlXPathParserContextPtr parser) {
  return OwnedXMLText(xmlXPathPopString(parser));
}

void PushText(xmlXPathParserContextPtr parser, std::string_view text) {
  xmlChar* const copy =
      xmlStrndup(reinterpret_cast<const xmlChar*>(text.data()), static_cast<int>(text.size()));
  if (copy == nullptr) {
    xmlXPathErr(parser, XPATH_MEMORY_ERROR);
    return;
  }
  XMLSession::Current()->CountText(text.size());
  valuePush(parser, xmlXPathWrapString(copy));
}

// ---- functions that libxml2 has too, here in linear time ---------------------------------------

struct Search {
  OwnedXMLText text;
  OwnedXMLText pattern;
  const char* found; // in the text, or null

  std::string_view Text() const { return View(text.get()); }
  std::size_t Position() const { return static_cast<std::size_t>(found - Text().data()); }
};

// What contains(), substring-before() and substring-after() have in common.
Search PopSearch(xmlXPathParserContextPtr parser) {
  Search search{};
  search.pattern = Pop(parser);
  search.text = Pop(parser);
  if (search.text != nullptr && search.pattern != nullptr) {
    const std::string_view text = search.Text();
    const std::string_view pattern = View(search.pattern.get());
    search.found = static_cast<const char*>(memmem(text.data(), text.size(), pattern.data(), pattern.size()));
  }
  return search;
}

void Contains(xmlXPathParserContextPtr parser, int /*argumentCount*/) {
  const Search search = PopSearch(parser);
  valuePush(parser, xmlXPathNewBoolean(search.found != nullptr ? 1 : 0));
}

void SubstringBefore(xmlXPathParserContextPtr parser, int /*argumentCount*/) {
  const Search search = PopSearch(parser);
  PushText(parser, search.found == nullptr ? "" : search.Text().substr(0, search.Position()));
}

void SubstringAfter(xmlXPathParserContextPtr parser, int /*argumentCount*/) {
  const Search search = PopSearch(parser);
  const std::size_t patternBytes = View(search.pattern.get()).size();
  PushText(parser, search.found == nullptr ? "" : search.Text().substr(search.Position() + patternBytes));
}

// Turns an argument on the stack into a text where it stands; its length in bytes.
std::size_t MakeText(xmlXPathObjectPtr& argument) {
  if (argument->type != XPATH_STRING) {
    argument = xmlXPathConvertString(argument);
  }
  return argument == nullptr ? 0 : View(argument->stringval).size();
}

void Concat(xmlXPathParserContextPtr parser, int argumentCount) {
  XMLSession& session = *XMLSession::Current();
  xmlXPathObjectPtr* const arguments = parser->valueTab + (parser->valueNr - argumentCount);
  std::size_t bytes = 0;
  for (int i = 0; i < argumentCount; ++i) {
    bytes += MakeText(arguments[i]);
    parser->value = parser->valueTab[parser->valueNr - 1];
    session.CheckTextSize(bytes);
    if (arguments[i] == nullptr || session.HasFailed()) {
      xmlXPathErr(parser, XPATH_MEMORY_ERROR);
      return;
    }
  }
  auto* const text = static_cast<xmlChar*>(xmlMallocAtomic(bytes + 1));
  if (text == nullptr) {
    xmlXPathErr(parser, XPATH_MEMORY_ERROR);
    return;
  }
  std::size_t end = bytes;
  text[end] = 0;
  for (int i = 0; i < argumentCount; ++i) { // popped from the last one on
    const xmlXPathObjectPtr argument = valuePop(parser);
    const std::string_view part = View(argument->stringval);
    end -= part.size();
    std::memcpy(text + end, part.data(), part.size());
    xmlXPathFreeObject(argument);
  }
  session.CountText(bytes);
  valuePush(parser, xmlXPathWrapString(text));
}

// The text between the byte positions of two characters.
std::string_view CharacterAt(const xmlChar* text, int position) {
  const xmlChar* const character = xmlUTF8Strpos(text, position);
  return character == nullptr ? std::string_view()
                              : View(character).substr(0, static_cast<std::size_t>(xmlUTF8Size(character)));
}

// Each character of the first argument is looked for in the second: long ones take their time, and
// the clock is looked at in between.
constexpr std::size_t kLooksBetweenLooksAtTheClock = 1'000'000;

void Translate(xmlXPathParserContextPtr parser, int /*argumentCount*/) {
  XMLSession& session = *XMLSession::Current();
  const OwnedXMLText to = Pop(parser);
  const OwnedXMLText from = Pop(parser);
  const OwnedXMLText text = Pop(parser);
  const std::unique_ptr<xmlBuffer, void (*)(xmlBufferPtr)> result(xmlBufferCreate(), xmlBufferFree);
  if (to == nullptr || from == nullptr || text == nullptr || result == nullptr) {
    xmlXPathErr(parser, XPATH_MEMORY_ERROR);
    return;
  }
  xmlBufferSetAllocationScheme(result.get(), XML_BUFFER_ALLOC_DOUBLEIT);
  const std::size_t looks = View(from.get()).size() + View(to.get()).size() + 1;
  std::size_t looksSoFar = 0;
  for (std::string_view rest = View(text.get()); !rest.empty();) {
    const auto* const character = reinterpret_cast<const xmlChar*>(rest.data());
    const int size = xmlUTF8Size(character);
    if (size <= 0) {
      break;
    }
    const int position = xmlUTF8Strloc(from.get(), character);
    const std::string_view replacement =
        position < 0 ? rest.substr(0, static_cast<std::size_t>(size)) : CharacterAt(to.get(), position);
    xmlBufferAdd(result.get(), reinterpret_cast<const xmlChar*>(replacement.data()),
                 static_cast<int>(replacement.size()));
    rest.remove_prefix(static_cast<std::size_t>(size));
    looksSoFar += looks;
    if (looksSoFar > kLooksBetweenLooksAtTheClock) {
      looksSoFar = 0;
      if (!MayGoOn(session, parser)) {
        return;
      }
    }
  }
  PushText(parser, View(xmlBufferContent(result.get())));
}

// ---- functions of others -----------------------------------------------------------------------

void NodeSet(xmlXPathParserContextPtr parser, int argumentCount) {
  const xmlXPathObject* const argument = argumentCount == 1 ? parser->value : nullptr;
  if (argument != nullptr && argument->type == XPATH_XSLT_TREE) {
    WatchTree(*XMLSession::Current(), argument->nodesetval);
    CheckPatterns(*XMLSession::Current(), argument->nodesetval);
    OrderTrees(*XMLSession::Current(), argument->nodesetval);
    if (!MayGoOn(*XMLSession::Current(), parser)) {
      return;
    }
  }
  xsltFunctionNodeSet(parser, argumentCount);
}

// Those that stand for operators are not for stylesheets.
void FunctionAvailable(xmlXPathParserContextPtr parser, int argumentCount) {
  const bool isName = argumentCount == 1 && parser->value->type == XPATH_STRING;
  if (isName && FindOperator(View(parser->value->stringval)) != nullptr) {
    xmlXPathFreeObject(valuePop(parser));
    valuePush(parser, xmlXPathNewBoolean(0));
    return;
  }
  xsltFunctionAvailableFunction(parser, argumentCount);
}

void RefuseDocument(xmlXPathParserContextPtr parser, int /*argumentCount*/) {
  XMLSession::Current()->Fail("a stylesheet reads no documents: document() is refused");
  xmlXPathErr(parser, XPATH_OP_LIMIT_EXCEEDED);
}

// ---- finding functions -------------------------------------------------------------------------

// One place for each function, so that the names stand once. A compiled expression keeps the
// function that it found: all of them run inside a session.
template <xmlXPathFunction function>
void Watched(xmlXPathParserContextPtr parser, int argumentCount) {
  XMLSession& session = *XMLSession::Current();
  if (!MayGoOn(session, parser)) {
    return;
  }
  function(parser, argumentCount);
  if (parser->value != nullptr && parser->value->type == XPATH_STRING) {
    session.CountText(View(parser->value->stringval).size());
  }
}

// libxml2 reports a wrong number of arguments by itself.
template <xmlXPathFunction function, int wantedArguments, xmlXPathFunction original>
void WithArguments(xmlXPathParserContextPtr parser, int argumentCount) {
  if (!MayGoOn(*XMLSession::Current(), parser)) {
    return;
  }
  const bool isRight =
      wantedArguments < 0 ? argumentCount >= -wantedArguments : argumentCount == wantedArguments;
  (isRight ? function : original)(parser, argumentCount);
}

struct NamedFunction {
  std::string_view name;
  xmlXPathFunction function;
};

constexpr NamedFunction kFunctions[] = {
    {"concat", WithArguments<Concat, -2, xmlXPathConcatFunction>},
    {"contains", WithArguments<Contains, 2, xmlXPathContainsFunction>},
    {"count", Watched<xmlXPathCountFunction>},
    {"document", RefuseDocument},
    {"function-available", FunctionAvailable},
    {"format-number", Watched<xsltFormatNumberFunction>},
    {"id", Watched<FindById>},
    {"key", Watched<FindByKey>},
    {"lang", Watched<xmlXPathLangFunction>},
    {"normalize-space", Watched<xmlXPathNormalizeFunction>},
    {"number", Watched<xmlXPathNumberFunction>},
    {"starts-with", Watched<xmlXPathStartsWithFunction>},
    {"string", Watched<xmlXPathStringFunction>},
    {"string-length", Watched<xmlXPathStringLengthFunction>},
    {"substring", Watched<xmlXPathSubstringFunction>},
    {"substring-after", WithArguments<SubstringAfter, 2, xmlXPathSubstringAfterFunction>},
    {"substring-before", WithArguments<SubstringBefore, 2, xmlXPathSubstringBeforeFunction>},
    {"sum", Watched<xmlXPathSumFunction>},
    {"translate", WithArguments<Translate, 3, xmlXPathTranslateFunction>},
};

// Those under whose names node-set() is known.
constexpr std::string_view kNodeSetNamespaces[] = {"http://exslt.org/common", "http://icl.com/saxon",
                                                   "http://www.jclark.com/xt",
                                                   "http://xmlsoft.org/XSLT/namespace"};

xmlXPathFunction FindExtension(std::string_view name, std::string_view uri) {
  for (const std::string_view known : kNodeSetNamespaces) {
    if (uri == known && name == "node-set") {
      return NodeSet;
    }
  }
  return nullptr;
}

// Asked before libxml2's own tables. libxslt's would also find what the host has registered for the
// whole process, and that may do anything.
xmlXPathFunction FindFunction(void* /*transformation*/, const xmlChar* name, const xmlChar* uri) {
  if (uri != nullptr) {
    return FindExtension(View(name), View(uri));
  }
  for (const NamedFunction& known : kFunctions) {
    if (known.name == View(name)) {
      return known.function;
    }
  }
  return FindOperator(View(name));
}

// libxml2 counts up to its own limit, which takes more stack than a small thread has. Each operator
// counts one where it is evaluated, each parenthesis ten where it is read.
constexpr int kDepthOfLibxml2 = 5'000;
constexpr std::size_t kStackBytesOfLevel = 256;

xmlXPathObjectPtr FindVariable(void* transformation, const xmlChar* name, const xmlChar* uri) {
  XMLSession& session = *XMLSession::Current();
  session.CheckUse();
  return session.HasFailed() ? nullptr : xsltXPathVariableLookup(transformation, name, uri);
}

} // namespace

bool MayGoOn(XMLSession& session, xmlXPathParserContextPtr parser) {
  session.CheckUse();
  if (session.HasFailed()) {
    xmlXPathErr(parser, XPATH_OP_LIMIT_EXCEEDED);
    return false;
  }
  return true;
}

void LimitExpressionDepth(const XMLSession& session, xmlXPathContext& xpath) {
  const std::size_t levels = session.StackReserve() / kStackBytesOfLevel;
  xpath.depth = kDepthOfLibxml2 - static_cast<int>(std::min<std::size_t>(levels, kDepthOfLibxml2));
}

void WatchFunctions(xsltTransformContextPtr transformation) {
  xmlXPathContextPtr xpath = transformation->xpathCtxt;
  xmlXPathRegisterFuncLookup(xpath, FindFunction, transformation);
  xmlXPathRegisterVariableLookup(xpath, FindVariable, transformation);
}

} // namespace zep
