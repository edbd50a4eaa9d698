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

[[noreturn]] void endByClosedPipe() {
  std::signal(SIGPIPE, SIG_DFL);
  std::raise(SIGPIPE);
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
  std::signal(signalNumber, SIG_DFL);
  std::raise(signalNumber);
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
        std::signal(number, SIG_IGN);
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

// A device or a pipe cannot be replaced.
void writeInPlace(std::string_view bytes, const std::string& file) {
  const int descriptor = open(file.c_str(), O_WRONLY | O_CLOEXEC);
  if (descriptor < 0) {
    failWriting(inputName(file), errno);
  }
  const int error = writeAll(descriptor, bytes);
  close(descriptor);
  if (error != 0) {
    failWriting(inputName(file), error);
  }
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

void writeFile(std::string_view bytes, const std::string& file) {
  struct stat info;
  const bool exists = stat(file.c_str(), &info) == 0;
  if (exists && S_ISDIR(info.st_mode)) {
    failWriting(inputName(file), EISDIR);
  }
  if (const int descriptor = exists ? openDescriptorOf(info) : -1; descriptor >= 0) {
    writeTo(descriptor, bytes, inputName(file));
    return;
  }
  if (exists && !S_ISREG(info.st_mode)) {
    writeInPlace(bytes, file);
    return;
  }
  UnfinishedFile unfinished(behindLinks(file));
  writeTo(unfinished.descriptor(), bytes, inputName(file));
  unfinished.finish(exists ? info.st_mode & 07777U : modeOfNewFile());
}

} // namespace

void prepareOutput() {
  std::signal(SIGPIPE, SIG_IGN);
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
  if (!isStandardOutput(file)) {
    writeFile(text, file);
    return;
  }
  writeTo(STDOUT_FILENO, text, "standard output");
  if (isOutputTerminal(file) && !text.empty() && text.back() != '\n') {
    writeTo(STDOUT_FILENO, "\n", "standard output");
  }
}

void writeJSON(const nlohmann::ordered_json& object, const std::string& file) {
  const int indent = isOutputTerminal(file) ? indentOnTerminal : -1;
  writeResult(object.dump(indent, ' ', false, nlohmann::ordered_json::error_handler_t::replace) + "\n", file);
}

void writeNote(std::string_view text) {
  writeAll(STDERR_FILENO, text);
}

} // namespace zep::cli
