#include "ZEPCfgDictionaryServices.h"

#include "ZEPHResult.h"
#include "ZEPLastError.h"
#include "ZEPPLMIDText.h"
#include "ZEPUnicodeString.h"

#include <string_view>

const char* const entity_ConfigurationFeature = "ConfigurationFeature";

long ZEPCfgDictionaryServices::IsPLMIDOfType(const ZEPPLMID& iId, const ZEPUnicodeString& iType,
                                             unsigned char iFlag, unsigned char& oIsOfType) {
  if (iFlag != 0) {
    ZEPSetLastError(E_INVALIDARG, "the dictionary knows no flag but 0");
    return E_INVALIDARG;
  }
  const auto parts = zep::PartsOf(iId);
  if (!parts) {
    return E_INVALIDARG;
  }
  // The whole text, which may hold NUL.
  const std::u16string_view type(iType.CastToUnitPtr(), static_cast<std::size_t>(iType.GetLengthInChar()));
  oIsOfType = parts->type == type ? 1 : 0;
  return S_OK;
}
