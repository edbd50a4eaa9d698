#include "QRLSysTSGetArg.h"

#include "ZEPEnvironment.h"
#include "ZEPHResult.h"
#include "ZEPUnicodeString.h"

#include <string_view>

namespace {

std::string_view WithoutTrailingWhiteSpace(std::string_view text) {
  return text.substr(0, text.find_last_not_of(" \t\r\n\v\f") + 1);
}

} // namespace

long QRLSysTSGetArg(const char* iName, int& oKind, int& oRank, ZEPUnicodeString& oValue) {
  if (iName == nullptr || std::string_view(iName) != "Url") {
    return E_INVALIDARG;
  }
  const char* url = ZEPGetEnv("ZEP_URL");
  const std::string_view value = WithoutTrailingWhiteSpace(url != nullptr ? url : "");
  oKind = 0;
  oRank = 0;
  oValue.BuildFromUTF8(value.data(), value.size());
  return S_OK;
}
