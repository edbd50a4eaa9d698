#pragma once

#include <libxml/xpath.h>
#include <libxslt/xsltInternals.h>

namespace zep {

class XMLSession;

// Called before each instruction of a stylesheet, with the node that is the current one. Fails the
// session when the limits do not allow it.
void WatchInstruction(XMLSession& session, xmlNodePtr instruction, xmlNodePtr current);

// libxslt's sorting, which makes the keys of all nodes in one go, once it is known what they take.
void SortWatched(xsltTransformContextPtr transformation, xmlNodePtr* sorts, int count);

} // namespace zep
