#include "ZEPOmxHttpPut.h"

#include "ZEPOmxCreation.h"
#include "ZEPOmxHttpRequestData.h"

ZEPOmxSP<ZEPOmxHttpPut> ZEPOmxHttpPut::Create(const ZEPUnicodeString& iUrl) {
  return zep::CreateOrNull<zep::HttpObjectEntityRequest<ZEPOmxHttpPut>>("PUT", iUrl);
}
