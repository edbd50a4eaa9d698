#include "Output.h"

#include "Failure.h"
#include "Text.h"

#include <array>
#include <cerrno>
#include <climits>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <optional>
#include <sys/stat.h>
#include <unistd.h>

namespace zep::cli {
namespace {

constexpr int indentOnTerminal = 2;
const char writing[] = "writing the result";

bool isStandardOutput(const std::string& file) {
  return file.empty() || file == "-";
}

[[noreturn]] void failWriting(const std::string& name, int error) {
  failUnable(name, writing, std::strerror(error), "check the place that the result goes to");
}

// As a program does that does not handle the signal.
void endBySignal(int number) {
  static_cast<void>(std::signal(number, SIG_DFL));
  static_cast<void>(std::raise(number));
}

[[noreturn]] void endByClosedPipe() {
  endBySignal(SIGPIPE);
  std::_Exit(exitFailed);
}

// 0, or the error number.
int writeAll(int descriptor, std::string_view bytes) {
  while (!bytes.empty()) {
    const ssize_t count = write(descriptor, bytes.data(), bytes.size());
    if (count < 0 && errno != EINTR) {
      return errno;
    }
    bytes.remove_prefix(count < 0 ? 0 : static_cast<std::size_t>(count));
  }
  return 0;
}

void writeTo(int descriptor, std::string_view bytes, const std::string& name) {
  const int error = writeAll(descriptor, bytes);
  if (error == EPIPE) {
    endByClosedPipe();
  }
  if (error != 0) {
    failWriting(name, error);
  }
}

// The file that is written beside the wanted one; a signal that ends the program removes it.
std::array<char, PATH_MAX> unfinishedFile{};

extern "C" void removeUnfinishedFile(int signalNumber) {
  unlink(unfinishedFile.data());
  endBySignal(signalNumber);
}

class UnfinishedFile {
public:
  explicit UnfinishedFile(const std::string& wanted) : m_wanted(wanted) {
    const std::string pattern = wanted + ".XXXXXX";
    if (pattern.size() >= unfinishedFile.size()) {
      failWriting(inputName(wanted), ENAMETOOLONG);
    }
    pattern.copy(unfinishedFile.data(), pattern.size());
    unfinishedFile.at(pattern.size()) = '\0';
    m_descriptor = mkostemp(unfinishedFile.data(), O_CLOEXEC);
    if (m_descriptor < 0) {
      failWriting(inputName(wanted), errno);
    }
    setSignals(removeUnfinishedFile);
  }
  ~UnfinishedFile() {
    if (m_descriptor >= 0) {
      close(m_descriptor);
    }
    if (!m_isFinished) {
      unlink(unfinishedFile.data());
    }
    setSignals(SIG_DFL);
  }
  UnfinishedFile(const UnfinishedFile&) = delete;
  UnfinishedFile& operator=(const UnfinishedFile&) = delete;

  int descriptor() const { return m_descriptor; }

  void finish(mode_t mode) {
    const bool isWritten = fchmod(m_descriptor, mode) == 0 && fsync(m_descriptor) == 0;
    const int error = isWritten ? 0 : errno;
    const bool isClosed = close(m_descriptor) == 0;
    m_descriptor = -1;
    if (!isWritten || !isClosed) {
      failWriting(inputName(m_wanted), isWritten ? errno : error);
    }
    if (std::rename(unfinishedFile.data(), m_wanted.c_str()) != 0) {
      failWriting(inputName(m_wanted), errno);
    }
    m_isFinished = true;
  }

private:
  // A signal that the program was started without stays ignored.
  static void setSignals(void (*handler)(int)) {
    for (const int number : {SIGINT, SIGTERM, SIGHUP}) {
      if (std::signal(number, handler) == SIG_IGN) {
        static_cast<void>(std::signal(number, SIG_IGN));
      }
    }
  }

  std::string m_wanted;
  int m_descriptor = -1;
  bool m_isFinished = false;
};

mode_t modeOfNewFile() {
  const mode_t mask = umask(0);
  umask(mask);
  return 0666 & ~mask;
}

// The file behind symbolic links, so that the link stays one.
std::string behindLinks(const std::string& file) {
  std::array<char, PATH_MAX> path{};
  return realpath(file.c_str(), path.data()) == nullptr ? file : std::string(path.data());
}

// The open descriptor that a name such as /dev/stdout stands for, or -1.
int openDescriptorOf(const struct stat& file) {
  for (const int descriptor : {STDOUT_FILENO, STDERR_FILENO}) {
    struct stat info;
    if (fstat(descriptor, &info) == 0 && info.st_dev == file.st_dev && info.st_ino == file.st_ino) {
      return descriptor;
    }
  }
  return -1;
}

} // namespace

void prepareOutput() {
  static_cast<void>(std::signal(SIGPIPE, SIG_IGN));
}

// Where a result goes: a descriptor that is open, a device or a pipe, which cannot be replaced, or a
// file that is written beside the wanted one.
struct ResultStream::Target {
  explicit Target(const std::string& file)
      : name(isStandardOutput(file) ? "standard output" : inputName(file)) {
    if (isStandardOutput(file)) {
      return;
    }
    struct stat info;
    const bool exists = stat(file.c_str(), &info) == 0;
    if (exists && S_ISDIR(info.st_mode)) {
      failWriting(name, EISDIR);
    }
    if (exists && openDescriptorOf(info) >= 0) {
      descriptor = openDescriptorOf(info);
    } else if (exists && !S_ISREG(info.st_mode)) {
      descriptor = open(file.c_str(), O_WRONLY | O_CLOEXEC);
      isOwned = true;
      if (descriptor < 0) {
        failWriting(name, errno);
      }
    } else {
      mode = exists ? info.st_mode & 07777U : modeOfNewFile();
      unfinished.emplace(behindLinks(file));
      descriptor = unfinished->descriptor();
    }
  }
  ~Target() {
    if (isOwned && descriptor >= 0) {
      close(descriptor);
    }
  }
  Target(const Target&) = delete;
  Target& operator=(const Target&) = delete;

  std::string name;
  int descriptor = STDOUT_FILENO;
  bool isOwned = false;
  mode_t mode = 0;
  std::optional<UnfinishedFile> unfinished;
};

namespace {

constexpr std::size_t fullBuffer = 65536; // bytes
constexpr std::chrono::milliseconds longestWait{50};

} // namespace

ResultStream::ResultStream(const std::string& file)
    : m_target(std::make_unique<Target>(file)),
      m_flushed(std::chrono::steady_clock::now()) {}

ResultStream::~ResultStream() = default;

void ResultStream::write(std::string_view text) {
  m_buffer += text;
  if (m_buffer.size() >= fullBuffer || std::chrono::steady_clock::now() - m_flushed >= longestWait) {
    flush();
  }
}

void ResultStream::flush() {
  writeTo(m_target->descriptor, m_buffer, m_target->name);
  m_buffer.clear();
  m_flushed = std::chrono::steady_clock::now();
}

void ResultStream::finish() {
  flush();
  if (m_target->unfinished) {
    m_target->unfinished->finish(m_target->mode);
  }
}

bool isOutputTerminal(const std::string& file) {
  return isStandardOutput(file) && isatty(STDOUT_FILENO) != 0;
}

bool wantsColours(const std::string& file) {
  const char* const refused = std::getenv("NO_COLOR");
  const char* const terminal = std::getenv("TERM");
  return isOutputTerminal(file) && (refused == nullptr || *refused == '\0') &&
         (terminal == nullptr || std::string_view(terminal) != "dumb");
}

void writeResult(std::string_view text, const std::string& file) {
  ResultStream result(file);
  result.write(text);
  if (isOutputTerminal(file) && !text.empty() && text.back() != '\n') {
    result.write("\n");
  }
  result.finish();
}

void writeJSON(const nlohmann::ordered_json& object, const std::string& file) {
  const int indent = isOutputTerminal(file) ? indentOnTerminal : -1;
  writeResult(object.dump(indent, ' ', false, nlohmann::ordered_json::error_handler_t::replace) + "\n", file);
}

void writeNote(std::string_view text) {
  writeAll(STDERR_FILENO, text);
}

} // namespace zep::cli
