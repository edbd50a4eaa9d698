#include "Commands.h"

#include "Failure.h"
#include "Output.h"
#include "Remedy.h"
#include "Text.h"
#include "TraceCollector.h"
#include "ZEPCfgWebServices.h"
#include "ZEPHResult.h"
#include "ZEPListValZEPPLMID.h"
#include "ZEPUnicodeString.h"

#include <utility>

namespace zep::cli {
namespace {

ZEPListValZEPPLMID listOf(const std::vector<std::string>& texts) {
  ZEPListValZEPPLMID ids;
  for (const std::string& text : texts) {
    ids.Append(ZEPPLMID(fromUTF8(text)));
  }
  return ids;
}

std::string nameOf(std::size_t place, const std::string& text) {
  constexpr std::size_t longestShown = 200; // bytes
  return "identifier " + std::to_string(place + 1) + (text.size() > longestShown ? "" : " '" + text + "'");
}

nlohmann::ordered_json asJSON(const std::vector<ZEPUnicodeString>& texts) {
  nlohmann::ordered_json array = nlohmann::ordered_json::array();
  for (const ZEPUnicodeString& text : texts) {
    array.push_back(toUTF8(text));
  }
  return array;
}

} // namespace

int runIds(const IdsOptions& options) {
  const TraceCollector trace;
  std::vector<ZEPUnicodeString> texts;
  const long result = ZEPCfgWebServices::BuildJsonList(listOf(options.ids), texts);
  if (ZEPFailed(result)) {
    const std::size_t place = texts.size(); // those made before the failure stay
    Failure failure = describeFailure(trace, nameOf(place, options.ids.at(place)), "BuildJsonList", result);
    failure.members["ids"] = asJSON(texts);
    throw CommandFailure(std::move(failure));
  }
  if (options.output.json) {
    nlohmann::ordered_json object = resultObject(result);
    object["ids"] = asJSON(texts);
    writeJSON(object, options.output.file);
    return exitDone;
  }
  std::string lines;
  for (const ZEPUnicodeString& text : texts) {
    lines += toUTF8(text) + "\n";
  }
  writeResult(lines, options.output.file);
  return exitDone;
}

} // namespace zep::cli
