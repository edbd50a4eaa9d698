#include "ZEPTraceSink_spdlog.h"

#include <spdlog/pattern_formatter.h>

#include <cerrno>
#include <csignal>
#include <ctime>
#include <system_error>

#include <fcntl.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

namespace zep {

namespace {

// A write to a pipe without a reader, or beyond the size limit for files, sends a signal that ends
// a process which does not expect it. Held back here, for this thread and this write only.
class WriteSignalsHeldBack {
public:
  WriteSignalsHeldBack() {
    sigset_t pending;
    sigpending(&pending);
    sigemptyset(&m_held);
    for (const int signal : {SIGPIPE, SIGXFSZ}) {
      if (sigismember(&pending, signal) == 0) {
        sigaddset(&m_held, signal);
      }
    }
    pthread_sigmask(SIG_BLOCK, &m_held, &m_previous);
  }

  ~WriteSignalsHeldBack() {
    const timespec noWait{};
    while (sigtimedwait(&m_held, nullptr, &noWait) > 0) {}
    pthread_sigmask(SIG_SETMASK, &m_previous, nullptr);
  }

  WriteSignalsHeldBack(const WriteSignalsHeldBack&) = delete;
  WriteSignalsHeldBack& operator=(const WriteSignalsHeldBack&) = delete;

private:
  sigset_t m_held;
  sigset_t m_previous;
};

bool IsRegularFile(int descriptor) {
  struct stat status {};
  return fstat(descriptor, &status) == 0 && S_ISREG(status.st_mode);
}

bool AreFilesLimited() {
  rlimit limit{};
  return getrlimit(RLIMIT_FSIZE, &limit) != 0 || limit.rlim_cur != RLIM_INFINITY;
}

// Number of bytes that were taken.
std::size_t WriteAll(int descriptor, const char* bytes, std::size_t size) {
  std::size_t written = 0;
  while (written < size) {
    const auto count = ::write(descriptor, bytes + written, size - written);
    if (count > 0) {
      written += static_cast<std::size_t>(count);
    } else if (count == 0 || errno != EINTR) {
      break;
    }
  }
  return written;
}

bool IsOpen(int descriptor) {
  return fcntl(descriptor, F_GETFD) != -1;
}

// Where the standard error was closed when the process began, a file that is opened later gets its
// number: a trace must not end up in that file.
const bool standardErrorWasOpenAtLoad = IsOpen(STDERR_FILENO);

// Opens for appending; never waits for the reader of a pipe and never takes the number of a
// standard stream.
int OpenForTrace(const char* path) {
  int descriptor =
      ::open(path, O_WRONLY | O_APPEND | O_CREAT | O_CLOEXEC | O_NOCTTY | O_NONBLOCK, S_IRUSR | S_IWUSR);
  if (descriptor >= 0 && descriptor <= STDERR_FILENO) {
    const int moved = fcntl(descriptor, F_DUPFD_CLOEXEC, STDERR_FILENO + 1);
    ::close(descriptor);
    descriptor = moved;
  }
  if (descriptor >= 0) {
    fcntl(descriptor, F_SETFL, fcntl(descriptor, F_GETFL) & ~O_NONBLOCK);
  }
  return descriptor;
}

std::size_t WriteWithoutSignal(int descriptor, const char* bytes, std::size_t size) {
  const WriteSignalsHeldBack guard;
  return WriteAll(descriptor, bytes, size);
}

void ReportUnusable(const std::string& path, int error) {
  const std::string report =
      "ZEP_TRACE_FILE: cannot write to " + path + ": " + std::generic_category().message(error) + "\n";
  WriteWithoutSignal(STDERR_FILENO, report.data(), report.size());
}

} // namespace

TraceSink::TraceSink(int descriptor, bool owned, TraceForm form)
    : m_descriptor(descriptor),
      m_owned(owned),
      m_isFile(owned && IsRegularFile(descriptor)) {
  const char* const pattern =
      form == TraceForm::JSON ? R"({"time":"%Y-%m-%dT%H:%M:%S.%fZ",%v)" : "%Y-%m-%dT%H:%M:%S.%fZ\t%v";
  set_formatter_(std::make_unique<spdlog::pattern_formatter>(pattern, spdlog::pattern_time_type::utc, "\n"));
}

TraceSink::~TraceSink() {
  if (m_owned) {
    ::close(m_descriptor);
  }
}

void TraceSink::sink_it_(const spdlog::details::log_msg& message) {
  spdlog::memory_buf_t line;
  if (m_midLine) {
    line.push_back('\n');
  }
  formatter_->format(message, line);
  Write(line.data(), line.size());
}

void TraceSink::Write(const char* bytes, std::size_t size) {
  // Holding signals back takes four system calls, and a file without a limit sends none.
  const bool sendsNoSignal = m_isFile && !AreFilesLimited();
  const std::size_t written =
      sendsNoSignal ? WriteAll(m_descriptor, bytes, size) : WriteWithoutSignal(m_descriptor, bytes, size);
  if (written > 0) {
    m_midLine = written < size;
  }
}

std::shared_ptr<TraceSink> OpenTraceSink(const std::string& path, TraceForm form) {
  if (path.empty() || path == "-") {
    return standardErrorWasOpenAtLoad ? std::make_shared<TraceSink>(STDERR_FILENO, false, form) : nullptr;
  }
  const int descriptor = OpenForTrace(path.c_str());
  if (descriptor < 0) {
    const int error = errno;
    if (standardErrorWasOpenAtLoad) {
      ReportUnusable(path, error);
    }
    return nullptr;
  }
  return std::make_shared<TraceSink>(descriptor, true, form);
}

} // namespace zep
