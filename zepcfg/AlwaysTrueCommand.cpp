#include "Commands.h"

#include "Failure.h"
#include "Remedy.h"
#include "Text.h"
#include "TextResult.h"
#include "TraceCollector.h"
#include "ZEPCfgXMLExpressionServices.h"
#include "ZEPHResult.h"
#include "ZEPUnicodeString.h"

#include <utility>

namespace zep::cli {

int runAlwaysTrue(const AlwaysTrueOptions& options) {
  const TraceCollector trace;
  ZEPUnicodeString expression;
  const long result =
      ZEPCfgXMLExpressionServices::GenerateFilterExpressionTrue(fromUTF8(options.model), expression);
  if (ZEPFailed(result)) {
    Failure failure =
        describeFailure(trace, "'" + options.model + "'", "GenerateFilterExpressionTrue", result);
    failure.remedy = "name the model with characters that XML can hold: no control characters";
    throw CommandFailure(std::move(failure));
  }
  deliverText(result, expression, options.output);
  return exitDone;
}

} // namespace zep::cli
