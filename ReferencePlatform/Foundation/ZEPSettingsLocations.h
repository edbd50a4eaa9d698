#pragma once

#include "ZEPPlatformExport.h"

#include <string>
#include <vector>

// For programs on the reference platform that show a person where settings are looked for.

// The directories that may hold the file "<repository>.toml", in order of precedence: the first
// one whose file exists is the one used. ZEP_SETTINGS_DIR alone when it is set, else the XDG
// configuration directory and the system one.
ZEP_PLATFORM_API std::vector<std::string> ZEPSettingsLocations();

// Where the file of a repository is, and whether it can be used.
struct ZEPSettingsFileState {
  std::string path;    // empty when no directory holds the file
  std::string problem; // empty when the file can be read, else why not, in words
};

// What GetRepository would find for that name, and what is wrong with it.
ZEP_PLATFORM_API ZEPSettingsFileState ZEPFindSettingsFile(const char* repositoryName);
