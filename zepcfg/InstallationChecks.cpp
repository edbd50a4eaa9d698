#include "Checks.h"
#include "Environment.h"
#include "StylesheetCandidates.h"
#include "Suggestion.h"
#include "Text.h"
#include "ZEPSettingsLocations.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <set>
#include <system_error>

#include <link.h>
#include <sys/stat.h>
#include <unistd.h>

namespace zep::cli {
namespace {

namespace fs = std::filesystem;

constexpr char settingsFile[] = "EffeCustoFilePathSetting.toml";
constexpr char settingName[] = "EffCustoPath";

std::string valueOf(const char* name) {
  return environmentValue(name).value_or("");
}

bool mayOthersWrite(const std::string& path) {
  struct stat info;
  return stat(path.c_str(), &info) == 0 && (info.st_mode & S_IWOTH) != 0 && (info.st_mode & S_ISVTX) == 0;
}

void checkWriters(const char* area, const std::string& path, Checks& checks) {
  if (mayOthersWrite(path)) {
    checks.push_back({area, Health::note, "anybody may change '" + path + "'", "chmod o-w '" + path + "'"});
  }
}

// ---- settings ----------------------------------------------------------------------------------

// A name without the one that counts, told from the lines of a small file.
void checkKeys(const std::string& file, Checks& checks) {
  constexpr std::uintmax_t largest = 1 << 20;
  std::error_code error;
  if (!fs::is_regular_file(file, error) || fs::file_size(file, error) > largest) {
    return;
  }
  std::ifstream stream(file);
  std::string mistyped;
  for (std::string line; std::getline(stream, line);) {
    const std::size_t start = std::min(line.find_first_not_of(" \t\"'"), line.size());
    const std::string key = line.substr(start, line.find_first_of(" \t\"'=", start) - start);
    if (key == settingName) {
      return;
    }
    const bool isClose =
        toLowerASCII(key) == toLowerASCII(settingName) || !nearestWord(key, {settingName}).empty();
    mistyped = isClose ? key : mistyped;
  }
  if (!mistyped.empty()) {
    checks.push_back({"settings", Health::note, "'" + file + "' has " + mistyped + ", which nothing reads",
                      std::string("did you mean ") + settingName + "?"});
  }
}

void checkOtherFiles(const std::string& folder, Checks& checks) {
  std::error_code error;
  for (fs::directory_iterator file(folder, error), end; !error && file != end; file.increment(error)) {
    const std::string name = file->path().filename().string();
    if (name == settingsFile) {
      continue;
    }
    const bool isClose = toLowerASCII(name) == toLowerASCII(settingsFile) ||
                         !nearestWord(name, {settingsFile}).empty() ||
                         name == fs::path(settingsFile).stem().string();
    if (isClose) {
      checks.push_back({"settings", Health::note, "nothing reads '" + file->path().string() + "'",
                        std::string("call it ") + settingsFile});
    }
  }
}

// The file of a folder is read where none of an earlier one is.
void checkFolder(const std::string& folder, bool isFileFound, Checks& checks) {
  const std::string file = folder + "/" + settingsFile;
  std::error_code error;
  const bool exists = fs::exists(fs::symlink_status(file, error));
  if (exists && isFileFound) {
    checks.push_back(
        {"settings", Health::note, "'" + file + "' is not looked at: an earlier folder has one", ""});
  } else if (exists) {
    checkKeys(file, checks);
    checkWriters("settings", file, checks);
  }
  if (fs::is_directory(folder, error) && access(folder.c_str(), R_OK | X_OK) != 0) {
    checks.push_back({"settings", Health::fault, "'" + folder + "': " + std::strerror(errno),
                      "make the folder readable for yourself"});
  }
  checkOtherFiles(folder, checks);
}

void checkOwnFolder(Checks& checks) {
  const std::string folder = valueOf("ZEP_SETTINGS_DIR");
  std::error_code error;
  if (!folder.empty() && !fs::is_directory(folder, error)) {
    checks.push_back({"settings", Health::fault, "ZEP_SETTINGS_DIR is '" + folder + "', which is no folder",
                      "name a folder, or unset it"});
  }
}

void checkAbsolute(const char* name, Checks& checks) {
  const std::string value = valueOf(name);
  if (!value.empty() && value.front() != '/') {
    checks.push_back({"settings", Health::note,
                      std::string(name) + " is '" + value + "', which is not absolute and does not count",
                      "name an absolute folder"});
  }
}

// ---- installation ------------------------------------------------------------------------------

std::vector<std::string> partsOf(const std::string& text, char separator) {
  std::vector<std::string> parts;
  for (std::size_t start = 0; start <= text.size();) {
    const std::size_t end = std::min(text.find(separator, start), text.size());
    parts.push_back(text.substr(start, end - start));
    start = end + 1;
  }
  return parts;
}

// A person used to search paths separates with colons.
bool isListWithColons(const std::string& root) {
  const std::vector<std::string> parts = partsOf(root, ':');
  std::error_code error;
  return parts.size() > 1 && std::all_of(parts.begin(), parts.end(), [&error](const std::string& part) {
           return fs::is_directory(part, error);
         });
}

void checkRoot(const std::string& root, Checks& checks) {
  std::error_code error;
  const std::string resources = root + "/resources/xsl";
  if (isListWithColons(root)) {
    checks.push_back({"installation", Health::fault, "ZEPInstallPath has '" + root + "' for one root",
                      "separate the roots with semicolons"});
  } else if (!fs::is_directory(root, error)) {
    checks.push_back({"installation", Health::note, "the root '" + root + "' of ZEPInstallPath is no folder",
                      "correct it or leave it out"});
  } else if (fs::is_directory(resources, error) && access(resources.c_str(), R_OK | X_OK) != 0) {
    checks.push_back({"installation", Health::fault, "'" + resources + "': " + std::strerror(errno),
                      "make the folder readable for yourself"});
  }
  checkWriters("installation", resources, checks);
}

// ---- versions ----------------------------------------------------------------------------------

constexpr const char* namedLibraries[] = {
    "libZEPCfgCommonServices", "libZEPPlatform", "libxslt", "libxml2", "libcurl", "libicuuc"};

int noteLibrary(dl_phdr_info* info, std::size_t /*size*/, void* found) {
  try {
    const fs::path path = info->dlpi_name;
    for (const char* const name : namedLibraries) {
      if (startsWith(path.filename().string(), std::string(name) + ".so")) {
        std::error_code error;
        const fs::path real = fs::canonical(path, error);
        static_cast<std::set<std::string>*>(found)->insert((error ? path : real).string());
      }
    }
  } catch (const std::exception&) {
    return 1; // without memory there is nothing to say
  }
  return 0;
}

} // namespace

void checkSettingsFolders(Checks& checks) {
  checkOwnFolder(checks);
  if (valueOf("ZEP_SETTINGS_DIR").empty()) {
    checkAbsolute("XDG_CONFIG_HOME", checks);
    checkAbsolute("HOME", checks);
  }
  bool isFileFound = false;
  for (const std::string& folder : ZEPSettingsLocations()) {
    checkFolder(folder, isFileFound, checks);
    isFileFound = isFileFound || access((folder + "/" + settingsFile).c_str(), F_OK) == 0;
  }
}

void checkInstallationRoots(Checks& checks) {
  for (const std::string& root : partsOf(valueOf("ZEPInstallPath"), ';')) {
    if (root.empty()) {
      break; // the library reads no further
    }
    checkRoot(root, checks);
  }
}

void checkVersions(Checks& checks) {
  std::set<std::string> found;
  dl_iterate_phdr(noteLibrary, &found);
  std::string libraries;
  for (const std::string& path : found) {
    libraries += (libraries.empty() ? "" : ", ") + path;
  }
  checks.push_back(
      {"program", Health::good, std::string("zepcfg ") + ZEP_VERSION + ", with " + libraries, ""});
}

} // namespace zep::cli
