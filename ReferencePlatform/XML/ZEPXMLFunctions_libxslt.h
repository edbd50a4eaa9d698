#pragma once

#include <libxml/xpath.h>
#include <libxslt/xsltInternals.h>

namespace zep {

class XMLSession;

// Puts functions of ours in front of those XPath functions that cost as much as their arguments
// are long, or more, and in front of variables: they look at the clock and at the size of what they
// make. The limits on operations count a call as one, however long it takes. Of functions beyond
// XSLT there is node-set() alone, whatever the host has registered.
void WatchFunctions(xsltTransformContextPtr transformation);

// Of the XPath expressions that are compiled or evaluated with it, so that they fit the stack of this
// thread.
void LimitExpressionDepth(const XMLSession& session, xmlXPathContext& xpath);

// False, with the evaluation ended, when the limits allow no more.
bool MayGoOn(XMLSession& session, xmlXPathParserContextPtr parser);

} // namespace zep
