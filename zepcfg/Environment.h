#pragma once

#include <optional>
#include <string>

// What the program tells the platform before it is first used.
namespace zep::cli {

struct GlobalOptions {
  std::optional<std::string> url;
  std::optional<std::string> context;
  bool branching = false;
  std::optional<std::string> trace; // a file, or "-" for standard error
};

// Where the program's own resources are: beside the folder that it was started from.
std::string ownInstallationRoot();

void prepareEnvironment(const GlobalOptions& options);

// The value of a variable; nothing when it is not set.
std::optional<std::string> environmentValue(const char* name);

} // namespace zep::cli
