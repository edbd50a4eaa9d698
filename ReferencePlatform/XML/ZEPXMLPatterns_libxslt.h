#pragma once

#include <libxml/xpath.h>
#include <libxslt/xsltInternals.h>

namespace zep {

class XMLSession;

// Before it tries a pattern with a predicate on a node, libxslt counts the siblings of that node, and it
// tries all of them in one go. Fails the session where that would take longer than it may.
void CheckSiblings(XMLSession& session, const xmlNode& top);
void CheckSiblings(XMLSession& session, const xmlNodeSet* trees);

// The same before xsl:number: in front of each node that it tries such a pattern on, it counts those before.
void CheckNumber(XMLSession& session, const xmlNode& instruction, const xmlNode& current);

} // namespace zep
