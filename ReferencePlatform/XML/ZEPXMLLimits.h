#pragma once

#include <chrono>
#include <cstddef>

namespace zep {

// What a stylesheet from a stranger may use up. No honest one comes near the defaults.
struct XMLLimits {
  bool operator==(const XMLLimits&) const = default;

  std::chrono::milliseconds time; // of one transformation
  std::size_t maxStylesheetBytes; // of one stylesheet document
  std::size_t maxExpressionBytes; // of one expression, as UTF-8
  std::size_t maxDepth;           // of nested elements
  std::size_t maxNodes;           // of a document, and of all that a transformation makes
  std::size_t maxTextBytes;       // of one text: the output, or one that an XPath function makes
  std::size_t maxMemoryBytes;     // that libxml2 and libxslt take for one document and its transformation
  unsigned long maxOperations;    // of XSLT instructions, and of XPath steps
  int maxTemplateDepth;           // of templates that call templates
};

constexpr int kMaxXMLParameters = 1'000; // of a template

// The environment may change time and sizes (docs/security.md); what is not a number within bounds
// counts as not set.
XMLLimits CurrentXMLLimits();

} // namespace zep
