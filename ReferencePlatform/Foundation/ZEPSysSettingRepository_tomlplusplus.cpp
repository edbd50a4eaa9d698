#include "ZEPSysSettingRepository.h"

#include "PLMCfgInTraceClass.h"
#include "ZEPEnvironment.h"
#include "ZEPSettingsFile.h"
#include "ZEPSettingsLocations.h"
#include "ZEPUnicodeString.h"

#include <algorithm>
#include <cerrno>
#include <exception>
#include <optional>
#include <string_view>
#include <utility>
#include <variant>

#include <sys/stat.h>

// One assertion of its parser does not hold for a malformed time, which is refused right behind it.
#define TOML_ASSERT(condition) static_cast<void>(0)
#include <toml++/toml.h>

namespace {

using zep::SettingsProblem;

constexpr const char* kSubFolder = "/zepcfg";
constexpr std::size_t kLongestName = 200;

std::string_view Environment(const char* name) {
  const char* value = ZEPGetEnv(name);
  return value != nullptr ? value : "";
}

// Relative directories are ignored: what they mean would depend on where the program was started.
void AddLocation(std::vector<std::string>& locations, std::string_view configurationDirectory) {
  if (configurationDirectory.starts_with('/')) {
    locations.push_back(std::string(configurationDirectory) + kSubFolder);
  }
}

void AddUserLocation(std::vector<std::string>& locations) {
  const std::string_view directory = Environment("XDG_CONFIG_HOME");
  if (directory.starts_with('/')) {
    AddLocation(locations, directory);
  } else if (const std::string_view home = Environment("HOME"); !home.empty()) {
    AddLocation(locations, std::string(home) + "/.config");
  }
}

void AddSystemLocations(std::vector<std::string>& locations) {
  std::string_view directories = Environment("XDG_CONFIG_DIRS");
  if (directories.empty()) {
    directories = "/etc/xdg";
  }
  while (!directories.empty()) {
    const auto colon = std::min(directories.find(':'), directories.size());
    AddLocation(locations, directories.substr(0, colon));
    directories.remove_prefix(std::min(colon + 1, directories.size()));
  }
}

// A name is one file name and never a way to another directory.
bool IsRepositoryName(std::string_view name) {
  const bool hasForbidden = std::ranges::any_of(name, [](char character) {
    return character == '/' || character == '\\' || static_cast<unsigned char>(character) < 0x20;
  });
  return !name.empty() && name.size() <= kLongestName && !hasForbidden &&
         name.find("..") == std::string_view::npos;
}

// A file that cannot be looked at counts as there: to pass over it would hide a fault.
bool MayExist(const std::string& path) {
  struct stat info;
  return lstat(path.c_str(), &info) == 0 || (errno != ENOENT && errno != ENOTDIR);
}

std::string FindPath(std::string_view repositoryName) {
  for (const std::string& directory : ZEPSettingsLocations()) {
    std::string path = directory + "/" + std::string(repositoryName) + ".toml";
    if (MayExist(path)) {
      return path;
    }
  }
  return {};
}

SettingsProblem ParseProblem(const toml::parse_error& error) {
  const auto& where = error.source().begin;
  return {"line " + std::to_string(where.line) + ", column " + std::to_string(where.column) + ": " +
          std::string(error.description())};
}

std::variant<toml::table, SettingsProblem> ParseSettings(const std::string& content) {
  if (zep::NestsTooDeeply(content)) {
    return SettingsProblem{"nests its tables too deeply"};
  }
  try {
    return toml::parse(std::string_view(content));
  } catch (const toml::parse_error& error) {
    return ParseProblem(error);
  } catch (const std::exception& error) {
    return SettingsProblem{error.what()};
  }
}

std::variant<toml::table, SettingsProblem> LoadSettings(const std::string& path) {
  auto content = zep::ReadSettingsFile(path);
  if (const auto* problem = std::get_if<SettingsProblem>(&content)) {
    return *problem;
  }
  return ParseSettings(std::get<std::string>(content));
}

constexpr const char* kNoRepositoryName =
    "not a name of a settings repository: it has to be a plain file name without \"..\"";

PLMCfgInTraceClass trace("ZEPSysSettingRepository", "Settings");

void TraceProblem(const std::string& subject, const std::string& problem, int line = __builtin_LINE()) {
  constexpr const char* kFile = "ZEPSysSettingRepository_tomlplusplus.cpp";
  trace.beginTrace(0) << PLMCfgInTraceClass::GetError();
  trace.endTraceWithLineNumber(0, line, kFile);
  trace.beginTrace(0) << PLMCfgInTraceClass::GetErrorIndent() << "settings " << subject.c_str() << ": "
                      << problem.c_str();
  trace.endTraceWithLineNumber(0, line, kFile);
}

class TomlRepository final : public ZEPSysSettingRepository {
public:
  explicit TomlRepository(toml::table settings) : m_settings(std::move(settings)) {}

  int ReadAttr(const char* iKey, ZEPUnicodeString* oValue) override {
    if (iKey == nullptr || oValue == nullptr) {
      return 0;
    }
    const auto* value = m_settings.get_as<std::string>(iKey);
    if (value == nullptr) {
      return 0;
    }
    oValue->BuildFromUTF8(value->get().data(), value->get().size());
    return 1;
  }

  void Release() override { delete this; }

private:
  toml::table m_settings;
};

} // namespace

std::vector<std::string> ZEPSettingsLocations() {
  if (const std::string_view directory = Environment("ZEP_SETTINGS_DIR"); !directory.empty()) {
    return {std::string(directory)};
  }
  std::vector<std::string> locations;
  AddUserLocation(locations);
  AddSystemLocations(locations);
  return locations;
}

ZEPSettingsFileState ZEPFindSettingsFile(const char* repositoryName) {
  if (repositoryName == nullptr || !IsRepositoryName(repositoryName)) {
    return {{}, kNoRepositoryName};
  }
  ZEPSettingsFileState state{FindPath(repositoryName), {}};
  if (!state.path.empty()) {
    auto settings = LoadSettings(state.path);
    if (const auto* problem = std::get_if<SettingsProblem>(&settings)) {
      state.problem = problem->text;
    }
  }
  return state;
}

ZEPSysSettingRepository::ZEPSysSettingRepository() = default;
ZEPSysSettingRepository::~ZEPSysSettingRepository() = default;

ZEPSysSettingRepository* ZEPSysSettingRepository::GetRepository(const char* iName, int /*iMode*/) {
  const std::string name = iName != nullptr ? iName : "";
  if (!IsRepositoryName(name)) {
    TraceProblem(name, kNoRepositoryName);
    return nullptr;
  }
  const std::string path = FindPath(name);
  if (path.empty()) {
    return nullptr;
  }
  auto settings = LoadSettings(path);
  if (const auto* problem = std::get_if<SettingsProblem>(&settings)) {
    TraceProblem(path, problem->text);
    return nullptr;
  }
  return new TomlRepository(std::get<toml::table>(std::move(settings)));
}
