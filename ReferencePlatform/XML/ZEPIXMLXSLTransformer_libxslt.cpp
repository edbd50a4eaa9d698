#include "ZEPIXMLXSLTransformer.h"

#include "ZEPComponent.h"
#include "ZEPHResult.h"
#include "ZEPLastError.h"
#include "ZEPUTF8Conversion.h"
#include "ZEPXMLDocument_libxml2.h"
#include "ZEPXMLFunctions_libxslt.h"
#include "ZEPXMLInputSource.h"
#include "ZEPXMLOutput.h"
#include "ZEPXMLSession_libxslt.h"
#include "ZEPXMLStylesheet_libxslt.h"
#include "ZEPXMLXSLTransformerOptions.h"

#include <cstdarg>
#include <cstring>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <strings.h>
#include <utility>

#include <libxml/encoding.h>
#include <libxml/xmlIO.h>
#include <libxslt/imports.h>
#include <libxslt/security.h>
#include <libxslt/transform.h>
#include <libxslt/variables.h>
#include <libxslt/xsltutils.h>

namespace zep {
namespace {

struct TransformationDeleter {
  void operator()(xsltTransformContextPtr transformation) const { xsltFreeTransformContext(transformation); }
};
using Transformation = std::unique_ptr<xsltTransformContext, TransformationDeleter>;

struct SecurityDeleter {
  void operator()(xsltSecurityPrefsPtr preferences) const { xsltFreeSecurityPrefs(preferences); }
};
using Security = std::unique_ptr<xsltSecurityPrefs, SecurityDeleter>;

struct OutputBufferDeleter {
  void operator()(xmlOutputBufferPtr buffer) const { xmlOutputBufferClose(buffer); }
};
using OutputBuffer = std::unique_ptr<xmlOutputBuffer, OutputBufferDeleter>;

const char* Text(const xmlChar* text) {
  return reinterpret_cast<const char*>(text);
}

const xmlChar* XMLText(const char* text) {
  return reinterpret_cast<const xmlChar*>(text);
}

void OnTransformError(void* session, const char* format, ...) {
  std::va_list arguments;
  va_start(arguments, format);
  static_cast<XMLSession*>(session)->AddMessage(format, arguments);
  va_end(arguments);
}

Security ForbidEverything() {
  Security preferences(xsltNewSecurityPrefs());
  if (preferences != nullptr) {
    for (const xsltSecurityOption option :
         {XSLT_SECPREF_READ_FILE, XSLT_SECPREF_WRITE_FILE, XSLT_SECPREF_CREATE_DIRECTORY,
          XSLT_SECPREF_READ_NETWORK, XSLT_SECPREF_WRITE_NETWORK}) {
      xsltSetSecurityPrefs(preferences.get(), option, xsltSecurityForbid);
    }
  }
  return preferences;
}

// ---- the result as bytes -----------------------------------------------------------------------

// A stylesheet that names no encoding is given out as UTF-16.
constexpr char kDefaultEncoding[] = "UTF-16";

bool IsUTF8(const char* encoding) {
  return strcasecmp(encoding, "UTF-8") == 0;
}

const char* EncodingOf(xsltStylesheetPtr stylesheet) {
  const xmlChar* encoding = nullptr;
  XSLT_GET_IMPORT_PTR(encoding, stylesheet, encoding)
  return encoding == nullptr ? kDefaultEncoding : Text(encoding);
}

const xmlNode* NextNode(const xmlNode* node) {
  if (node->children != nullptr && node->type != XML_ENTITY_REF_NODE) {
    return node->children;
  }
  while (node != nullptr && node->next == nullptr) {
    node = node->parent;
    if (node == nullptr || node->type == XML_DOCUMENT_NODE || node->type == XML_HTML_DOCUMENT_NODE) {
      return nullptr;
    }
  }
  return node == nullptr ? nullptr : node->next;
}

std::string TextOf(const xmlDoc& document) {
  std::string text;
  for (const xmlNode* node = document.children; node != nullptr; node = NextNode(node)) {
    if (node->type == XML_TEXT_NODE && node->content != nullptr) {
      text += Text(node->content);
    }
  }
  return text;
}

// In another encoding than UTF-8; an empty text has no byte-order mark either. Characters that the
// encoding lacks are written as character references, as the XSLT processor does everywhere.
std::optional<std::string> Encoded(const std::string& utf8, const char* encoding) {
  if (utf8.empty()) {
    return utf8;
  }
  const OutputBuffer buffer(xmlAllocOutputBuffer(xmlFindCharEncodingHandler(encoding)));
  if (buffer == nullptr ||
      xmlOutputBufferWrite(buffer.get(), static_cast<int>(utf8.size()), utf8.data()) < 0 ||
      xmlOutputBufferFlush(buffer.get()) < 0 || buffer->error != 0) {
    return std::nullopt;
  }
  xmlBufPtr bytes = buffer->conv != nullptr ? buffer->conv : buffer->buffer;
  return std::string(Text(xmlBufContent(bytes)), xmlBufUse(bytes));
}

std::optional<std::string> BytesAsText(const xmlDoc& result, const char* encoding) {
  std::string text = TextOf(result);
  return IsUTF8(encoding) ? std::optional<std::string>(std::move(text)) : Encoded(text, encoding);
}

// In the stylesheet's own output method.
std::optional<std::string> BytesAsWritten(xmlDocPtr result, xsltStylesheetPtr stylesheet,
                                          const char* encoding) {
  const OutputBuffer buffer(
      xmlAllocOutputBuffer(IsUTF8(encoding) ? nullptr : xmlFindCharEncodingHandler(encoding)));
  if (buffer == nullptr || xsltSaveResultTo(buffer.get(), result, stylesheet) < 0 ||
      xmlOutputBufferFlush(buffer.get()) < 0) {
    return std::nullopt;
  }
  xmlBufPtr bytes = buffer->conv != nullptr ? buffer->conv : buffer->buffer;
  return std::string(Text(xmlBufContent(bytes)), xmlBufUse(bytes));
}

// ---- the transformer ---------------------------------------------------------------------------

class Transformer final : public ZEPComponent<ZEPIXMLXSLTransformer> {
public:
  explicit Transformer(XSLTStylesheet stylesheet) : m_stylesheet(std::move(stylesheet)) {}

  long SetInputSource(const ZEPISAXInputSource_var& iSource) override {
    m_input = iSource;
    return S_OK;
  }
  long SetOption(const ZEPUnicodeString& iOption, const ZEPUnicodeString& iValue) override {
    if (!(iOption == ZEPXMLXSLTransformerOptions::OutputFormat) || !(iValue == "text")) {
      return Failed(E_INVALIDARG, "the option or its value is not known");
    }
    m_isTextOutput = true;
    return S_OK;
  }
  long SetOutputSource(const ZEPIXMLPPOutputSource_var& iSource) override {
    m_output = iSource;
    return S_OK;
  }
  long SetParameter(const ZEPUnicodeString& iName, const ZEPUnicodeString& iNamespace,
                    const ZEPUnicodeString& iValue) override {
    const std::string name = iName.ConvertToChar();
    if (name.empty()) {
      return Failed(E_INVALIDARG, "a parameter has to have a name");
    }
    m_parameters[iNamespace.IsEmpty() ? name : "{" + std::string(iNamespace.ConvertToChar()) + "}" + name] =
        iValue.ConvertToChar();
    return S_OK;
  }

  long Transform() override {
    const XMLInputSource* const source = SourceOf(m_input);
    XMLOutputSource* const output = SourceOf(m_output);
    if (source == nullptr || output == nullptr) {
      return Failed(E_FAIL, source == nullptr ? "there is no input source" : "there is no output source");
    }
    XMLSession session(CurrentXMLLimits());
    const XMLDocument document = ParseExpression(session, *source);
    if (document == nullptr) {
      return Failed(E_FAIL, std::string(source->SourceId().ConvertToChar()) + ": " + session.Message());
    }
    std::optional<std::string> bytes = Apply(session, document.get());
    if (!bytes) {
      const std::string message = session.Message();
      return Failed(E_FAIL, message.empty() ? "the result cannot be written in its encoding" : message);
    }
    return output->Deliver(std::move(*bytes)) ? S_OK : Failed(E_FAIL, "the output buffer is gone");
  }

private:
  static long Failed(long code, const std::string& message) {
    ZEPSetLastError(code, message);
    return code;
  }

  Transformation Prepare(XMLSession& session, xmlDocPtr document, xsltSecurityPrefsPtr security) const {
    Transformation transformation(xsltNewTransformContext(m_stylesheet.get(), document));
    if (transformation == nullptr || security == nullptr ||
        xsltSetCtxtSecurityPrefs(security, transformation.get()) != 0) {
      session.Fail("out of memory");
      return nullptr;
    }
    const XMLLimits& limits = session.Limits();
    xsltSetTransformErrorFunc(transformation.get(), &session, OnTransformError);
    transformation->maxTemplateDepth = limits.maxTemplateDepth;
    transformation->opLimit = limits.maxOperations;
    transformation->xpathCtxt->opLimit = limits.maxOperations;
    transformation->debugStatus = XSLT_DEBUG_RUN; // has each instruction watched
    WatchFunctions(transformation.get());
    for (const auto& [name, value] : m_parameters) {
      if (xsltQuoteOneUserParam(transformation.get(), XMLText(name.c_str()), XMLText(value.c_str())) != 0) {
        session.Fail("a parameter cannot be set");
        return nullptr;
      }
    }
    return transformation;
  }

  // A document that comes with an error is no result.
  std::optional<std::string> Apply(XMLSession& session, xmlDocPtr document) const {
    const Security security = ForbidEverything();
    const Transformation transformation = Prepare(session, document, security.get());
    if (transformation == nullptr) {
      return std::nullopt;
    }
    session.SetTransformation(transformation.get());
    const XMLDocument result(xsltApplyStylesheetUser(m_stylesheet.get(), document, nullptr, nullptr, nullptr,
                                                     transformation.get()));
    session.SetTransformation(nullptr);
    if (session.HasFailed()) {
      return std::nullopt;
    }
    if (result == nullptr || transformation->state != XSLT_STATE_OK) {
      if (session.Message().empty()) {
        session.Fail("the stylesheet cannot be applied");
      }
      return std::nullopt;
    }
    const char* const encoding = EncodingOf(m_stylesheet.get());
    return m_isTextOutput ? BytesAsText(*result, encoding)
                          : BytesAsWritten(result.get(), m_stylesheet.get(), encoding);
  }

  XSLTStylesheet m_stylesheet;
  ZEPISAXInputSource_var m_input;
  ZEPIXMLPPOutputSource_var m_output;
  std::map<std::string, std::string> m_parameters;
  bool m_isTextOutput = false;
};

} // namespace

ZEPIXMLXSLTransformer_var MakeTransformer(XSLTStylesheet stylesheet) {
  return ZEPIXMLXSLTransformer_var(new Transformer(std::move(stylesheet)));
}

} // namespace zep
