#include "ZEPIXMLSAX2Factory.h"

#include "ZEPComponent.h"
#include "ZEPHResult.h"
#include "ZEPXMLCreation.h"
#include "ZEPXMLInputSource.h"

namespace {

class SAX2Factory final : public ZEPComponent<ZEPIXMLSAX2Factory> {
public:
  long CreateInputSourceFromFile(const ZEPUnicodeString& iPath, const ZEPUnicodeString& iSourceId,
                                 ZEPISAXInputSource_var& oSource) override {
    return Create(zep::XMLInputSource::Kind::File, iPath, iSourceId, oSource);
  }
  long CreateInputSourceFromMemoryBuffer(const ZEPUnicodeString& iText, const ZEPUnicodeString& iSourceId,
                                         ZEPISAXInputSource_var& oSource) override {
    return Create(zep::XMLInputSource::Kind::Memory, iText, iSourceId, oSource);
  }

private:
  static long Create(zep::XMLInputSource::Kind kind, const ZEPUnicodeString& content,
                     const ZEPUnicodeString& sourceId, ZEPISAXInputSource_var& source) {
    source = ZEPISAXInputSource_var(new zep::XMLInputSource(kind, content, sourceId));
    return S_OK;
  }
};

} // namespace

long CreateZEPIXMLSAX2Factory(ZEPIXMLSAX2Factory_var& oFactory, const GUID& iClassId) {
  return zep::CreateOfClass<SAX2Factory>(oFactory, iClassId, CLSID_XML4C_SAX);
}
