#include "ZEPOmxHttpPost.h"

#include "ZEPOmxCreation.h"
#include "ZEPOmxHttpRequestData.h"

ZEPOmxSP<ZEPOmxHttpPost> ZEPOmxHttpPost::Create(const ZEPUnicodeString& iUrl) {
  return zep::CreateOrNull<zep::HttpObjectEntityRequest<ZEPOmxHttpPost>>("POST", iUrl);
}
