#include "Commands.h"

#include "Failure.h"
#include "Input.h"
#include "LineStream.h"
#include "Remedy.h"
#include "Text.h"
#include "TextResult.h"
#include "TraceCollector.h"
#include "ZEPCfgXMLExpressionServices.h"
#include "ZEPHResult.h"
#include "ZEPUnicodeString.h"

#include <utility>

namespace zep::cli {
namespace {

// Stripping again, with an ear on the trace, costs those alone that fail.
[[noreturn]] void failStripping(const ZEPUnicodeString& expression, const std::string& input) {
  const TraceCollector trace;
  ZEPUnicodeString stripped;
  const long result = ZEPCfgXMLExpressionServices::RemoveDescription(expression, stripped);
  Failure failure = describeFailure(trace, input, "RemoveDescription", result);
  failure.members["text"] = "";
  throw CommandFailure(std::move(failure));
}

long strip(const ZEPUnicodeString& expression, const std::string& input, ZEPUnicodeString& stripped) {
  const long result = ZEPCfgXMLExpressionServices::RemoveDescription(expression, stripped);
  if (ZEPFailed(result)) {
    failStripping(expression, input);
  }
  return result;
}

nlohmann::ordered_json stripLine(const ZEPUnicodeString& expression) {
  ZEPUnicodeString stripped;
  nlohmann::ordered_json object = resultObject(strip(expression, lineExpression, stripped));
  object["text"] = toUTF8(stripped);
  return object;
}

} // namespace

int runStrip(const StripOptions& options) {
  if (options.stream.isWanted) {
    return runLineStream(options.file, options.stream.jobs, stripLine, options.output);
  }
  ZEPUnicodeString stripped;
  const long result = strip(readXML(options.file), inputName(options.file), stripped);
  deliverText(result, stripped, options.output);
  return exitDone;
}

} // namespace zep::cli
