#include "Commands.h"

#include "Failure.h"
#include "Output.h"
#include "StylesheetCheck.h"
#include "Text.h"
#include "ZEPHResult.h"

namespace zep::cli {
namespace {

std::string inWords(const StylesheetReport& report, const std::string& input) {
  std::string text = input + ": its output is decoded as " + decodingName(report.decodedAs) + "\n";
  for (const Finding& finding : report.findings) {
    text += replaceAll(withoutControls(findingInWords(finding)), "\n", "\n  ") + "\n";
    text += "  remedy: " + withoutControls(finding.remedy) + "\n";
  }
  return text + (report.findings.empty() ? "nothing found\n" : "");
}

} // namespace

int runStylesheetCheck(const StylesheetCheckOptions& options) {
  const StylesheetReport report =
      options.isForServer ? checkFileForServer(options.file) : checkStylesheetFile(options.file);
  if (options.output.json) {
    nlohmann::ordered_json object = resultObject(S_OK);
    object["decodedAs"] = decodingName(report.decodedAs);
    object["findings"] = findingsAsJSON(report.findings);
    writeJSON(object, options.output.file);
  } else {
    writeResult(inWords(report, inputName(options.file)), options.output.file);
  }
  return report.findings.empty() ? exitDone : exitNo;
}

} // namespace zep::cli
