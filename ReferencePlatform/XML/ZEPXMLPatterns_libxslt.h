#pragma once

#include <cstddef>

#include <libxml/xpath.h>
#include <libxslt/xsltInternals.h>

namespace zep {

class XMLSession;

// How many patterns with predicates libxslt tries on one node, at the most.
std::size_t CountPatternsWithPredicates(xsltStylesheetPtr stylesheet);

// Before it tries such a pattern on a node, libxslt counts the siblings of that node, and it tries all of
// them in one go. Fails the session where that would take longer than it may.
void CheckSiblings(XMLSession& session, const xmlNode& top);
void CheckSiblings(XMLSession& session, const xmlNodeSet* trees);

} // namespace zep
