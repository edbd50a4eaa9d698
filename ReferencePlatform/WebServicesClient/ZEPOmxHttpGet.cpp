#include "ZEPOmxHttpGet.h"

#include "ZEPOmxCreation.h"
#include "ZEPOmxHttpRequestData.h"

ZEPOmxSP<ZEPOmxHttpGet> ZEPOmxHttpGet::Create(const ZEPUnicodeString& iUrl) {
  return zep::CreateOmx<zep::HttpObjectRequest<ZEPOmxHttpGet>>("GET", iUrl);
}
