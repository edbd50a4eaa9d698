#include "FormatFailure.h"

#include "Failure.h"
#include "Input.h"
#include "Remedy.h"
#include "Server.h"
#include "StylesheetCandidates.h"
#include "Text.h"
#include "ZEPHResult.h"

#include <utility>

namespace zep::cli {
namespace {

const std::string inputSource = "inputSourceId1"; // the library's name for the expression

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

} // namespace

const ZEPUnicodeString& untouched() {
  static const ZEPUnicodeString text(u"\uFFFF", 1);
  return text;
}

void failFormatting(const TraceCollector& trace, const std::string& input, const std::string& operation,
                    long result) {
  Failure failure = describeFailure(trace, input, operation, result);
  nameSources(failure, pathAsFound(trace.stylesheetFile()));
  fail(std::move(failure));
}

bool hasStylesheet(const TraceCollector& trace) {
  return !trace.stylesheetFile().empty() || trace.serverSentStylesheet();
}

void failWithNothingFormatted(const TraceCollector& trace, const std::string& input,
                              const std::string& operation, long result) {
  if (hasStylesheet(trace)) {
    fail({input,
          operation,
          result,
          {"nothing was formatted"},
          trace.message(),
          "run it again with --trace to see what the library did"});
  }
  fail({input,
        operation,
        result,
        {"no stylesheet found"},
        "",
        "name one with --stylesheet FILE, or let ZEPInstallPath name a folder with "
        "resources/xsl/" +
            installedStylesheetName() + " (zepcfg stylesheet shows where was looked)"});
}

void requireServerStylesheet(const TraceCollector& trace, const std::string& input,
                             const std::string& operation) {
  const long fetched = trace.resultOf("GetConfigExpressionXSLT");
  if (ZEPFailed(fetched)) {
    fail(describeFetchFailure(trace, input, operation + " (GetConfigExpressionXSLT)", fetched));
  }
}

} // namespace zep::cli
