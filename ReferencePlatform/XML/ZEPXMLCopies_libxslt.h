#pragma once

#include <cstddef>

#include <libxml/xpath.h>

namespace zep {

class XMLSession;

// Fails the session when what a tree or a set of nodes holds is too deep or too much to be walked through:
// libxslt does it by recursion, and without looking up.
void WatchTree(XMLSession& session, const xmlNodeSet* nodes);

// The same for nodes that are going to be copied into the result, where libxslt looks for names and
// namespaces, too.
void WatchCopies(XMLSession& session, const xmlNode& instruction, const xmlNodeSet* nodes);

// Before an instruction that makes an element with so many namespaces at once.
void WatchNamespaces(XMLSession& session, const xmlNode& instruction, std::size_t count);

// Whether this is an element of the stylesheet that libxslt writes as it stands.
bool IsLiteral(const xmlNode& instruction);

} // namespace zep
