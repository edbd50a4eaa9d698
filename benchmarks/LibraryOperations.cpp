#include "LibraryOperations.h"

#include "Bench.h"

#include "ZEPCfgXMLExpressionServices.h"
#include "ZEPHResult.h"
#include "ZEPListValZEPCfgContextExpression.h"

namespace {

void require(long result) {
  bench::require(result == S_OK, "an operation failed");
}

void startFormatting(const char* stylesheet) {
  require(ZEPCfgXMLExpressionServices::StartExpressionFormatting(stylesheet));
}

void format(const ZEPUnicodeString& expression, ZEPUnicodeString& text) {
  require(ZEPCfgXMLExpressionServices::ExpressionFormatting(expression, text, 0));
}

void endFormatting() {
  require(ZEPCfgXMLExpressionServices::EndExpressionFormatting());
}

void removeDescription(const ZEPUnicodeString& expression, ZEPUnicodeString& cleaned) {
  require(ZEPCfgXMLExpressionServices::RemoveDescription(expression, cleaned));
}

int split(const ZEPUnicodeString& expression) {
  ZEPListValZEPCfgContextExpression contexts;
  require(ZEPCfgXMLExpressionServices::SplitByContext(expression, contexts));
  return contexts.Size();
}

} // namespace

const LibraryOperations ZEP_LIBRARY = {startFormatting, format, endFormatting, removeDescription, split};
