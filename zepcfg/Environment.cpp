#include "Environment.h"

#include "ZEPEnvironment.h"

#include <cstdlib>
#include <filesystem>
#include <system_error>

namespace zep::cli {
namespace {

void set(const char* name, const std::string& value) {
  setenv(name, value.c_str(), 1);
}

void setUnlessSet(const char* name, const std::string& value) {
  setenv(name, value.c_str(), 0);
}

void prepareTrace(const std::string& file) {
  setUnlessSet("ZEP_TRACE", "1"); // a choice of classes and groups stands
  set("ZEP_TRACE_FILE", file);
}

} // namespace

std::string ownInstallationRoot() {
  std::error_code error;
  const std::filesystem::path program = std::filesystem::read_symlink("/proc/self/exe", error);
  return error ? std::string()
               : (program.parent_path().parent_path() / "share" / "zepcfg").lexically_normal().string();
}

void prepareEnvironment(const GlobalOptions& options) {
  if (options.url) {
    set("ZEP_URL", *options.url);
  }
  if (options.context) {
    set("ZEP_CONTEXT", *options.context);
  }
  if (options.branching) {
    set("ZEP_BRANCHING", "1");
  }
  if (options.trace) {
    prepareTrace(*options.trace);
  }
  setUnlessSet("ZEPInstallPath", ownInstallationRoot());
}

std::optional<std::string> environmentValue(const char* name) {
  const char* const value = ZEPGetEnv(name);
  return value == nullptr ? std::nullopt : std::optional<std::string>(value);
}

} // namespace zep::cli
