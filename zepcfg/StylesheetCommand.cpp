#include "Commands.h"

#include "Failure.h"
#include "Input.h"
#include "Output.h"
#include "Server.h"
#include "StylesheetCandidates.h"
#include "Text.h"
#include "ZEPHResult.h"

#include <utility>

namespace zep::cli {
namespace {

constexpr char operation[] = "choosing the stylesheet";

Failure describeChoice(const ServerInquiry& inquiry, const Candidate* deciding) {
  if (inquiry.failure) {
    return *inquiry.failure;
  }
  if (deciding != nullptr) {
    return {deciding->source, operation,
            E_FAIL,           {"no format for debug"},
            deciding->reason, "change the setting, or name a stylesheet with format --stylesheet FILE"};
  }
  return {"stylesheet",
          operation,
          S_FALSE,
          {"no stylesheet found"},
          "",
          "name one with format --stylesheet FILE, or let ZEPInstallPath name a folder with resources/xsl/" +
              installedStylesheetName()};
}

std::string padded(std::string text, std::size_t width) {
  text.resize(std::max(width, text.size()), ' ');
  return text;
}

// A line for each candidate.
std::string table(const std::vector<Candidate>& candidates) {
  std::string text;
  for (const Candidate& candidate : candidates) {
    const std::string path = candidate.path.empty() ? "" : candidate.path + ": ";
    text +=
        padded(candidate.source, 14) + padded(stateName(candidate.state), 9) + path + candidate.reason + "\n";
  }
  return withoutControls(text);
}

void deliver(const Candidate& used, const std::vector<Candidate>& candidates, const std::string& stylesheet,
             const StylesheetOptions& options) {
  if (!options.output.json) {
    writeResult(options.print ? stylesheet : table(candidates), options.output.file);
    return;
  }
  nlohmann::ordered_json object = resultObject(S_OK);
  object["source"] = used.source;
  object["path"] = used.path.empty() ? nlohmann::ordered_json() : nlohmann::ordered_json(used.path);
  object["candidates"] = candidatesAsJSON(candidates);
  if (options.print) {
    object["text"] = stylesheet;
  }
  writeJSON(object, options.output.file);
}

std::string readStylesheet(const Candidate& used, const ServerInquiry& inquiry) {
  return used.path.empty() ? inquiry.answer.stylesheet : readInput(pathAsFound(used.path));
}

} // namespace

int runStylesheet(const StylesheetOptions& options) {
  const ServerInquiry inquiry = askServer();
  const std::vector<Candidate> candidates = findCandidates(inquiry.answer);
  const Candidate* const deciding = decidingCandidate(candidates);
  if (deciding == nullptr || deciding->state != CandidateState::used) {
    Failure failure = describeChoice(inquiry, deciding);
    failure.members = {{"source", nullptr}, {"path", nullptr}, {"candidates", candidatesAsJSON(candidates)}};
    if (!options.output.json) {
      writeNote(table(candidates));
    }
    throw CommandFailure(std::move(failure));
  }
  const std::string stylesheet = options.print ? readStylesheet(*deciding, inquiry) : std::string();
  deliver(*deciding, candidates, stylesheet, options);
  return exitDone;
}

} // namespace zep::cli
