#include "StylesheetCheck.h"

#include "Input.h"
#include "StartTags.h"
#include "Text.h"
#include "TraceCollector.h"
#include "ZEPCfgXMLExpressionServices.h"
#include "ZEPHResult.h"
#include "ZEPUnicodeString.h"

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <optional>
#include <sstream>
#include <string_view>
#include <system_error>

namespace zep::cli {
namespace {

constexpr char whereStylesheetsAre[] =
    "zepcfg stylesheet says which one is used where none is named, and where it is";

bool isAnyRefused(const std::vector<Finding>& findings) {
  return std::any_of(findings.begin(), findings.end(),
                     [](const Finding& finding) { return finding.isRefused; });
}

bool isCompiled(const std::vector<std::string>& errors) {
  return std::none_of(errors.begin(), errors.end(),
                      [](const std::string& error) { return startsWith(error, "ERROR: "); });
}

// "compilation error: file a.xsl line 3 element if" and the lines below it.
struct ReportedError {
  std::string file;
  long line; // on which the start tag ends
  std::string element;
  std::string text;
};

std::optional<ReportedError> readError(const std::string& line) {
  constexpr std::string_view fileLabel = " error: file ";
  constexpr std::string_view lineLabel = " line ";
  constexpr std::string_view elementLabel = " element ";
  const std::size_t start = line.find(fileLabel);
  const std::size_t number = line.find(lineLabel, start);
  if (start == std::string::npos || number == std::string::npos) {
    return std::nullopt;
  }
  const std::string file = line.substr(start + fileLabel.size(), number - start - fileLabel.size());
  char* end = nullptr;
  const long found = std::strtol(line.c_str() + number + lineLabel.size(), &end, 10);
  const std::string rest = end;
  const std::string element = startsWith(rest, elementLabel) ? rest.substr(elementLabel.size()) : "";
  return ReportedError{file, found, element, rest.empty() ? "" : "in" + rest + ": "};
}

std::vector<ReportedError> readErrors(const std::string& message) {
  std::vector<ReportedError> errors;
  std::istringstream lines(message);
  for (std::string line; std::getline(lines, line);) {
    if (const std::optional<ReportedError> error = readError(line)) {
      errors.push_back(*error);
    } else if (!errors.empty() && !line.empty()) {
      const std::string& text = errors.back().text;
      errors.back().text += (text.empty() || text.back() == ' ' ? "" : "; ") + line;
    }
  }
  return errors;
}

bool isSameFile(const std::string& left, const std::string& right) {
  std::error_code ignored;
  return std::filesystem::weakly_canonical(left, ignored) ==
         std::filesystem::weakly_canonical(right, ignored);
}

// A stylesheet as it is checked.
struct Checked {
  std::string file; // empty for one from a server
  StartTags tags;
};

StartTags startTagsOfFile(const std::string& file) {
  std::error_code error;
  return std::filesystem::is_regular_file(file, error) ? startTagsOf(readInput(file)) : StartTags();
}

// One finding for each line of the report that nothing is known about yet: a further error in one line comes
// of the first.
void addErrors(const std::string& start, const std::string& message, const Checked& checked,
               std::vector<Finding>& findings) {
  const std::vector<ReportedError> errors = readErrors(message);
  if (errors.empty()) {
    findings.push_back({0, start + ": " + message, "correct the stylesheet", true});
  }
  for (const ReportedError& error : errors) {
    const bool isInFile = checked.file.empty() || isSameFile(error.file, checked.file);
    const long line =
        (isInFile ? checked.tags : startTagsOfFile(error.file)).firstLine(error.element, error.line);
    const bool isKnown = std::any_of(findings.begin(), findings.end(), [&](const Finding& finding) {
      return isInFile && finding.line == line;
    });
    if (!isKnown) {
      const std::string place = isInFile ? "" : error.file + ", line " + std::to_string(line) + ": ";
      findings.push_back(
          {isInFile ? line : 0, place + start + ": " + error.text, "correct the stylesheet", true});
    }
  }
}

// Formats next to nothing with the stylesheet, as `format` would; without a file the server's is used.
// That a stylesheet ends with a message of its own is its right; errors at work are not.
void apply(const Checked& checked, std::vector<Finding>& findings) {
  const TraceCollector trace;
  ZEPUnicodeString formatted;
  const long result =
      ZEPCfgXMLExpressionServices::FormatExpression("<none/>", formatted, fromUTF8(checked.file), 0);
  if (ZEPSucceeded(result)) {
    return;
  }
  const Checked found{pathAsFound(checked.file), checked.tags};
  if (!isCompiled(trace.errors())) {
    addErrors("it does not compile", trace.message(), found, findings);
  } else if (contains(trace.message(), "runtime error")) {
    addErrors("it fails at work", trace.message(), found, findings);
  }
  std::stable_sort(findings.begin(), findings.end(),
                   [](const Finding& left, const Finding& right) { return left.line < right.line; });
}

StylesheetReport checkText(const std::string& text, const std::string& scannedAs, const std::string& applied,
                           Decoding decodedAs) {
  StylesheetReport report{decodedAs, scanStylesheet(text, scannedAs, decodedAs)};
  if (!isAnyRefused(report.findings)) {
    apply({applied, scannedAs.empty() ? StartTags(text) : startTagsOf(text)}, report.findings);
  }
  return report;
}

} // namespace

StylesheetReport checkStylesheetFile(const std::string& file) {
  requireStylesheet(file, whereStylesheetsAre);
  const std::string bytes = readInput(pathAsFound(file));
  const bool isUTF8 = ZEPCfgXMLExpressionServices::IsEncodingUTF16(fromUTF8(file)) == S_FALSE;
  return checkText(bytes, file, file, isUTF8 ? Decoding::UTF8 : Decoding::UTF16);
}

StylesheetReport checkFileForServer(const std::string& file) {
  requireStylesheet(file, whereStylesheetsAre);
  const std::string text = toUTF8(readXML(pathAsFound(file)));
  return checkText(text, "", file, Decoding::UTF16);
}

StylesheetReport checkServerStylesheet(const std::string& text) {
  return checkText(text, "", "", Decoding::UTF16);
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
