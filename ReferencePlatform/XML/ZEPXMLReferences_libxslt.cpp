#include "ZEPXMLReferences_libxslt.h"

#include "ZEPXMLFunctions_libxslt.h"
#include "ZEPXMLNodeUnion_libxml2.h"
#include "ZEPXMLSession_libxslt.h"
#include "ZEPXMLValues_libxml2.h"

#include <algorithm>
#include <cstddef>
#include <string_view>

#include <libxml/valid.h>
#include <libxml/xpathInternals.h>
#include <libxslt/functions.h>

namespace zep {
namespace {

constexpr std::string_view kBlanks = " \t\r\n";

OwnedXMLValue Pop(xmlXPathParserContextPtr parser) {
  return OwnedXMLValue(valuePop(parser));
}

// Calls `visit` with each node, as long as it says true.
template <class Visit>
bool AllOf(const xmlNodeSet* set, const Visit& visit) {
  return set == nullptr || std::all_of(set->nodeTab, set->nodeTab + set->nodeNr, visit);
}

void Give(xmlXPathParserContextPtr parser, XMLNodeUnion& found) {
  valuePush(parser, xmlXPathWrapNodeSet(found.Take()));
}

xmlNodePtr ElementWithId(xmlDocPtr document, const xmlChar* id) {
  const xmlAttrPtr attribute = xmlGetID(document, id);
  return attribute != nullptr && attribute->type == XML_ATTRIBUTE_NODE ? attribute->parent : nullptr;
}

// The ids stand in one text, with blanks between them. False when the work is to end.
bool AddElements(xmlXPathParserContextPtr parser, const xmlChar* ids, XMLNodeUnion& found) {
  const std::string_view text = View(ids);
  for (std::size_t begin = text.find_first_not_of(kBlanks); begin < text.size();) {
    const std::size_t end = std::min(text.find_first_of(kBlanks, begin), text.size());
    const OwnedXMLText id(xmlStrndup(ids + begin, static_cast<int>(end - begin)));
    const xmlNodePtr element = ElementWithId(parser->context->doc, id.get());
    if (!MayGoOn(*XMLSession::Current(), parser) || (element != nullptr && !found.Add(parser, element))) {
      return false;
    }
    begin = text.find_first_not_of(kBlanks, end);
  }
  return true;
}

// As if key() were asked for the text of this node alone.
bool AddNodesOfKey(xmlXPathParserContextPtr parser, const OwnedXMLValue& name, xmlNodePtr node,
                   XMLNodeUnion& found) {
  if (!MayGoOn(*XMLSession::Current(), parser)) {
    return false;
  }
  valuePush(parser, xmlXPathObjectCopy(name.get()));
  valuePush(parser, xmlXPathWrapString(xmlXPathCastNodeToString(node)));
  xsltKeyFunction(parser, 2);
  if (parser->error != XPATH_EXPRESSION_OK) {
    return false;
  }
  const OwnedXMLValue nodes = Pop(parser);
  return found.Add(parser, nodes->nodesetval);
}

} // namespace

void FindById(xmlXPathParserContextPtr parser, int argumentCount) {
  if (argumentCount != 1) {
    xmlXPathIdFunction(parser, argumentCount); // says what is wrong
    return;
  }
  const OwnedXMLValue ids = Pop(parser);
  XMLNodeUnion found;
  const bool isDone =
      IsNodeSet(*ids)
          ? AllOf(ids->nodesetval,
                  [&](xmlNodePtr node) {
                    return AddElements(parser, OwnedXMLText(xmlXPathCastNodeToString(node)).get(), found);
                  })
          : AddElements(parser, OwnedXMLText(xmlXPathCastToString(ids.get())).get(), found);
  if (isDone) {
    Give(parser, found);
  }
}

void FindByKey(xmlXPathParserContextPtr parser, int argumentCount) {
  if (argumentCount != 2 || !IsNodeSet(*parser->value)) {
    xsltKeyFunction(parser, argumentCount);
    return;
  }
  const OwnedXMLValue texts = Pop(parser);
  const OwnedXMLValue name = Pop(parser);
  XMLNodeUnion found;
  if (AllOf(texts->nodesetval, [&](xmlNodePtr node) { return AddNodesOfKey(parser, name, node, found); })) {
    Give(parser, found);
  }
}

} // namespace zep
