#include "ZEPXMLHooks_libxslt.h"

#include "ZEPXMLDocument_libxml2.h"
#include "ZEPXMLInstructions_libxslt.h"
#include "ZEPXMLMemory_libxml2.h"
#include "ZEPXMLSession_libxslt.h"

#include <cstdarg>
#include <cstdio>
#include <mutex>
#include <new>

#include <libxml/globals.h>
#include <libxslt/documents.h>
#include <libxslt/xslt.h>
#include <libxslt/xsltutils.h>

namespace zep {
namespace {

std::mutex hooksMutex;
xmlGenericErrorFunc hostErrorFunction = nullptr;
void* hostErrorContext = nullptr;
xsltDocLoaderFunc hostLoader = nullptr;

// A host that put its own functions in front of ours may call ours from them, while ours call the
// host's: the second time round, it is the turn of libxslt's own.
thread_local bool isWithHost = false;
xmlGenericErrorFunc firstErrorFunction = nullptr;
void* firstErrorContext = nullptr;
xsltDocLoaderFunc firstLoader = nullptr;

class TurnOfHost {
public:
  TurnOfHost() : m_wasWithHost(isWithHost) { isWithHost = true; }
  ~TurnOfHost() { isWithHost = m_wasWithHost; }
  TurnOfHost(const TurnOfHost&) = delete;
  TurnOfHost& operator=(const TurnOfHost&) = delete;
  bool IsSecond() const { return m_wasWithHost; }

private:
  bool m_wasWithHost;
};

void PassOn(const char* text) {
  const TurnOfHost turn;
  if (turn.IsSecond()) {
    firstErrorFunction(firstErrorContext, "%s", text);
  } else {
    hostErrorFunction(hostErrorContext, "%s", text);
  }
}

// What is said here and not to the transformation (an unknown instruction, say) leaves its state as it
// was, although its result is not what the stylesheet says.
void MarkError(xsltTransformContextPtr transformation) {
  if (transformation != nullptr && transformation->state == XSLT_STATE_OK) {
    transformation->state = XSLT_STATE_ERROR;
  }
}

void OnXSLTError(void*, const char* format, ...) {
  std::va_list arguments;
  va_start(arguments, format);
  XMLSession* const session = XMLSession::Current();
  if (session != nullptr) {
    session->AddMessage(format, arguments);
    MarkError(session->Transformation());
  } else if (hostErrorFunction != nullptr) {
    char text[4096];
    std::vsnprintf(text, sizeof text, format, arguments);
    PassOn(text);
  }
  va_end(arguments);
}

xmlDocPtr LoadDocument(const xmlChar* uri, xmlDictPtr dictionary, int options, void* context,
                       xsltLoadType type) {
  XMLSession* const session = XMLSession::Current();
  if (session == nullptr) {
    const TurnOfHost turn;
    return (turn.IsSecond() ? firstLoader : hostLoader)(uri, dictionary, options, context, type);
  }
  if (type != XSLT_LOAD_STYLESHEET) {
    session->Fail("a stylesheet reads no documents: document() is refused");
    return nullptr;
  }
  try {
    return ParseIncludedStylesheet(*session, reinterpret_cast<const char*>(uri), dictionary);
  } catch (const std::bad_alloc&) {
    session->Fail("out of memory");
    return nullptr;
  }
}

void OnInstruction(xmlNodePtr instruction, xmlNodePtr current, xsltTemplatePtr,
                   xsltTransformContextPtr transformation) {
  if (transformation->error != OnTransformationError) {
    return; // the host's own
  }
  XMLSession& session = *static_cast<XMLSession*>(transformation->errctx);
  if (session.Transformation() == transformation) {
    WatchInstruction(session, instruction, current);
  }
}

constexpr int kCallbacks = 3; // of the block below

void WatchInstructions(xsltHandleDebuggerCallback watcher) {
  struct {
    xsltHandleDebuggerCallback handler;
    xsltAddCallCallback add;
    xsltDropCallCallback drop;
  } callbacks{watcher, nullptr, nullptr};
  xsltSetDebuggerCallbacks(kCallbacks, &callbacks);
}

// Unloading the platform must not leave its functions behind.
struct HooksRemover {
  ~HooksRemover() {
    if (xsltGenericError == OnXSLTError) {
      xsltSetGenericErrorFunc(hostErrorContext, hostErrorFunction);
    }
    if (xsltDocDefaultLoader == LoadDocument) {
      xsltSetLoaderFunc(hostLoader);
    }
    WatchInstructions(nullptr);
  }
};
const HooksRemover hooksRemover;

void RememberOwnOfLibxslt() {
  const xmlGenericErrorFunc errorFunction = xsltGenericError;
  void* const errorContext = xsltGenericErrorContext;
  const xsltDocLoaderFunc loader = xsltDocDefaultLoader;
  xsltSetGenericErrorFunc(nullptr, nullptr);
  xsltSetLoaderFunc(nullptr);
  firstErrorFunction = xsltGenericError;
  firstErrorContext = xsltGenericErrorContext;
  firstLoader = xsltDocDefaultLoader;
  xsltSetGenericErrorFunc(errorContext, errorFunction);
  xsltSetLoaderFunc(loader);
}

// libxml2 tells of nodes only once a function has been registered, on whatever thread.
void AskForNodes() {
  xmlDeregisterNodeDefault(xmlDeregisterNodeDefault(nullptr));
}

} // namespace

void OnTransformationError(void* session, const char* format, ...) {
  std::va_list arguments;
  va_start(arguments, format);
  static_cast<XMLSession*>(session)->AddMessage(format, arguments);
  va_end(arguments);
}

void EnsureXMLHooks() {
  const std::lock_guard<std::mutex> lock(hooksMutex);
  static const bool initialised = [] {
    const XMLPlainMemory plain;
    xmlInitParser();
    xsltInit();
    WatchInstructions(OnInstruction);
    RememberOwnOfLibxslt();
    AskForNodes();
    return true;
  }();
  static_cast<void>(initialised);
  if (xsltGenericError != OnXSLTError) {
    hostErrorFunction = xsltGenericError;
    hostErrorContext = xsltGenericErrorContext;
    xsltSetGenericErrorFunc(nullptr, OnXSLTError);
  }
  if (xsltDocDefaultLoader != LoadDocument) {
    hostLoader = xsltDocDefaultLoader;
    xsltSetLoaderFunc(LoadDocument);
  }
}

} // namespace zep
