#include "ZEPIXMLXSLFactory.h"

#include "ZEPComponent.h"
#include "ZEPHResult.h"
#include "ZEPXMLCreation.h"
#include "ZEPXMLDocument_libxml2.h"
#include "ZEPXMLInputSource.h"
#include "ZEPXMLSession_libxslt.h"
#include "ZEPXMLStylesheet_libxslt.h"

#include <libxml/encoding.h>

#include <libxslt/imports.h>
#include <libxslt/xsltutils.h>

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

class XSLFactory final : public ZEPComponent<ZEPIXMLXSLFactory> {
public:
  long CreateTransformer(const ZEPISAXInputSource_var& iStylesheet,
                         ZEPIXMLXSLTransformer_var& oTransformer) override {
    oTransformer = nullptr;
    const zep::XMLInputSource* const source = zep::SourceOf(iStylesheet);
    if (source == nullptr) {
      ZEPSetLastError(E_INVALIDARG, "there is no stylesheet source");
      return E_INVALIDARG;
    }
    zep::XMLSession session(zep::CurrentXMLLimits());
    zep::XMLDocument document = zep::ParseStylesheet(session, *source);
    if (document == nullptr) {
      return Failed(*source, session.Message());
    }
    zep::XSLTStylesheet stylesheet(xsltParseStylesheetDoc(document.get()));
    if (stylesheet == nullptr) {
      return Failed(*source, session.Message());
    }
    static_cast<void>(document.release()); // belongs to the stylesheet now
    std::string message;
    if (session.HasFailed() || NamesUnknownEncoding(stylesheet.get(), message)) {
      return Failed(*source, session.HasFailed() ? session.Message() : message);
    }
    oTransformer = zep::MakeTransformer(std::move(stylesheet));
    return S_OK;
  }
};

} // namespace

long CreateZEPIXMLXSLFactory(ZEPIXMLXSLFactory_var& oFactory, const GUID& iClassId) {
  return zep::CreateOfClass<XSLFactory>(oFactory, iClassId, CLSID_XSLT_JAVA);
}
