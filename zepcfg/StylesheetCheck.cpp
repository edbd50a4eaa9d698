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

// Formats next to nothing with the stylesheet, as `format` would.
void compile(const std::string& file, std::vector<Finding>& findings) {
  const TraceCollector trace;
  ZEPUnicodeString formatted;
  const long result = ZEPCfgXMLExpressionServices::FormatExpression("<none/>", formatted, fromUTF8(file), 0);
  const std::vector<std::string>& errors = trace.errors();
  const bool isCompiled = std::none_of(errors.begin(), errors.end(),
                                       [](const std::string& error) { return startsWith(error, "ERROR: "); });
  if (ZEPFailed(result) && !isCompiled) {
    const std::string message = replaceAll(trace.message(), "xslSourceId1", "'" + file + "'");
    findings.insert(findings.begin(),
                    {0, "it does not compile: " + (message.empty() ? errors.front() : message),
                     "correct the stylesheet"});
  }
}

} // namespace

StylesheetReport checkStylesheetFile(const std::string& file) {
  requireStylesheet(file);
  const std::string bytes = readInput(file);
  const bool isUTF8 = ZEPCfgXMLExpressionServices::IsEncodingUTF16(fromUTF8(file)) == S_FALSE;
  StylesheetReport report{isUTF8 ? Decoding::UTF8 : Decoding::UTF16, {}};
  report.findings = scanStylesheet(bytes, file, report.decodedAs);
  compile(file, report.findings);
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
  return (finding.line == 0 ? "" : "line " + std::to_string(finding.line) + ": ") + finding.text + "; " +
         finding.remedy;
}

} // namespace zep::cli
