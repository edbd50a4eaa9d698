#include "ZEPXMLSession_libxslt.h"

#include "ZEPXMLHooks_libxslt.h"
#include "ZEPXMLNames_libxml2.h"

#include <algorithm>
#include <cstdarg>
#include <cstdio>
#include <cstring>
#include <utility>

#include <libxml/globals.h>
#include <libxml/xpath.h>

namespace zep {
namespace {

// Asked for at each node.
__attribute__((tls_model("initial-exec"))) thread_local XMLSession* currentSession = nullptr;

// All texts that a transformation makes, kept or not, against the size of its output.
constexpr std::size_t kMadeTextFactor = 16;
constexpr std::size_t kNodesBetweenLooksAtTheClock = 256;

void OnError(void* session, xmlErrorPtr error) {
  if (error != nullptr) {
    static_cast<XMLSession*>(session)->AddError(*error);
  }
}

// A few errors of libxml2 come as bare text.
void OnText(void* session, const char* format, ...) {
  std::va_list arguments;
  va_start(arguments, format);
  static_cast<XMLSession*>(session)->AddMessage(format, arguments);
  va_end(arguments);
}

void OnFreedNode(xmlNodePtr node) {
  if (currentSession != nullptr) {
    currentSession->ForgetNode(node);
  }
}

bool IsOf(const xmlError& error, xmlXPathError kind) {
  return error.domain == XML_FROM_XPATH && error.code == int{XML_XPATH_EXPRESSION_OK} + int{kind};
}

constexpr char kTooLong[] = "the stylesheet takes longer than ZEP_XSLT_TIMEOUT_MS allows";
constexpr char kTooManySteps[] = "the stylesheet takes more steps than ZEP_XSLT_TIMEOUT_MS allows";

// Both libraries say so as bare text, too.
bool TellsOfOperationLimit(const char* format) {
  return std::strstr(format, "peration limit exceeded") != nullptr;
}

void OnNode(xmlNodePtr node) {
  if (currentSession != nullptr) {
    currentSession->CountNode(node);
  }
}

} // namespace

XMLSession::XMLSession(const XMLLimits& limits)
    : m_limits(limits),
      m_deadline(std::chrono::steady_clock::now() + limits.time),
      m_memory(limits.maxMemoryBytes, *this),
      m_outer(currentSession) {
  m_reason[0] = m_place[0] = m_messages[0] = '\0';
  if (m_memory.IsReady()) {
    EnsureXMLHooks();
  } else {
    OnMemoryFailure("out of memory");
  }
  m_outerErrorFunction = xmlStructuredError;
  m_outerErrorContext = xmlStructuredErrorContext;
  xmlSetStructuredErrorFunc(this, OnError);
  m_outerTextFunction = xmlGenericError;
  m_outerTextContext = xmlGenericErrorContext;
  xmlSetGenericErrorFunc(this, OnText);
  // Of this thread: xmlRegisterNodeDefault() would set those of the main thread.
  m_outerNodeFunction = std::exchange(xmlRegisterNodeDefaultValue, OnNode);
  m_outerFreeFunction = std::exchange(xmlDeregisterNodeDefaultValue, OnFreedNode);
  currentSession = this;
}

XMLSession::~XMLSession() {
  currentSession = m_outer;
  xmlDeregisterNodeDefaultValue = m_outerFreeFunction;
  xmlRegisterNodeDefaultValue = m_outerNodeFunction;
  xmlSetGenericErrorFunc(m_outerTextContext, m_outerTextFunction);
  xmlSetStructuredErrorFunc(m_outerErrorContext, m_outerErrorFunction);
  xmlResetLastError();
}

XMLSession* XMLSession::Current() {
  return currentSession;
}

void XMLSession::Fail(const char* reason) {
  FailFor(reason);
  if (m_parser != nullptr && !m_isParserBusy) {
    xmlStopParser(m_parser);
  }
}

void XMLSession::OnMemoryFailure(const char* reason) {
  FailFor(reason);
  if (m_parser != nullptr) {
    m_parser->instate = XML_PARSER_EOF;
  }
}

bool XMLSession::HasTimeLeft() {
  if (m_transformation == nullptr || XMLQuickNow() <= m_deadline) {
    return true;
  }
  FailFor(kTooLong);
  return false;
}

void XMLSession::FailFor(const char* reason) {
  if (!HasFailed()) {
    RememberPlace();
    std::snprintf(m_reason.data(), m_reason.size(), "%s", reason);
  }
  if (m_parser != nullptr) {
    m_parser->disableSAX = 1;
    m_parser->wellFormed = 0;
  }
  if (m_transformation != nullptr) {
    m_transformation->state = XSLT_STATE_STOPPED;
    // An expression that is being evaluated looks at this one.
    m_transformation->xpathCtxt->opLimit = 1;
    m_transformation->xpathCtxt->opCount = 1;
    m_transformation->style = m_emptyStylesheet;
  }
}

std::string XMLSession::Message() const {
  std::string message(m_place.data());
  message += HasFailed() ? m_reason.data() : m_messages.data();
  while (!message.empty() && (message.back() == '\n' || message.back() == ' ')) {
    message.pop_back();
  }
  return message;
}

void XMLSession::RememberPlace() {
  if (m_transformation == nullptr || m_transformation->inst == nullptr || HasFailed()) {
    return;
  }
  const xmlNode& instruction = *m_transformation->inst;
  const bool isNamed = instruction.doc != nullptr && instruction.doc->URL != nullptr;
  std::snprintf(m_place.data(), m_place.size(),
                "%s:%ld: ", isNamed ? reinterpret_cast<const char*>(instruction.doc->URL) : "stylesheet",
                xmlGetLineNo(&instruction));
}

void XMLSession::AddMessage(const char* format, std::va_list arguments) {
  if (TellsOfOperationLimit(format)) {
    Fail(kTooManySteps);
    return;
  }
  RememberPlace();
  const std::size_t room = m_messages.size() - m_messageBytes;
  const int wanted = std::vsnprintf(m_messages.data() + m_messageBytes, room, format, arguments);
  if (wanted > 0) {
    m_messageBytes += std::min(static_cast<std::size_t>(wanted), room - 1);
  }
}

void XMLSession::AddError(const xmlError& error) {
  if (error.level < XML_ERR_ERROR) {
    return;
  }
  if (IsOf(error, XPATH_OP_LIMIT_EXCEEDED)) {
    Fail(kTooManySteps);
    return;
  }
  if (IsOf(error, XPATH_RECURSION_LIMIT_EXCEEDED)) {
    Fail("an expression, with the variables that it needs, is nested more deeply than the stack allows");
    return;
  }
  RememberPlace();
  m_hasExpressionError = m_hasExpressionError || error.domain == XML_FROM_XPATH;
  const char* const text = error.message == nullptr ? "unknown error\n" : error.message;
  const std::size_t room = m_messages.size() - m_messageBytes;
  char* const end = m_messages.data() + m_messageBytes;
  const int wanted = error.file == nullptr
                         ? std::snprintf(end, room, "%s", text)
                         : std::snprintf(end, room, "%s:%d: %s", error.file, error.line, text);
  if (wanted > 0) {
    m_messageBytes += std::min(static_cast<std::size_t>(wanted), room - 1);
  }
}

// The value of an attribute is put into a text node that was made without one.
void XMLSession::CountUnfilledText() {
  if (m_unfilledText != nullptr && m_unfilledText->content != nullptr && m_transformation != nullptr) {
    const auto* const text = m_unfilledText->content;
    m_unfilledText = nullptr;
    CountText(std::strlen(reinterpret_cast<const char*>(text)));
  }
}

void XMLSession::ForgetNode(const xmlNode* node) {
  if (node == m_unfilledText) {
    CountUnfilledText();
    m_unfilledText = nullptr;
  }
}

void XMLSession::CountNode(const xmlNode* node) {
  CountUnfilledText();
  if (++m_nodes > m_limits.maxNodes) {
    m_isParserBusy = true;
    Fail("there are more nodes than ZEP_XSLT_MAX_NODES allows");
    m_isParserBusy = false;
    return;
  }
  if (m_transformation != nullptr) {
    CountMadeNode(*node);
  }
  if (m_nodes % kNodesBetweenLooksAtTheClock == 0) {
    CheckUse();
  }
}

void XMLSession::CountMadeNode(const xmlNode& node) {
  if (node.type == XML_TEXT_NODE) {
    m_unfilledText = &node;
    CountUnfilledText();
  } else if (HasLongName(node)) {
    Fail(kLongName);
  }
}

void XMLSession::CountText(std::size_t bytes) {
  m_madeTextBytes += bytes;
  CheckTextSize(bytes);
  CheckTextSize(m_madeTextBytes / kMadeTextFactor);
}

void XMLSession::CheckTextSize(std::size_t bytes) {
  if (bytes > m_limits.maxTextBytes) {
    Fail("the stylesheet makes more text than ZEP_XSLT_MAX_OUTPUT_BYTES allows");
  }
}

void XMLSession::CheckTime() {
  if (!HasFailed() && XMLQuickNow() > m_deadline) {
    Fail("it takes longer to read than ZEP_XSLT_TIMEOUT_MS allows");
  }
}

void XMLSession::CheckTimeToWrite() {
  if (!HasFailed() && XMLQuickNow() > m_deadline) {
    Fail(kTooLong);
  }
}

void XMLSession::CheckUse() {
  if (m_transformation == nullptr || HasFailed()) {
    return;
  }
  if (XMLQuickNow() > m_deadline) {
    Fail(kTooLong);
  } else if (m_stack.IsOver()) {
    Fail("the stylesheet nests its calls too deeply for the stack of this thread");
  }
}

void XMLSession::PreventNumber(xsltNumberData& number) {
  m_preventedNumber = &number;
  m_levelOfPreventedNumber = std::exchange(number.level, reinterpret_cast<const xmlChar*>("none"));
}

void XMLSession::AllowNumber() {
  if (m_preventedNumber != nullptr) {
    std::exchange(m_preventedNumber, nullptr)->level = m_levelOfPreventedNumber;
  }
}

void XMLSession::WatchWrittenText() {
  CountUnfilledText();
  const xsltTransformContext& transformation = *m_transformation;
  if (transformation.lasttext == nullptr || transformation.insert == nullptr) {
    return;
  }
  const int written = transformation.lasttuse;
  const auto* const text = transformation.insert->last;
  if (text == m_writtenText && written > m_writtenBytes) {
    CountText(static_cast<std::size_t>(written - m_writtenBytes));
    CheckTextSize(static_cast<std::size_t>(written));
  }
  m_writtenText = text;
  m_writtenBytes = written;
}

} // namespace zep
