#include "ZEPXMLTransformation_libxslt.h"

#include "ZEPXMLFunctions_libxslt.h"
#include "ZEPXMLHooks_libxslt.h"
#include "ZEPXMLInstructions_libxslt.h"
#include "ZEPXMLOperators_libxslt.h"
#include "ZEPXMLOrder_libxml2.h"
#include "ZEPXMLSession_libxslt.h"

#include <cstddef>
#include <cstring>
#include <limits>
#include <utility>

#include <libxml/dict.h>
#include <libxslt/documents.h>
#include <libxslt/variables.h>
#include <libxslt/xslt.h>
#include <libxslt/xsltutils.h>

namespace zep {
namespace {

const xmlChar* XMLText(const char* text) {
  return reinterpret_cast<const xmlChar*>(text);
}

XSLTSecurity ForbidEverything() {
  XSLTSecurity preferences(xsltNewSecurityPrefs());
  if (preferences != nullptr) {
    for (const xsltSecurityOption option :
         {XSLT_SECPREF_READ_FILE, XSLT_SECPREF_WRITE_FILE, XSLT_SECPREF_CREATE_DIRECTORY,
          XSLT_SECPREF_READ_NETWORK, XSLT_SECPREF_WRITE_NETWORK}) {
      xsltSetSecurityPrefs(preferences.get(), option, xsltSecurityForbid);
    }
  }
  return preferences;
}

// What is known of the structures of both libraries is known of the versions whose headers these are.
bool AreKnownLibraries() {
  return xsltLibxsltVersion == LIBXSLT_VERSION &&
         std::strncmp(xmlParserVersion, LIBXML_VERSION_STRING, sizeof LIBXML_VERSION_STRING - 1) == 0;
}

// Names that a document or a computed element name brought along stay in the dictionary.
constexpr std::size_t kMaxDictionaryBytes = std::size_t{256} << 10;

// Not in all versions.
template <class Context>
void ForgetDirtyDocument(Context& context) {
  if constexpr (requires { context.sourceDocDirty; }) {
    context.sourceDocDirty = 0;
  }
}

void ClearExtras(xsltTransformContext& context) {
  for (int i = 0; i < context.extrasNr; ++i) {
    xsltRuntimeExtra& extra = context.extras[i];
    if (extra.deallocate != nullptr && extra.info != nullptr) {
      extra.deallocate(extra.info);
    }
    extra = xsltRuntimeExtra{};
  }
}

void FreeWhatDocumentLeft(xsltTransformContext& context) {
  ClearExtras(context);
  xsltFreeGlobalVariables(&context);
  context.globalVars = nullptr;
  xsltFreeDocuments(&context);
  context.docList = nullptr;
  context.styleList = nullptr;
  xsltFreeRVTs(&context);
}

// Fields without a meaning between two documents. The pointers among them own nothing.
void ResetFields(xsltTransformContext& context, const xsltTransformContext& asNew) {
  context.type = asNew.type;
  context.varsBase = asNew.varsBase;
  context.document = nullptr;
  context.node = nullptr;
  context.nodeList = nullptr; // freed with the document
  context.output = nullptr;
  context.insert = nullptr;
  context.inst = nullptr;
  context.error = nullptr;
  context.errctx = nullptr;
  context.lasttext = nullptr;
  context.lasttsize = 0;
  context.lasttuse = 0;
  context.nbKeys = asNew.nbKeys;
  context.hasTemplKeyPatterns = asNew.hasTemplKeyPatterns;
  context.initialContextNode = nullptr;
  context.initialContextDoc = nullptr;
  context.maxTemplateDepth = asNew.maxTemplateDepth;
  context.opLimit = asNew.opLimit;
  context.opCount = 0;
  context.currentTemplateRule = nullptr;
  ForgetDirtyDocument(context);
}

void ResetFields(xmlXPathContext& xpath, const xmlXPathContext& asNew) {
  xpath.doc = nullptr;
  xpath.node = nullptr;
  xpath.namespaces = asNew.namespaces;
  xpath.nsNr = asNew.nsNr;
  xpath.contextSize = asNew.contextSize;
  xpath.proximityPosition = asNew.proximityPosition;
  xpath.function = asNew.function;
  xpath.functionURI = asNew.functionURI;
  xpath.opLimit = asNew.opLimit;
  xpath.depth = asNew.depth;
  xpath.opCount = 0;
}

// Stacks grow, and stay as large as they once were.
void CopyStacks(xsltTransformContext& to, const xsltTransformContext& from) {
  to.templTab = from.templTab;
  to.templMax = from.templMax;
  to.varsTab = from.varsTab;
  to.varsMax = from.varsMax;
}

} // namespace

XMLTransformation::XMLTransformation(xsltStylesheetPtr stylesheet)
    : m_stylesheet(stylesheet),
      m_security(ForbidEverything()),
      m_patterns(stylesheet) {}

bool XMLTransformation::MakeContext(XMLSession& session, xmlDocPtr document) {
  if (m_new == nullptr) {
    m_new = std::make_unique<Snapshot>();
  }
  m_context.reset(xsltNewTransformContext(m_stylesheet, document));
  if (m_context == nullptr || m_security == nullptr ||
      xsltSetCtxtSecurityPrefs(m_security.get(), m_context.get()) != 0) {
    m_context.reset();
    session.Fail("out of memory");
    return false;
  }
  m_context->debugStatus = XSLT_DEBUG_RUN;                      // has each instruction watched
  m_context->maxTemplateVars = std::numeric_limits<int>::max(); // ours comes first, with a better message
  WatchFunctions(m_context.get());
  xsltSetCtxtSortFunc(m_context.get(), SortWatched);
  // Byte by byte, with what is between the fields.
  std::memcpy(static_cast<void*>(&m_new->context), m_context.get(), sizeof m_new->context);
  std::memcpy(static_cast<void*>(&m_new->xpath), m_context->xpathCtxt, sizeof m_new->xpath);
  m_new->context.document = nullptr;
  m_new->context.docList = nullptr;
  m_new->xpath.doc = nullptr;
  return true;
}

// What libxslt does with the document that a context is made for.
bool XMLTransformation::BindContext(xmlDocPtr document) {
  xsltDocumentPtr entry = xsltNewDocument(m_context.get(), document);
  if (entry == nullptr) {
    return false;
  }
  entry->main = 1;
  m_context->document = entry;
  m_context->xpathCtxt->doc = document;
  return true;
}

bool XMLTransformation::IsAsNew() const {
  return std::memcmp(m_context.get(), &m_new->context, sizeof m_new->context) == 0 &&
         std::memcmp(m_context->xpathCtxt, &m_new->xpath, sizeof m_new->xpath) == 0;
}

// False when something of the document may be left.
bool XMLTransformation::CleanContext() {
  xsltTransformContext& context = *m_context;
  if (!AreKnownLibraries() || xmlDictGetUsage(context.dict) > kMaxDictionaryBytes) {
    return false;
  }
  FreeWhatDocumentLeft(context);
  ResetFields(context, m_new->context);
  ResetFields(*context.xpathCtxt, m_new->xpath);
  CopyStacks(m_new->context, context);
  return IsAsNew();
}

xsltTransformContextPtr XMLTransformation::Prepare(XMLSession& session, xmlDocPtr document,
                                                   const XSLTParameters& parameters) {
  if (m_context == nullptr ? !MakeContext(session, document) : !BindContext(document)) {
    session.Fail("out of memory");
    return nullptr;
  }
  const XMLLimits& limits = session.Limits();
  xsltSetTransformErrorFunc(m_context.get(), &session, OnTransformationError);
  m_context->maxTemplateDepth = limits.maxTemplateDepth + 1; // ours comes first, with a better message
  m_context->opLimit = limits.maxOperations;
  m_context->xpathCtxt->opLimit = limits.maxOperations;
  LimitExpressionDepth(session, *m_context->xpathCtxt);
  for (const auto& [name, value] : parameters) {
    if (xsltQuoteOneUserParam(m_context.get(), XMLText(name.c_str()), XMLText(value.c_str())) != 0) {
      session.Fail("a parameter cannot be set");
      return nullptr;
    }
  }
  return m_context.get();
}

// Below this size no document has too many nodes beside each other.
constexpr std::size_t kBytesOfSmallDocument = std::size_t{16} << 10;

void XMLTransformation::CheckDocument(XMLSession& session, const xmlDoc& document) {
  const auto& top = reinterpret_cast<const xmlNode&>(document);
  const bool isSmall = session.readBytes <= kBytesOfSmallDocument;
  session.patterns = &m_patterns;
  if (!isSmall || m_patterns.MayTakeLong(session)) {
    m_patterns.CheckTree(session, top);
  }
  if (!isSmall) {
    CheckOrder(session, top);
  }
}

XMLDocument XMLTransformation::Apply(XMLSession& session, xmlDocPtr document,
                                     const XSLTParameters& parameters) {
  // Given back at the end, when nothing went wrong.
  XSLTContext context;
  const xsltTransformContextPtr transformation = Prepare(session, document, parameters);
  context = std::move(m_context);
  if (transformation == nullptr || session.HasFailed()) {
    return nullptr;
  }
  session.SetEmptyStylesheet(&m_empty);
  session.SetTransformation(transformation);
  CheckDocument(session, *document);
  XMLDocument result(session.HasFailed() ? nullptr
                                         : xsltApplyStylesheetUser(m_stylesheet, document, nullptr, nullptr,
                                                                   nullptr, transformation));
  session.SetTransformation(nullptr);
  session.AllowNumber();
  DropCollections(session);
  transformation->style = m_stylesheet;
  if (session.HasFailed()) {
    return nullptr;
  }
  // A document that comes with an error is no result.
  if (result == nullptr || context->state != XSLT_STATE_OK || session.HasExpressionError()) {
    if (session.Message().empty()) {
      session.Fail("the stylesheet cannot be applied");
    }
    return nullptr;
  }
  m_context = std::move(context);
  if (!CleanContext()) {
    m_context.reset();
  }
  return result;
}

} // namespace zep
