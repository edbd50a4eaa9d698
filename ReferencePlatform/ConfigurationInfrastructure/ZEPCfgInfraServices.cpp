#include "ZEPCfgInfraServices.h"

#include "QRLSysTSGetArg.h"
#include "ZEPEnvironment.h"
#include "ZEPHResult.h"
#include "ZEPUnicodeString.h"

#include <string_view>

long ZEPCfgInfraServices::GetCurrentContext(ZEPUnicodeString& oContext) {
  oContext = ZEPUnicodeString(ZEPGetEnv("ZEP_CONTEXT"));
  return S_OK;
}

unsigned char ZEPCfgInfraServices::GetBranchingVar() {
  const char* value = ZEPGetEnv("ZEP_BRANCHING");
  return value != nullptr && std::string_view(value) == "1" ? 1 : 0;
}

// Without a server there is nobody to ask for a stylesheet.
bool ZEPCfgInfraServices::IsATSTProvider() {
  int kind = 0;
  int rank = 0;
  ZEPUnicodeString url;
  return ZEPFailed(QRLSysTSGetArg("Url", kind, rank, url)) || url.IsEmpty();
}
