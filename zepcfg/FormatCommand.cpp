#include "Commands.h"

#include "Failure.h"
#include "Input.h"
#include "Output.h"
#include "Remedy.h"
#include "Server.h"
#include "StylesheetCandidates.h"
#include "Text.h"
#include "TraceCollector.h"
#include "ZEPCfgXMLExpressionServices.h"
#include "ZEPHResult.h"
#include "ZEPUnicodeString.h"

#include <utility>

namespace zep::cli {
namespace {

const std::string inputSource = "inputSourceId1"; // the library's name for the expression

// No display text can be this one, since no XML text may hold that character: an output that still
// is it was never written.
const ZEPUnicodeString& untouched() {
  static const ZEPUnicodeString text(u"\uFFFF", 1);
  return text;
}

// What the platform calls its sources means nothing to a person.
void nameSources(Failure& failure, const std::string& stylesheet) {
  const bool isInput = contains(failure.message, inputSource);
  std::string message = replaceAll(failure.message, inputSource + ": " + inputSource, inputSource);
  message = replaceAll(message, inputSource, failure.input);
  failure.message = replaceAll(message, "xslSourceId1", "the server's stylesheet");
  failure.stylesheet = stylesheet;
  failure.server = stylesheet.empty() ? serverURL() : "";
  if (isInput) {
    failure.remedy = "correct the input: it has to be well-formed XML without a document type";
  } else if (contains(failure.remedy, "the stylesheet")) {
    failure.remedy += stylesheet.empty()
                          ? "; zepcfg stylesheet --print shows it"
                          : "; zepcfg stylesheet check " + inputName(stylesheet) + " tells more";
  }
}

[[noreturn]] void fail(Failure failure) {
  failure.members["text"] = "";
  throw CommandFailure(std::move(failure));
}

[[noreturn]] void failFormatting(const TraceCollector& trace, const std::string& input, long result) {
  Failure failure = describeFailure(trace, input, "FormatExpression", result);
  nameSources(failure, pathAsFound(trace.stylesheetFile()));
  fail(std::move(failure));
}

[[noreturn]] void failWithNothingFormatted(const TraceCollector& trace, const std::string& input,
                                           long result) {
  if (!trace.stylesheetFile().empty() || trace.serverSentStylesheet()) {
    fail({input,
          "FormatExpression",
          result,
          {"nothing was formatted"},
          trace.message(),
          "run it again with --trace to see what the library did"});
  }
  fail({input,
        "FormatExpression",
        result,
        {"no stylesheet found"},
        "",
        "name one with --stylesheet FILE, or let ZEPInstallPath name a folder with "
        "resources/xsl/" +
            installedStylesheetName() + " (zepcfg stylesheet shows where was looked)"});
}

// A server that was asked and failed is a failure here, although the library goes on to the next
// candidate: nobody who names a server wants the text of another stylesheet unawares.
void requireServerStylesheet(const TraceCollector& trace, const std::string& input) {
  const long fetched = trace.resultOf("GetConfigExpressionXSLT");
  if (ZEPFailed(fetched)) {
    fail(describeFetchFailure(trace, input, "FormatExpression (GetConfigExpressionXSLT)", fetched));
  }
}

void deliver(long result, const std::string& text, const OutputOptions& output) {
  if (!output.json) {
    writeResult(text, output.file);
    return;
  }
  nlohmann::ordered_json object = resultObject(result);
  object["text"] = text;
  writeJSON(object, output.file);
}

} // namespace

int runFormat(const FormatOptions& options) {
  if (options.stylesheet) {
    requireStylesheet(*options.stylesheet);
  }
  const ZEPUnicodeString expression = readXML(options.file);
  const std::string input = inputName(options.file);

  const TraceCollector trace;
  ZEPUnicodeString formatted = untouched();
  const long result = ZEPCfgXMLExpressionServices::FormatExpression(
      expression, formatted, fromUTF8(options.stylesheet.value_or("")), options.compact ? 1 : 0);
  requireServerStylesheet(trace, input);
  if (ZEPFailed(result)) {
    failFormatting(trace, input, result);
  }
  if (expression.IsEmpty()) {
    writeNote("zepcfg: " + withoutControls(input) + " is empty: there is nothing to format\n");
    formatted.Reset();
  } else if (formatted == untouched()) {
    failWithNothingFormatted(trace, input, result);
  }
  deliver(result, toUTF8(formatted), options.output);
  return exitDone;
}

} // namespace zep::cli
