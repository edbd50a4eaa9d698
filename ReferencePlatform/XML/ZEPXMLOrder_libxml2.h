#pragma once

#include <libxml/xpath.h>

namespace zep {

class XMLSession;

// libxml2 brings the nodes of a path into the order of the document. It finds elements by a number that each
// has, all others by going back to the nearest element before them, for each comparison anew. These fail when
// there are too many others in a row for that.
void CheckOrder(XMLSession& session, const xmlNode& top);
// The same for trees that the stylesheet made, whose elements have no numbers yet.
void OrderTrees(XMLSession& session, const xmlNodeSet* trees);

} // namespace zep
