#include "ZEPXMLOrder_libxml2.h"

#include "ZEPXMLSession_libxslt.h"
#include "ZEPXMLTree_libxml2.h"

#include <cstddef>

namespace zep {
namespace {

// Each node of a row goes back through half of it when it is compared, and it is compared a few times.
constexpr std::size_t kStepsPerMillisecond = 20'000;

// Those that sorting takes, if each node is compared once.
std::size_t StepsBetween(const xmlNode& parent) {
  std::size_t steps = 0;
  std::size_t row = 0;
  for (const xmlNode* child = parent.children; child != nullptr; child = child->next) {
    row = child->type == XML_ELEMENT_NODE ? 0 : row + 1;
    steps += row;
  }
  return steps;
}

} // namespace

void CheckOrder(XMLSession& session, const xmlNode& top) {
  std::size_t steps = 0;
  VisitParents(top, [&steps](const xmlNode& parent) { steps += StepsBetween(parent); });
  if (steps > static_cast<std::size_t>(session.Limits().time.count()) * kStepsPerMillisecond) {
    session.Fail("there are more comments, instructions and texts in a row than ZEP_XSLT_TIMEOUT_MS allows");
  }
}

void OrderTrees(XMLSession& session, const xmlNodeSet* trees) {
  for (int i = 0; trees != nullptr && i < trees->nodeNr && !session.HasFailed(); ++i) {
    CheckOrder(session, *trees->nodeTab[i]);
    if (trees->nodeTab[i]->type == XML_DOCUMENT_NODE) {
      xmlXPathOrderDocElems(reinterpret_cast<xmlDocPtr>(trees->nodeTab[i]));
    }
  }
}

} // namespace zep
