#include "StylesheetCandidates.h"

#include "Environment.h"
#include "Failure.h"
#include "Text.h"
#include "ZEPCfgInfraServices.h"
#include "ZEPEnvironment.h"
#include "ZEPFile.h"
#include "ZEPHResult.h"
#include "ZEPSettingsLocations.h"
#include "ZEPSysSettingRepository.h"
#include "ZEPToken.h"
#include "ZEPUnicodeString.h"

#include <memory>
#include <optional>
#include <sys/stat.h>

namespace zep::cli {
namespace {

constexpr char repositoryName[] = "EffeCustoFilePathSetting";
constexpr char settingName[] = "EffCustoPath";

bool exists(const std::string& path) {
  ZEPUnicodeString text = fromUTF8(path);
  struct stat info;
  return ZEPSucceeded(ZEPFileStat(&text, &info, 0));
}

std::string joined(const std::vector<std::string>& texts) {
  std::string all;
  for (const std::string& text : texts) {
    all += (all.empty() ? "" : ", ") + text;
  }
  return all;
}

Candidate serverCandidate(const ServerAnswer& answer) {
  if (!answer.wasAsked) {
    return {"server", CandidateState::missing, "", "not asked: no server is named (--url URL or ZEP_URL)"};
  }
  if (ZEPFailed(answer.result)) {
    return {"server", CandidateState::failed, "", "asking it failed with " + resultInWords(answer.result)};
  }
  if (answer.stylesheet.empty()) {
    return {"server", CandidateState::missing, "", "it was asked and has no stylesheet"};
  }
  return {"server", CandidateState::used, "",
          "it sent a stylesheet of " + std::to_string(answer.stylesheet.size()) + " bytes"};
}

struct ReleaseRepository {
  void operator()(ZEPSysSettingRepository* repository) const { repository->Release(); }
};

std::optional<std::string> settingValue() {
  const std::unique_ptr<ZEPSysSettingRepository, ReleaseRepository> repository(
      ZEPSysSettingRepository::GetRepository(repositoryName, 0));
  ZEPUnicodeString value;
  if (!repository || repository->ReadAttr(settingName, &value) != 1) {
    return std::nullopt;
  }
  ZEPExpandString(&value);
  return toUTF8(value);
}

std::string whyNoSetting() {
  const ZEPSettingsFileState file = ZEPFindSettingsFile(repositoryName);
  if (file.path.empty()) {
    return std::string("there is no ") + repositoryName + ".toml in " + joined(ZEPSettingsLocations());
  }
  return file.problem.empty() ? "'" + file.path + "' has no text " + settingName
                              : "'" + file.path + "' cannot be used: " + file.problem;
}

Candidate settingCandidate() {
  const std::optional<std::string> value = settingValue();
  if (!value) {
    return {"setting", CandidateState::missing, "", whyNoSetting()};
  }
  const std::string from =
      std::string(settingName) + " in '" + ZEPFindSettingsFile(repositoryName).path + "'";
  if (toLowerASCII(*value) == "debug") {
    return {"setting", CandidateState::refused, "",
            from + " is \"debug\", which makes every formatting fail"};
  }
  return exists(*value) ? Candidate{"setting", CandidateState::used, *value, from + " names it"}
                        : Candidate{"setting", CandidateState::missing, *value,
                                    from + " names a file that does not exist"};
}

// Up to the first empty one.
std::vector<std::string> installationRoots() {
  std::vector<std::string> roots;
  ZEPToken tokens(fromUTF8(environmentValue("ZEPInstallPath").value_or("")), ";");
  for (ZEPUnicodeString root = tokens.GetNextToken(); !root.IsEmpty(); root = tokens.GetNextToken()) {
    roots.push_back(toUTF8(root));
  }
  return roots;
}

// The library joins the path with backslashes; a person reads the form in which the file is found.
std::string installedPath(const std::string& root) {
  return root + "/resources/xsl/" + installedStylesheetName();
}

std::vector<Candidate> installationCandidates() {
  const std::vector<std::string> roots = installationRoots();
  if (roots.empty()) {
    return {{"installation", CandidateState::missing, "", "ZEPInstallPath names no folder"}};
  }
  std::vector<Candidate> candidates;
  for (const std::string& root : roots) {
    const std::string path = installedPath(root);
    candidates.push_back(
        exists(path) ? Candidate{"installation", CandidateState::used, path, "ZEPInstallPath names its root"}
                     : Candidate{"installation", CandidateState::missing, path, "there is no such file"});
  }
  return candidates;
}

bool endsSearch(const Candidate& candidate) {
  return candidate.state != CandidateState::missing && candidate.state != CandidateState::skipped;
}

void skipBehindDecidingOne(std::vector<Candidate>& candidates) {
  bool isDecided = false;
  for (Candidate& candidate : candidates) {
    if (isDecided && endsSearch(candidate)) {
      candidate.state = CandidateState::skipped;
      candidate.reason = "not needed: an earlier candidate decides";
    }
    isDecided = isDecided || endsSearch(candidate);
  }
}

} // namespace

std::vector<Candidate> findCandidates(const ServerAnswer& answer) {
  std::vector<Candidate> candidates{serverCandidate(answer), settingCandidate()};
  const std::vector<Candidate> installed = installationCandidates();
  candidates.insert(candidates.end(), installed.begin(), installed.end());
  skipBehindDecidingOne(candidates);
  return candidates;
}

const Candidate* decidingCandidate(const std::vector<Candidate>& candidates) {
  for (const Candidate& candidate : candidates) {
    if (endsSearch(candidate)) {
      return &candidate;
    }
  }
  return nullptr;
}

const char* stateName(CandidateState state) {
  switch (state) {
  case CandidateState::used:
    return "used";
  case CandidateState::missing:
    return "none";
  case CandidateState::refused:
    return "refused";
  case CandidateState::failed:
    return "failed";
  case CandidateState::skipped:
    return "skipped";
  }
  return "";
}

nlohmann::ordered_json candidatesAsJSON(const std::vector<Candidate>& candidates) {
  nlohmann::ordered_json list = nlohmann::ordered_json::array();
  for (const Candidate& candidate : candidates) {
    list.push_back(
        {{"source", candidate.source},
         {"state", stateName(candidate.state)},
         {"path", candidate.path.empty() ? nlohmann::ordered_json() : nlohmann::ordered_json(candidate.path)},
         {"reason", candidate.reason}});
  }
  return list;
}

std::string installedStylesheetName() {
  return ZEPCfgInfraServices::GetBranchingVar() != 0 ? "CfgEffectivityDisplay_Branching.xsl"
                                                     : "CfgEffectivityDisplay.xsl";
}

} // namespace zep::cli
