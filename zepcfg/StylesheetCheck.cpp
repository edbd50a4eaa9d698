#include "StylesheetCheck.h"

#include "Input.h"
#include "Text.h"
#include "TraceCollector.h"
#include "ZEPCfgXMLExpressionServices.h"
#include "ZEPHResult.h"
#include "ZEPUnicodeString.h"

#include <algorithm>

namespace zep::cli {
namespace {

bool isAnyRefused(const std::vector<Finding>& findings) {
  return std::any_of(findings.begin(), findings.end(),
                     [](const Finding& finding) { return finding.isRefused; });
}

bool isCompiled(const std::vector<std::string>& errors) {
  return std::none_of(errors.begin(), errors.end(),
                      [](const std::string& error) { return startsWith(error, "ERROR: "); });
}

// Formats next to nothing with the stylesheet, as `format` would. That a stylesheet ends with a
// message of its own is its right; errors at work are not.
void apply(const std::string& file, std::vector<Finding>& findings) {
  const TraceCollector trace;
  ZEPUnicodeString formatted;
  const long result = ZEPCfgXMLExpressionServices::FormatExpression("<none/>", formatted, fromUTF8(file), 0);
  if (ZEPSucceeded(result)) {
    return;
  }
  if (!isCompiled(trace.errors())) {
    findings.insert(findings.begin(),
                    {0, "it does not compile: " + trace.message(), "correct the stylesheet", true});
  } else if (contains(trace.message(), "runtime error")) {
    findings.push_back({0, "it fails at work: " + trace.message(), "correct the stylesheet"});
  }
}

} // namespace

StylesheetReport checkStylesheetFile(const std::string& file) {
  requireStylesheet(file);
  const std::string bytes = readInput(pathAsFound(file));
  const bool isUTF8 = ZEPCfgXMLExpressionServices::IsEncodingUTF16(fromUTF8(file)) == S_FALSE;
  StylesheetReport report{isUTF8 ? Decoding::UTF8 : Decoding::UTF16, {}};
  report.findings = scanStylesheet(bytes, file, report.decodedAs);
  if (!isAnyRefused(report.findings)) {
    apply(file, report.findings);
  }
  return report;
}

StylesheetReport checkServerStylesheet(const std::string& text) {
  return {Decoding::UTF16, scanStylesheet(text, "", Decoding::UTF16)};
}

nlohmann::ordered_json findingsAsJSON(const std::vector<Finding>& findings) {
  nlohmann::ordered_json list = nlohmann::ordered_json::array();
  for (const Finding& finding : findings) {
    list.push_back({{"line", finding.line}, {"text", finding.text}, {"remedy", finding.remedy}});
  }
  return list;
}

std::string findingInWords(const Finding& finding) {
  return (finding.line == 0 ? "" : "line " + std::to_string(finding.line) + ": ") + finding.text;
}

} // namespace zep::cli
