#pragma once

#include "ZEPXMLPatternWeight.h"

#include <cstddef>
#include <string_view>
#include <unordered_map>

#include <libxml/xpath.h>
#include <libxslt/xsltInternals.h>

namespace zep {

class XMLSession;

// The patterns of a stylesheet's templates. libxslt tries all that may match a node in one go, and where none
// does, it goes on to the nodes below without a look at the clock. Before it tries a pattern with a
// predicate, it counts the siblings of the node. So both are weighed beforehand.
class XMLPatterns {
public:
  explicit XMLPatterns(xsltStylesheetPtr stylesheet);

  // Whether there are documents of that size, that of all that was read, that would take too long.
  bool MayTakeLong(const XMLSession& session) const;
  // Fails the session where the nodes of a tree would, or has it weigh what is selected, where many of them
  // selected at once would.
  void CheckTree(XMLSession& session, const xmlNode& top) const;
  void CheckSelection(XMLSession& session, const xmlNodeSet* nodes) const;

private:
  using Weights = std::unordered_map<std::string_view, XMLPatternWeight>;

  void AddWeights(std::string_view pattern);
  double LooksOfVisit(const XMLPatternWeight& weight, std::size_t depth, std::size_t nodes) const;
  const XMLPatternWeight& WeightOf(const xmlChar* name) const;
  bool HasTooManySiblings(const XMLSession& session, const xmlNode& top) const;
  void CheckWeight(XMLSession& session, const xmlNode& top) const;

  std::size_t m_stylesheets = 0;    // with those imported
  std::size_t m_withPredicates = 0; // that are tried on one node, at the most
  Weights m_byName;                 // with those of any name
  XMLPatternWeight m_ofAny;
  XMLPatternWeight m_heaviest; // as heavy as that of each name
};

// By the patterns of the stylesheet that is applied.
void CheckPatterns(XMLSession& session, const xmlNodeSet* trees);
void CheckSelection(XMLSession& session, const xmlNodeSet* nodes);

// The same for xsl:number, which tries its patterns on the nodes in front.
void CheckNumber(XMLSession& session, const xmlNode& instruction, const xmlNode& current);

} // namespace zep
