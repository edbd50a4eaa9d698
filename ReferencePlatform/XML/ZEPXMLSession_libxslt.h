#pragma once

#include "ZEPXMLLimits.h"
#include "ZEPXMLLocale_posix.h"
#include "ZEPXMLMemory_libxml2.h"
#include "ZEPXMLStylesheetText.h"
#include "ZEPXMLWatch_posix.h"

#include <array>
#include <chrono>
#include <cstdarg>
#include <cstddef>
#include <optional>
#include <string>
#include <vector>

#include <libxml/parser.h>
#include <libxml/tree.h>
#include <libxml/xmlerror.h>
#include <libxslt/xsltInternals.h>

namespace zep {

struct XMLCollection;
class XMLPatterns;

// One use of libxml2 and libxslt on this thread: collects what they have to say, and counts what
// is used up. While no session is open on a thread, both libraries behave there as if this
// platform did not exist.
class XMLSession final : private XMLMemory::Owner {
public:
  explicit XMLSession(const XMLLimits& limits);
  ~XMLSession();
  XMLSession(const XMLSession&) = delete;
  XMLSession& operator=(const XMLSession&) = delete;

  static XMLSession* Current(); // of this thread, or null

  const XMLLimits& Limits() const { return m_limits; }

  // Ends the parse or the transformation that is running; the first reason stands.
  void Fail(const char* reason);
  bool HasFailed() const { return m_reason[0] != '\0'; }
  // Whether an XPath expression went wrong: not everywhere does that end a transformation.
  bool HasExpressionError() const { return m_hasExpressionError; }
  // The reason, or else what the libraries said; of a transformation with the place in the
  // stylesheet.
  std::string Message() const;

  // Called from C: they do not throw and do not allocate.
  void AddMessage(const char* format, std::va_list arguments);
  void AddError(const xmlError& error);
  void CountNode(const xmlNode* node);
  void ForgetNode(const xmlNode* node); // before it is freed
  void CountText(std::size_t bytes);
  // One text alone, before it is made.
  void CheckTextSize(std::size_t bytes);
  // Before work that nothing can end once it has begun. Fails if it cannot have so many bytes of memory, or
  // may not.
  void ReserveMemory(std::size_t bytes) { m_memory.Reserve(bytes); }
  void CheckMemory(std::size_t bytes) { m_memory.Allows(bytes); }
  // Time alone, while something is read.
  void CheckTime();
  // While the result is written.
  void CheckTimeToWrite();
  // Time and stack of a transformation.
  void CheckUse();
  // Of the stack, when CheckUse() would no longer go on.
  std::size_t StackReserve() const { return m_stack.Reserve(); }
  // Counts what was appended to the text that is being written.
  void WatchWrittenText();

  // What Fail() ends; null for none.
  void SetParser(xmlParserCtxtPtr parser) { m_parser = parser; }
  void SetTransformation(xsltTransformContextPtr transformation) {
    CountUnfilledText();
    m_transformation = transformation;
  }
  // In the place of the transformation's own once it is ended: libxslt goes on with its node list, and would
  // try each pattern on each of them.
  void SetEmptyStylesheet(xsltStylesheetPtr stylesheet) { m_emptyStylesheet = stylesheet; }
  // libxslt carries out the instruction before which it is stopped: one that numbers would still count.
  void PreventNumber(xsltNumberData& number);
  void AllowNumber();
  // No text that is made from another one is longer.
  std::size_t TextBytes() const { return readBytes + m_madeTextBytes; }
  // Those that there can be at the most.
  std::size_t Nodes() const { return m_nodes; }
  xsltTransformContextPtr Transformation() const { return m_transformation; }

  // Where a stylesheet may include from, with its real path: empty for nowhere.
  std::string includeFolder;
  std::size_t stylesheetBytes = 0; // of all its documents so far
  std::size_t readBytes = 0;
  std::vector<IncludedText> included;
  std::size_t namespacePairs = 0; // that its elements bring, squared, and names times namespaces
  std::size_t declarations = 0;   // at the top level of its documents, and alternatives of its patterns
  std::size_t patternSteps = 0;
  std::size_t attributesInSets = 0;
  std::size_t usesInSets = 0;            // of other sets
  const XMLPatterns* patterns = nullptr; // of the stylesheet that is applied
  bool weighsSelections = false;         // of xsl:apply-templates
  XMLCollection* collections = nullptr;  // of the paths that are being evaluated, the innermost first
  int stylesheetDocuments = 0;
  int entityReferences = 0;

private:
  void OnMemoryFailure(const char* reason) override;
  bool HasTimeLeft() override;
  void FailFor(const char* reason);
  void RememberPlace();
  void CountUnfilledText();
  void CountMadeNode(const xmlNode& node);

  XMLLimits m_limits;
  XMLPlainLocale m_locale;
  std::chrono::steady_clock::time_point m_deadline;
  XMLMemory m_memory;
  XMLStackWatch m_stack;
  std::size_t m_nodes = 0;
  std::size_t m_madeTextBytes = 0;
  const xmlNode* m_unfilledText = nullptr; // made without characters, gets them later
  const xmlNode* m_writtenText = nullptr;
  int m_writtenBytes = 0;
  xmlParserCtxtPtr m_parser = nullptr;
  xsltTransformContextPtr m_transformation = nullptr;
  xsltStylesheetPtr m_emptyStylesheet = nullptr;
  xsltNumberData* m_preventedNumber = nullptr;
  const xmlChar* m_levelOfPreventedNumber = nullptr;

  bool m_hasExpressionError = false;
  bool m_isParserBusy = false; // with what stopping it would free
  // Texts; most sessions have none, and clearing all of them would be work for nothing.
  std::array<char, 256> m_reason;
  std::array<char, 512> m_place; // the instruction that had something to say last
  std::array<char, 8192> m_messages;
  std::size_t m_messageBytes = 0;

  XMLSession* m_outer;
  xmlStructuredErrorFunc m_outerErrorFunction;
  void* m_outerErrorContext;
  xmlGenericErrorFunc m_outerTextFunction;
  void* m_outerTextContext;
  xmlRegisterNodeFunc m_outerNodeFunction;
  xmlDeregisterNodeFunc m_outerFreeFunction;
};

} // namespace zep
