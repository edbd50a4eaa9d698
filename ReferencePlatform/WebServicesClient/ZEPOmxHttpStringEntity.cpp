#include "ZEPOmxHttpStringEntity.h"

#include "ZEPHttpBytesEntity.h"
#include "ZEPOmxHttpRequestData.h"

#include <new>

ZEPOmxSP<ZEPOmxHttpStringEntity> ZEPOmxHttpStringEntity::Create(const ZEPUnicodeString& iText) {
  try {
    return zep::CreateOrNull<zep::HttpBytesEntity<ZEPOmxHttpStringEntity>>(
        std::make_shared<const std::string>(zep::ToUtf8(iText)));
  } catch (const std::bad_alloc&) {
    return nullptr;
  }
}
