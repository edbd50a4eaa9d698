// Splits an expression into its contexts and prints each without its description.
//
//   split_and_strip EXPRESSION

#include "Example.h"
#include "ZEPCfgContextExpression.h"
#include "ZEPCfgXMLExpressionServices.h"
#include "ZEPHResult.h"
#include "ZEPListValZEPCfgContextExpression.h"

namespace {

void describe(const ZEPCfgContextExpression& context) {
  std::cout << context.m_contextName << ": " << context.m_inheritedEffIds.Size() << " inherited, "
            << context.m_operationHandlerIds.Size() << " changed\n";
}

} // namespace

int main(int argc, char** argv) {
  if (argc != 2) {
    return showUsage("split_and_strip EXPRESSION");
  }
  ZEPListValZEPCfgContextExpression contexts;
  long result = ZEPCfgXMLExpressionServices::SplitByContext(fromUTF8(readFile(argv[1])), contexts);
  if (ZEPFailed(result)) {
    return fail("SplitByContext", result);
  }

  // Positions in a list begin with 1. The list owns its elements.
  for (int i = 1; i <= contexts.Size(); ++i) {
    describe(contexts[i]);
    ZEPUnicodeString stripped;
    result = ZEPCfgXMLExpressionServices::RemoveDescription(contexts[i].m_contextExpression, stripped);
    if (ZEPFailed(result)) {
      return fail("RemoveDescription", result);
    }
    std::cout << stripped << "\n";
  }
  return 0;
}
