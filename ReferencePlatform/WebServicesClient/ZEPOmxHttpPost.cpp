#include "ZEPOmxHttpPost.h"

#include "ZEPOmxCreation.h"
#include "ZEPOmxHttpRequestData.h"

ZEPOmxSP<ZEPOmxHttpPost> ZEPOmxHttpPost::Create(const ZEPUnicodeString& iUrl) {
  return zep::CreateOmx<zep::HttpObjectEntityRequest<ZEPOmxHttpPost>>("POST", iUrl);
}
