#include "ZEPXMLInstructions_libxslt.h"

#include "ZEPXMLCopies_libxslt.h"
#include "ZEPXMLPatterns_libxslt.h"
#include "ZEPXMLSession_libxslt.h"
#include "ZEPXMLValues_libxml2.h"

#include <cstddef>

#include <libxslt/preproc.h>
#include <libxslt/xsltutils.h>

namespace zep {
namespace {

bool Is(const xmlNode& instruction, xsltStyleType type, const char* name) {
  if (instruction.type != XML_ELEMENT_NODE || instruction.psvi == nullptr ||
      instruction.psvi == static_cast<const void*>(xsltExtMarker) || instruction.ns == nullptr) {
    return false;
  }
  // The name is looked at last: nearly all instructions are something else.
  return static_cast<const xsltElemPreComp*>(instruction.psvi)->type == type &&
         xmlStrEqual(instruction.ns->href, XSLT_NAMESPACE) != 0 && IS_XSLT_NAME(&instruction, name);
}

// What a compiled instruction selects. An error in the expression is not seen here.
OwnedXMLValue Selected(xsltTransformContextPtr transformation, const xsltStylePreComp& compiled,
                       xmlNodePtr current) {
  xmlXPathContext& xpath = *transformation->xpathCtxt;
  const xmlNodePtr outerNode = xpath.node;
  xmlNsPtr* const outerNamespaces = xpath.namespaces;
  const int outerNamespaceCount = xpath.nsNr;
  const int outerPosition = xpath.proximityPosition;
  const int outerSize = xpath.contextSize;
  xpath.node = current;
  xpath.namespaces = compiled.nsList;
  xpath.nsNr = compiled.nsNr;
  OwnedXMLValue selected(xmlXPathCompiledEval(compiled.comp, &xpath));
  xpath.node = outerNode;
  xpath.namespaces = outerNamespaces;
  xpath.nsNr = outerNamespaceCount;
  xpath.proximityPosition = outerPosition;
  xpath.contextSize = outerSize;
  return selected;
}

// One instruction copies as much as it selects, or applies templates to it, and nothing stops it on the way.
template <class Watch>
void WatchSelected(XMLSession& session, const xmlNode& instruction, xmlNodePtr current, const Watch& watch) {
  const auto& compiled = *static_cast<const xsltStylePreComp*>(instruction.psvi);
  if (compiled.comp == nullptr || current == nullptr) {
    return;
  }
  const OwnedXMLValue selected = Selected(session.Transformation(), compiled, current);
  if (selected != nullptr && IsNodeSet(*selected)) {
    watch(selected->nodesetval);
  }
}

std::size_t DeclaredIn(const xmlNode& element) {
  std::size_t count = 0;
  for (const xmlNs* declaration = element.nsDef; declaration != nullptr; declaration = declaration->next) {
    ++count;
  }
  return count;
}

// That an instruction may declare on the element that it makes.
std::size_t NamespacesOf(const xsltTransformContext& transformation, const xmlNode& instruction,
                         const xmlNode* current) {
  if (instruction.psvi != nullptr) {
    return Is(instruction, XSLT_FUNC_COPY, "copy") && current != nullptr && current->type == XML_ELEMENT_NODE
               ? DeclaredIn(*current)
               : 0;
  }
  if (instruction.type != XML_ELEMENT_NODE) {
    return 0;
  }
  const xsltTemplate* const around = transformation.templ;
  return DeclaredIn(instruction) + (around == nullptr ? 0 : static_cast<std::size_t>(around->inheritedNsNr));
}

// ---- sorting -----------------------------------------------------------------------------------

// Makes each key as libxslt is going to, but one at a time, and looks at what that takes.
void WeighKeys(XMLSession& session, const xsltStylePreComp& sort, const xmlNodeSet& nodes) {
  xsltTransformContext& transformation = *session.Transformation();
  xmlXPathContext& xpath = *transformation.xpathCtxt;
  const xmlNodePtr outerNode = transformation.node;
  const int outerPosition = xpath.proximityPosition;
  const int outerSize = xpath.contextSize;
  for (int i = 0; i < nodes.nodeNr && !session.HasFailed(); ++i) {
    transformation.node = nodes.nodeTab[i];
    xpath.proximityPosition = i + 1;
    xpath.contextSize = nodes.nodeNr;
    const OwnedXMLValue key = Selected(&transformation, sort, nodes.nodeTab[i]);
    const OwnedXMLText text(xmlXPathCastToString(key.get()));
    session.CountText(View(text.get()).size());
    session.CheckUse();
  }
  transformation.node = outerNode;
  xpath.proximityPosition = outerPosition;
  xpath.contextSize = outerSize;
}

// The keys of few nodes of a small document cannot become large.
constexpr std::size_t kNodesSortedUnweighed = 1'000;
constexpr std::size_t kBytesSortedUnweighed = std::size_t{16} << 20;

bool AreSmall(const XMLSession& session, const xmlNodeSet& nodes) {
  const auto count = static_cast<std::size_t>(nodes.nodeNr);
  return count <= kNodesSortedUnweighed && count * session.TextBytes() <= kBytesSortedUnweighed;
}

// ---- variables ---------------------------------------------------------------------------------

constexpr int kMaxVariables = 65'536; // in use at the same time, parameters among them

// The parameters of a template come without a look in between. The last one of these may come after a
// failure.
constexpr int kRoomForVariables = 2 * kMaxXMLParameters;

// libxslt loses the table of variables when that cannot grow, and goes on. So it grows here, ahead.
void MakeRoomForVariables(XMLSession& session) {
  xsltTransformContext& transformation = *session.Transformation();
  const int room = transformation.varsMax - transformation.varsNr;
  if (room >= kRoomForVariables || session.HasFailed()) {
    return;
  }
  const int enough = 2 * (transformation.varsNr + kRoomForVariables);
  void* const table =
      transformation.varsNr > kMaxVariables
          ? nullptr
          : xmlRealloc(transformation.varsTab, sizeof(xsltStackElemPtr) * static_cast<std::size_t>(enough));
  if (table == nullptr) {
    session.Fail("the stylesheet has too many variables in use");
    return;
  }
  transformation.varsTab = static_cast<xsltStackElemPtr*>(table);
  transformation.varsMax = enough;
}

} // namespace

void SortWatched(xsltTransformContextPtr transformation, xmlNodePtr* sorts, int count) {
  XMLSession& session = *XMLSession::Current();
  const xmlNodeSet* const nodes = transformation->nodeList;
  for (int i = 0; i < count && nodes != nullptr && !AreSmall(session, *nodes); ++i) {
    const auto* const sort = static_cast<const xsltStylePreComp*>(sorts[i]->psvi);
    if (sort != nullptr && sort->comp != nullptr) {
      WeighKeys(session, *sort, *nodes);
    }
  }
  if (!session.HasFailed()) {
    xsltDefaultSortFunction(transformation, sorts, count);
  }
}

void WatchInstruction(XMLSession& session, xmlNodePtr instruction, xmlNodePtr current) {
  session.WatchWrittenText();
  session.CheckUse();
  MakeRoomForVariables(session);
  // libxslt stops here too, and writes out its stacks.
  if (session.Transformation()->depth >= session.Limits().maxTemplateDepth) {
    session.Fail("the templates call each other too deeply: an endless recursion");
  }
  if (session.HasFailed() || instruction == nullptr) {
    return;
  }
  if (Is(*instruction, XSLT_FUNC_COPYOF, "copy-of")) {
    WatchSelected(session, *instruction, current,
                  [&](const xmlNodeSet* nodes) { WatchCopies(session, *instruction, nodes); });
  } else if (session.weighsSelections && Is(*instruction, XSLT_FUNC_APPLYTEMPLATES, "apply-templates")) {
    WatchSelected(session, *instruction, current,
                  [&](const xmlNodeSet* nodes) { CheckSelection(session, nodes); });
  } else if (current != nullptr && Is(*instruction, XSLT_FUNC_NUMBER, "number")) {
    CheckNumber(session, *instruction, *current);
  } else {
    WatchNamespaces(session, *instruction, NamespacesOf(*session.Transformation(), *instruction, current));
  }
}

} // namespace zep
