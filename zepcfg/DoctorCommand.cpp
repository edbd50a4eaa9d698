#include "Commands.h"

#include "Checks.h"
#include "Environment.h"
#include "Failure.h"
#include "Output.h"
#include "Server.h"
#include "StylesheetCandidates.h"
#include "StylesheetCheck.h"
#include "Text.h"
#include "ZEPHResult.h"
#include "ZEPSettingsLocations.h"

#include <algorithm>
#include <cstdlib>
#include <utility>
#include <vector>

namespace zep::cli {
namespace {

const char* healthName(Health health) {
  switch (health) {
  case Health::good:
    return "ok";
  case Health::note:
    return "note";
  case Health::fault:
    return "fault";
  }
  return "";
}

bool hasFault(const Checks& checks) {
  return std::any_of(checks.begin(), checks.end(),
                     [](const Check& check) { return check.health == Health::fault; });
}

// Says what holds for an area, and then what was found there. Beside a fault nothing of it is "ok".
void addArea(const std::string& area, const std::string& fact, Checks found, Checks& checks) {
  found.insert(found.begin(), {area, Health::good, fact, ""});
  const bool isAtFault = hasFault(found);
  for (Check& check : found) {
    check.health = isAtFault && check.health == Health::good ? Health::note : check.health;
    checks.push_back(std::move(check));
  }
}

// ---- settings ----------------------------------------------------------------------------------

Check describeSetting(const Candidate& setting, const ZEPSettingsFileState& file) {
  const std::string detail = (setting.path.empty() ? "" : setting.path + ": ") + setting.reason;
  if (setting.state == CandidateState::refused) {
    return {"settings", Health::fault, detail,
            "change the value, or name a stylesheet with --stylesheet FILE"};
  }
  if (!file.problem.empty()) {
    return {"settings", Health::fault, detail,
            "correct the file: EffCustoPath = \"/path/to/stylesheet.xsl\""};
  }
  if (setting.state == CandidateState::missing && !setting.path.empty()) {
    return {"settings", Health::fault, detail, "correct the path or remove the setting"};
  }
  return {"settings",
          file.path.empty() || setting.state == CandidateState::used ? Health::good : Health::note, detail,
          ""};
}

// As they are without a server, which would make the later ones needless.
std::vector<Candidate> localCandidates() {
  return findCandidates({});
}

void checkSettings(Checks& checks) {
  Checks found;
  for (const Candidate& candidate : localCandidates()) {
    if (candidate.source == "setting") {
      found.push_back(describeSetting(candidate, ZEPFindSettingsFile("EffeCustoFilePathSetting")));
    }
  }
  checkSettingsFolders(found);
  std::string places;
  for (const std::string& place : ZEPSettingsLocations()) {
    places += (places.empty() ? "" : ", ") + place;
  }
  addArea("settings", "settings are looked for in " + places, found, checks);
}

// ---- stylesheets -------------------------------------------------------------------------------

void addFindings(const std::string& area, const std::string& what, const StylesheetReport& report,
                 Checks& checks) {
  for (const Finding& finding : report.findings) {
    checks.push_back({area, Health::fault, what + ": " + findingInWords(finding), finding.remedy});
  }
  if (report.findings.empty()) {
    checks.push_back({area, Health::good,
                      what + " compiles, its output is decoded as " + decodingName(report.decodedAs), ""});
  }
}

void checkFile(const std::string& area, const std::string& file, Checks& checks) {
  try {
    addFindings(area, "'" + file + "'", checkStylesheetFile(file), checks);
  } catch (const CommandFailure& failure) {
    checks.push_back({area, Health::fault, "'" + file + "': " + failure.failure().errors.front(),
                      failure.failure().remedy});
  }
}

void checkInstalledStylesheet(Checks& checks) {
  bool isFound = false;
  for (const Candidate& candidate : localCandidates()) {
    if (candidate.source != "installation" || candidate.path.empty() || isFound) {
      continue;
    }
    isFound = candidate.state != CandidateState::missing;
    if (!isFound) {
      checks.push_back({"installation", Health::note, "there is no '" + candidate.path + "'", ""});
    }
  }
  if (!isFound) {
    checks.push_back({"installation", Health::fault, "no installation root holds a stylesheet",
                      "let ZEPInstallPath name a folder with resources/xsl/" + installedStylesheetName() +
                          ", or unset it to use that of zepcfg"});
  }
}

void checkInstallation(Checks& checks) {
  Checks found;
  checkInstalledStylesheet(found);
  checkInstallationRoots(found);
  const std::string roots = environmentValue("ZEPInstallPath").value_or("");
  addArea("installation", "ZEPInstallPath is '" + roots + "'", found, checks);
}

// ---- server ------------------------------------------------------------------------------------

std::string inOneLine(const std::string& text) {
  std::string line = text;
  while (!line.empty() && line.back() == '\n') {
    line.pop_back();
  }
  return replaceAll(line, "\n", "; ");
}

std::string failureInWords(const Failure& failure) {
  std::string text = failure.operation + " failed with " + resultInWords(failure.code);
  for (const std::string& error : failure.errors) {
    text += "; " + inOneLine(error);
  }
  return failure.message.empty() ? text : text + "; " + inOneLine(failure.message);
}

// A doctor is not kept waiting for minutes, unless somebody wants that.
void shortenTimeouts() {
  constexpr char patience[] = "10000"; // milliseconds
  for (const char* const name :
       {"ZEP_HTTP_CONNECT_TIMEOUT_MS", "ZEP_HTTP_STALL_TIMEOUT_MS", "ZEP_HTTP_TOTAL_TIMEOUT_MS"}) {
    setenv(name, patience, 0);
  }
}

ServerInquiry askServerIfPossible() {
  return maySendRequests() ? askServer() : ServerInquiry();
}

void checkServer(const ServerInquiry& inquiry, Checks& checks) {
  if (!inquiry.answer.wasAsked) {
    return;
  }
  if (inquiry.failure) {
    checks.push_back({"server", Health::fault, failureInWords(*inquiry.failure), inquiry.failure->remedy});
  } else if (inquiry.answer.stylesheet.empty()) {
    checks.push_back({"server", Health::note, "it answers, and has no stylesheet", ""});
  } else {
    addFindings("server", "its stylesheet", checkServerStylesheet(inquiry.answer.stylesheet), checks);
  }
}

void checkChoice(const ServerInquiry& inquiry, bool isServerAtFault, Checks& checks) {
  const std::vector<Candidate> candidates = findCandidates(inquiry.answer);
  const Candidate* const deciding = decidingCandidate(candidates);
  if (deciding == nullptr) {
    checks.push_back(
        {"stylesheet", Health::fault, "there is none to format with", "name one with --stylesheet FILE"});
  } else if (deciding->state == CandidateState::used && !deciding->path.empty()) {
    checkFile("stylesheet", deciding->path, checks);
  } else if (deciding->state == CandidateState::used) {
    checks.push_back(
        {"stylesheet", isServerAtFault ? Health::note : Health::good, "the server's is used", ""});
  }
}

// ---- report ------------------------------------------------------------------------------------

const char* colour(Health health) {
  return health == Health::fault ? "\x1B[31m" : health == Health::note ? "\x1B[33m" : "\x1B[32m";
}

std::string inWords(const Checks& checks, bool isColoured) {
  std::string text;
  for (const Check& check : checks) {
    std::string health = healthName(check.health);
    health.resize(7, ' ');
    text += isColoured ? colour(check.health) + health + "\x1B[0m" : health;
    text += replaceAll(withoutControls(check.area + ": " + check.detail), "\n", "\n       ") + "\n";
    if (!check.remedy.empty()) {
      text += "       remedy: " + withoutControls(check.remedy) + "\n";
    }
  }
  return text;
}

nlohmann::ordered_json asJSON(const Checks& checks) {
  nlohmann::ordered_json list = nlohmann::ordered_json::array();
  for (const Check& check : checks) {
    list.push_back({{"area", check.area},
                    {"state", healthName(check.health)},
                    {"detail", check.detail},
                    {"remedy", check.remedy}});
  }
  return list;
}

} // namespace

int runDoctor(const DoctorOptions& options) {
  Checks checks;
  checkVersions(checks);
  checkLocale(checks);
  checkEnvironment(checks);
  checkTrace(checks);
  checkSettings(checks);
  checkInstallation(checks);
  shortenTimeouts();
  const ServerInquiry inquiry = askServerIfPossible();
  Checks ofServer;
  checkServer(inquiry, ofServer);
  checks.insert(checks.end(), ofServer.begin(), ofServer.end());
  checkChoice(inquiry, hasFault(ofServer), checks);

  if (options.output.json) {
    nlohmann::ordered_json object = resultObject(inquiry.failure    ? inquiry.failure->code
                                                 : hasFault(checks) ? E_FAIL
                                                                    : S_OK);
    object["checks"] = asJSON(checks);
    writeJSON(object, options.output.file);
  } else {
    writeResult(inWords(checks, wantsColours(options.output.file)), options.output.file);
  }
  return hasFault(checks) ? exitFailed : exitDone;
}

} // namespace zep::cli
