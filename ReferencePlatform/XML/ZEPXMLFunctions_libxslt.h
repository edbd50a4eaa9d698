#pragma once

#include <libxslt/xsltInternals.h>

namespace zep {

// Puts functions that look at the clock and at the size of what they make in front of those XPath
// functions that cost as much as their arguments are long, and in front of variables. The limits on
// operations count a call as one, however long it takes.
void WatchFunctions(xsltTransformContextPtr transformation);

} // namespace zep
