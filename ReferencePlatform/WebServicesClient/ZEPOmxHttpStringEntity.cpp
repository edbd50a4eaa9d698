#include "ZEPOmxHttpStringEntity.h"

#include "ZEPHttpBytesEntity.h"
#include "ZEPOmxHttpRequestData.h"

ZEPOmxSP<ZEPOmxHttpStringEntity> ZEPOmxHttpStringEntity::Create(const ZEPUnicodeString& iText) {
  return zep::CreateOmx<zep::HttpBytesEntity<ZEPOmxHttpStringEntity>>(
      std::make_shared<const std::string>(zep::ToUtf8(iText)));
}
