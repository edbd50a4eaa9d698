#pragma once

#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <functional>
#include <iterator>
#include <map>
#include <sstream>
#include <stdexcept>
#include <string>
#include <vector>

#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

namespace session {

// A directory of its own for each test, removed at the end.
class TempDirectory {
public:
  TempDirectory() {
    std::string pattern = (std::filesystem::temp_directory_path() / "zep-session-XXXXXX").string();
    if (mkdtemp(pattern.data()) == nullptr) {
      throw std::runtime_error("no temporary directory");
    }
    m_path = pattern;
  }
  ~TempDirectory() {
    std::error_code ignored;
    std::filesystem::remove_all(m_path, ignored);
  }
  TempDirectory(const TempDirectory&) = delete;
  TempDirectory& operator=(const TempDirectory&) = delete;

  std::string Path(const std::string& name = {}) const { return name.empty() ? m_path : m_path + "/" + name; }

  std::string Write(const std::string& name, const std::string& content) const {
    std::filesystem::create_directories(std::filesystem::path(Path(name)).parent_path());
    std::ofstream(Path(name), std::ios::binary) << content;
    return Path(name);
  }

private:
  std::string m_path;
};

inline std::string ContentOf(const std::string& path) {
  std::ifstream file(path, std::ios::binary);
  return {std::istreambuf_iterator<char>(file), {}};
}

inline std::vector<std::string> Split(const std::string& text, char separator) {
  std::vector<std::string> parts;
  std::istringstream stream(text);
  for (std::string part; std::getline(stream, part, separator);) {
    parts.push_back(part);
  }
  return parts;
}

using Environment = std::map<std::string, std::string>;

// Every variable that the session services read, so that none of the machine's own is seen.
inline void SetEnvironment(const Environment& environment) {
  for (const char* name :
       {"ZEP_TRACE", "ZEP_TRACE_FILE", "ZEP_TRACE_SECRETS", "ZEP_SETTINGS_DIR", "XDG_CONFIG_HOME",
        "XDG_CONFIG_DIRS", "HOME", "ZEP_URL", "ZEP_CONTEXT", "ZEP_BRANCHING"}) {
    unsetenv(name);
  }
  for (const auto& [name, value] : environment) {
    setenv(name.c_str(), value.c_str(), 1);
  }
}

// How a child ended: its exit code, or 1000 and the number of the signal that ended it.
inline int WaitFor(pid_t child) {
  int status = 0;
  while (waitpid(child, &status, 0) < 0 && errno == EINTR) {}
  return WIFSIGNALED(status) ? 1000 + WTERMSIG(status) : WEXITSTATUS(status);
}

// Runs `body` in a process of its own, since the trace reads its configuration once. A child that
// hangs is ended by an alarm and so seen.
inline int InChild(const Environment& environment, const std::function<int()>& body) {
  const pid_t child = fork();
  if (child == 0) {
    alarm(30);
    SetEnvironment(environment);
    _exit(body());
  }
  return WaitFor(child);
}

} // namespace session
