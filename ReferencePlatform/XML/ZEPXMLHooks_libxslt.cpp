#include "ZEPXMLHooks_libxslt.h"

#include "ZEPXMLDocument_libxml2.h"
#include "ZEPXMLSession_libxslt.h"

#include <cstdarg>
#include <cstdio>
#include <mutex>

#include <libxslt/documents.h>
#include <libxslt/xslt.h>
#include <libxslt/xsltutils.h>

namespace zep {
namespace {

std::mutex hooksMutex;
xmlGenericErrorFunc hostErrorFunction = nullptr;
void* hostErrorContext = nullptr;
xsltDocLoaderFunc hostLoader = nullptr;

void OnXSLTError(void*, const char* format, ...) {
  std::va_list arguments;
  va_start(arguments, format);
  XMLSession* const session = XMLSession::Current();
  if (session != nullptr) {
    session->AddMessage(format, arguments);
  } else if (hostErrorFunction != nullptr) {
    char text[4096];
    std::vsnprintf(text, sizeof text, format, arguments);
    hostErrorFunction(hostErrorContext, "%s", text);
  }
  va_end(arguments);
}

xmlDocPtr LoadDocument(const xmlChar* uri, xmlDictPtr dictionary, int options, void* context,
                       xsltLoadType type) {
  XMLSession* const session = XMLSession::Current();
  if (session == nullptr) {
    return hostLoader(uri, dictionary, options, context, type);
  }
  if (type != XSLT_LOAD_STYLESHEET) {
    session->Fail("a stylesheet reads no documents: document() is refused");
    return nullptr;
  }
  return ParseIncludedStylesheet(*session, reinterpret_cast<const char*>(uri), dictionary);
}

void OnInstruction(xmlNodePtr, xmlNodePtr, xsltTemplatePtr, xsltTransformContextPtr transformation) {
  XMLSession* const session = XMLSession::Current();
  if (session != nullptr && session->Transformation() == transformation) {
    session->WatchWrittenText();
    session->CheckTime();
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

} // namespace

void EnsureXMLHooks() {
  const std::lock_guard<std::mutex> lock(hooksMutex);
  static const bool initialised = [] {
    xmlInitParser();
    xsltInit();
    WatchInstructions(OnInstruction);
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
