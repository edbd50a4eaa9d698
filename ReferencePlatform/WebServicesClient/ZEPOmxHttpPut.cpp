#include "ZEPOmxHttpPut.h"

#include "ZEPOmxCreation.h"
#include "ZEPOmxHttpRequestData.h"

ZEPOmxSP<ZEPOmxHttpPut> ZEPOmxHttpPut::Create(const ZEPUnicodeString& iUrl) {
  return zep::CreateOmx<zep::HttpObjectEntityRequest<ZEPOmxHttpPut>>("PUT", iUrl);
}
