#include "ZEPCfgBasicInfraServices.h"

#include "ZEPHResult.h"
#include "ZEPLastError.h"
#include "ZEPPLMIDText.h"
#include "ZEPUnicodeString.h"

#include <string>

namespace {

ZEPUnicodeString Text(const std::u16string& part) {
  return {part.data(), part.size()};
}

} // namespace

long ZEPCfgBasicInfraServices::GetLogicalID(const ZEPPLMID& iId, ZEPUnicodeString& oText) {
  const auto parts = zep::PartsOf(iId);
  if (!parts) {
    return E_INVALIDARG;
  }
  if (parts->logicalId.empty()) {
    ZEPSetLastError(E_FAIL, "the object has no logical identifier");
    return E_FAIL;
  }
  oText = Text(parts->logicalId);
  return S_OK;
}

long ZEPCfgBasicInfraServices::GetPhysicalID(const ZEPPLMID& iId, ZEPUnicodeString& oText) {
  const auto parts = zep::PartsOf(iId);
  if (!parts) {
    return E_INVALIDARG;
  }
  oText = Text(parts->physicalId);
  return S_OK;
}
