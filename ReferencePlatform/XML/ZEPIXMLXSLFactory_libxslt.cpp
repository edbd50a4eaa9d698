#include "ZEPIXMLXSLFactory.h"

#include "ZEPComponent.h"
#include "ZEPHResult.h"
#include "ZEPXMLCreation.h"
#include "ZEPXMLDocument_libxml2.h"
#include "ZEPXMLExpressionPlaces_libxslt.h"
#include "ZEPXMLFunctions_libxslt.h"
#include "ZEPXMLInputSource.h"
#include "ZEPXMLResult.h"
#include "ZEPXMLSession_libxslt.h"
#include "ZEPXMLStylesheet_libxslt.h"

#include <libxml/encoding.h>

#include <libxslt/imports.h>
#include <libxslt/xsltutils.h>

#include <memory>
#include <optional>
#include <string>
#include <utility>

namespace {

long Failed(const zep::XMLInputSource& source, const std::string& message) {
  const std::string what = (source.IsFile() ? source.Content() : source.SourceId()).CastToCharPtr();
  ZEPSetLastError(E_FAIL, what + ": " + (message.empty() ? "it is not a stylesheet" : message));
  return E_FAIL;
}

bool IsKnownEncoding(const char* name) {
  xmlCharEncodingHandlerPtr handler = xmlFindCharEncodingHandler(name);
  if (handler == nullptr) {
    return false;
  }
  xmlCharEncCloseFunc(handler);
  return true;
}

// libxslt would fall back to another encoding without a word.
bool NamesUnknownEncoding(xsltStylesheetPtr stylesheet, std::string& message) {
  const xmlChar* encoding = nullptr;
  XSLT_GET_IMPORT_PTR(encoding, stylesheet, encoding)
  if (encoding == nullptr || IsKnownEncoding(reinterpret_cast<const char*>(encoding))) {
    return false;
  }
  message = "the encoding '" + std::string(reinterpret_cast<const char*>(encoding)) + "' is not known";
  return true;
}

// Null on failure, with the reason.
zep::XSLTStylesheet Compiled(zep::XMLSession& session, const zep::StylesheetText& text,
                             std::string& message) {
  zep::XMLDocument document = zep::ParseStylesheet(session, text);
  zep::XSLTStylesheet stylesheet(document == nullptr ? nullptr : xsltNewStylesheet());
  if (stylesheet != nullptr) {
    zep::LimitExpressionDepth(session, *stylesheet->xpathCtxt);
  }
  if (stylesheet != nullptr && xsltParseStylesheetUser(stylesheet.get(), document.get()) == 0) {
    static_cast<void>(document.release()); // belongs to the stylesheet now
    if (!zep::ReplaceOperatorsOfKeys(stylesheet.get())) {
      session.Fail("the pattern of a key cannot be compiled");
    }
    if (!session.HasFailed() && !NamesUnknownEncoding(stylesheet.get(), message)) {
      return stylesheet;
    }
  }
  if (message.empty()) {
    message = session.Message();
  }
  return nullptr;
}

class XSLFactory final : public ZEPComponent<ZEPIXMLXSLFactory> {
public:
  long CreateTransformer(const ZEPISAXInputSource_var& iStylesheet,
                         ZEPIXMLXSLTransformer_var& oTransformer) override {
    oTransformer = nullptr;
    return zep::XMLResult([&] { return Create(iStylesheet, oTransformer); });
  }

private:
  static long Create(const ZEPISAXInputSource_var& iStylesheet, ZEPIXMLXSLTransformer_var& oTransformer) {
    const zep::XMLInputSource* const source = zep::SourceOf(iStylesheet);
    if (source == nullptr) {
      ZEPSetLastError(E_INVALIDARG, "there is no stylesheet source");
      return E_INVALIDARG;
    }
    zep::XMLSession session(zep::CurrentXMLLimits());
    std::optional<zep::StylesheetText> text = zep::LoadStylesheet(session, *source);
    if (!text) {
      return Failed(*source, session.Message());
    }
    zep::PreparedStylesheetPtr prepared = zep::TakePrepared(*text, session.Limits());
    if (prepared == nullptr) {
      std::string message;
      zep::XSLTStylesheet stylesheet = Compiled(session, *text, message);
      if (stylesheet == nullptr) {
        return Failed(*source, message);
      }
      prepared = std::make_unique<zep::PreparedStylesheet>(std::move(stylesheet), session.Limits(),
                                                           std::move(*text), std::move(session.included));
      if (session.HasFailed()) {
        return Failed(*source, session.Message());
      }
    }
    oTransformer = zep::MakeTransformer(std::move(prepared));
    return S_OK;
  }
};

} // namespace

long CreateZEPIXMLXSLFactory(ZEPIXMLXSLFactory_var& oFactory, const GUID& iClassId) {
  return zep::CreateOfClass<XSLFactory>(oFactory, iClassId, CLSID_XSLT_JAVA);
}
