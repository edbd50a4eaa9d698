#include "Commands.h"

#include "Failure.h"
#include "FormatFailure.h"
#include "FormatSequence.h"
#include "Input.h"
#include "Output.h"
#include "Text.h"
#include "TextResult.h"
#include "TraceCollector.h"
#include "ZEPCfgXMLExpressionServices.h"
#include "ZEPHResult.h"
#include "ZEPUnicodeString.h"

namespace zep::cli {
namespace {

void formatOne(const FormatOptions& options, const std::string& file) {
  const char operation[] = "FormatExpression";
  const ZEPUnicodeString expression = readXML(file);
  const std::string input = inputName(file);

  const TraceCollector trace;
  ZEPUnicodeString formatted = untouched();
  const long result = ZEPCfgXMLExpressionServices::FormatExpression(
      expression, formatted, fromUTF8(options.stylesheet.value_or("")), options.compact ? 1 : 0);
  requireServerStylesheet(trace, input, operation);
  if (ZEPFailed(result)) {
    failFormatting(trace, input, operation, result);
  }
  if (expression.IsEmpty()) {
    writeNote("zepcfg: " + withoutControls(input) + " is empty: there is nothing to format\n");
    formatted.Reset();
  } else if (formatted == untouched()) {
    failWithNothingFormatted(trace, input, operation, result);
  }
  deliverText(result, formatted, options.output);
}

} // namespace

int runFormat(const FormatOptions& options) {
  if (options.stylesheet) {
    requireStylesheet(*options.stylesheet,
                      "without --stylesheet the server's, the setting's or the installed stylesheet is used");
  }
  if (options.stream.isWanted) {
    return formatLines(options);
  }
  if (options.batch) {
    formatBatch(options);
  } else if (options.files.size() > 1) {
    formatFiles(options);
  } else {
    formatOne(options, options.files.empty() ? "-" : options.files.front());
  }
  return exitDone;
}

} // namespace zep::cli
