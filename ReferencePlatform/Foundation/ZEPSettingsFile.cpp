#include "ZEPSettingsFile.h"

#include <algorithm>
#include <cerrno>
#include <cstddef>
#include <optional>
#include <string_view>
#include <system_error>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace zep {

namespace {

constexpr std::size_t kMostBytes = 1024 * 1024;
constexpr std::size_t kPieceBytes = 16 * 1024; // read at once
constexpr std::size_t kMostDots = 2000;

class OpenFile {
public:
  explicit OpenFile(const std::string& path)
      : m_descriptor(::open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NOCTTY | O_NONBLOCK)) {}
  ~OpenFile() {
    if (m_descriptor >= 0) {
      ::close(m_descriptor);
    }
  }
  OpenFile(const OpenFile&) = delete;
  OpenFile& operator=(const OpenFile&) = delete;

  int Descriptor() const { return m_descriptor; }

private:
  int m_descriptor;
};

SettingsProblem SystemProblem(const char* what, int error) {
  return {std::string(what) + ": " + std::generic_category().message(error)};
}

std::optional<SettingsProblem> WrongKind(const struct stat& info) {
  if (S_ISDIR(info.st_mode)) {
    return SettingsProblem{"is a directory, not a file"};
  }
  if (!S_ISREG(info.st_mode)) {
    return SettingsProblem{"is not a regular file"};
  }
  return std::nullopt;
}

// The whole file, or a little more than a settings file may have, whatever size the file claims to be.
std::variant<std::string, SettingsProblem> ReadUpToLimit(int descriptor) {
  std::string content;
  while (content.size() <= kMostBytes) {
    const std::size_t size = content.size();
    content.resize(size + kPieceBytes);
    const auto count = ::read(descriptor, content.data() + size, kPieceBytes);
    if (count < 0 && errno != EINTR) {
      return SystemProblem("cannot be read", errno);
    }
    content.resize(size + (count > 0 ? static_cast<std::size_t>(count) : 0));
    if (count == 0) {
      break;
    }
  }
  return content;
}

// Walks over a TOML text, from one string or comment to the next.
class CodeWalk {
public:
  explicit CodeWalk(std::string_view text) : m_rest(text) {}

  std::size_t CountDots() {
    std::size_t dots = 0;
    while (!m_rest.empty()) {
      switch (m_rest.front()) {
      case '#':
        SkipComment();
        break;
      case '"':
      case '\'':
        SkipString(m_rest.front());
        break;
      case '.':
        ++dots;
        [[fallthrough]];
      default:
        Drop(1);
      }
    }
    return dots;
  }

private:
  void Drop(std::size_t count) { m_rest.remove_prefix(std::min(count, m_rest.size())); }

  void SkipComment() { Drop(m_rest.find('\n')); }

  bool StartsWithQuotes(char quote, std::size_t count) const {
    return m_rest.substr(0, count) == std::string(count, quote);
  }

  void SkipString(char quote) {
    if (StartsWithQuotes(quote, 3)) {
      Drop(3);
      SkipUntil(quote, 3, false);
      // The text itself may end in two quotes, which stand in front of the three.
      for (int extra = 0; extra < 2 && StartsWithQuotes(quote, 1); ++extra) {
        Drop(1);
      }
    } else {
      Drop(1);
      SkipUntil(quote, 1, true);
    }
  }

  // Behind the closing quotes, or behind the end of a line that ends the string.
  void SkipUntil(char quote, std::size_t quotes, bool endsWithLine) {
    while (!m_rest.empty() && !StartsWithQuotes(quote, quotes)) {
      if (endsWithLine && m_rest.front() == '\n') {
        return;
      }
      Drop(quote == '"' && m_rest.front() == '\\' ? 2 : 1);
    }
    Drop(quotes);
  }

  std::string_view m_rest;
};

} // namespace

std::variant<std::string, SettingsProblem> ReadSettingsFile(const std::string& path) {
  const OpenFile file(path);
  if (file.Descriptor() < 0) {
    return SystemProblem("cannot be opened", errno);
  }
  struct stat info;
  if (fstat(file.Descriptor(), &info) != 0) {
    return SystemProblem("cannot be read", errno);
  }
  if (const auto problem = WrongKind(info)) {
    return *problem;
  }
  auto content = ReadUpToLimit(file.Descriptor());
  if (const auto* bytes = std::get_if<std::string>(&content);
      bytes != nullptr && bytes->size() > kMostBytes) {
    return SettingsProblem{"is larger than 1 MB"};
  }
  return content;
}

bool NestsTooDeeply(const std::string& toml) {
  return CodeWalk(toml).CountDots() > kMostDots;
}

} // namespace zep
