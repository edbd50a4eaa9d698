#pragma once

#include <string>
#include <vector>

// What `doctor` looks at. No check waits for longer than the limits of the platform.
namespace zep::cli {

enum class Health { good, note, fault };

struct Check {
  std::string area;
  Health health;
  std::string detail;
  std::string remedy;
};

using Checks = std::vector<Check>;

// Variables that nobody reads or whose values do not count, the URL, the context, the authority's file.
void checkEnvironment(Checks& checks);

// Where the trace goes, and whether it gets there.
void checkTrace(Checks& checks);

void checkLocale(Checks& checks);

// The folders that settings are looked for in, and the files there.
void checkSettingsFolders(Checks& checks);

// The roots of ZEPInstallPath, and who else may change what is in them.
void checkInstallationRoots(Checks& checks);

// The program and the libraries that it runs with.
void checkVersions(Checks& checks);

// Whether asking the server could end well: not where the file of its authority cannot be used.
bool maySendRequests();

} // namespace zep::cli
