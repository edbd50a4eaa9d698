#include "ZEPCfgConstantsConversion.h"
#include "ZEPCfgXMLExpressionServices.h"
#include "ZEPHResult.h"
#include "ZEPUnicodeString.h"

#include <cstdio>

int main() {
  const ZEPUnicodeString expression(
      "<E><Description>gone</Description><Context DescId=\"1\" Name=\"kept\"/></E>");
  ZEPUnicodeString stripped;
  const long result = ZEPCfgXMLExpressionServices::RemoveDescription(expression, stripped);
  if (result != S_OK) {
    return 2;
  }
  std::puts(stripped.CastToCharPtr());
  return ZEPCfgConstantsConversion::ApplyingView(ZEPCfgEffectivityViewCurrent) == PLMCfgExpressionViewCurrent
             ? 0
             : 1;
}
