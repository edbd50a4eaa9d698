#include "ZEPTraceSink_spdlog.h"

#include <spdlog/details/os.h>
#include <spdlog/fmt/fmt.h>

#include <cerrno>
#include <chrono>
#include <csignal>
#include <ctime>
#include <filesystem>
#include <iterator>
#include <string_view>
#include <system_error>
#include <utility>

#include <fcntl.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <unistd.h>

namespace zep {

namespace {

// The time, then the record. A pattern of spdlog would do the same, but make the text of the second anew for
// each record.
class RecordFormatter final : public spdlog::formatter {
public:
  explicit RecordFormatter(TraceForm form) : m_form(form) {}

  void format(const spdlog::details::log_msg& message, spdlog::memory_buf_t& line) override {
    using std::chrono::microseconds;
    using std::chrono::seconds;
    const auto time = message.time.time_since_epoch();
    const auto second = std::chrono::floor<seconds>(time);
    if (second != m_second) {
      NoteSecond(second);
    }
    Append(line, {m_secondText, m_secondLength});
    AppendSixDigits(line, std::chrono::duration_cast<microseconds>(time - second).count());
    Append(line, m_form == TraceForm::JSON ? std::string_view("Z\",") : std::string_view("Z\t"));
    Append(line, {message.payload.data(), message.payload.size()});
    line.push_back('\n');
  }
  std::unique_ptr<spdlog::formatter> clone() const override {
    return std::make_unique<RecordFormatter>(m_form);
  }

private:
  static void Append(spdlog::memory_buf_t& line, std::string_view text) {
    line.append(text.data(), text.data() + text.size());
  }
  static void AppendSixDigits(spdlog::memory_buf_t& line, long long number) {
    char digits[6];
    for (auto digit = std::rbegin(digits); digit != std::rend(digits); ++digit) {
      *digit = static_cast<char>('0' + number % 10);
      number /= 10;
    }
    Append(line, {digits, sizeof(digits)});
  }

  void NoteSecond(std::chrono::seconds second) {
    const std::tm utc = spdlog::details::os::gmtime(static_cast<std::time_t>(second.count()));
    m_secondLength =
        fmt::format_to_n(m_secondText, sizeof(m_secondText), "{}{:04}-{:02}-{:02}T{:02}:{:02}:{:02}.",
                         m_form == TraceForm::JSON ? R"({"time":")" : "", utc.tm_year + 1900, utc.tm_mon + 1,
                         utc.tm_mday, utc.tm_hour, utc.tm_min, utc.tm_sec)
            .size;
    m_second = second;
  }

  TraceForm m_form;
  std::chrono::seconds m_second = std::chrono::seconds::min();
  char m_secondText[64];
  std::size_t m_secondLength = 0;
};

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

// The C library asks by the call that can ask about other processes too, which takes twice as long.
int GetOwnLimit(rlimit& limit) {
#if defined(SYS_getrlimit) && defined(__LP64__)
  return static_cast<int>(::syscall(SYS_getrlimit, RLIMIT_FSIZE, &limit));
#else
  return getrlimit(RLIMIT_FSIZE, &limit);
#endif
}

// Anyone may set a limit at any time: it is asked for each record.
bool AreFilesLimited() {
  rlimit limit{};
  return GetOwnLimit(limit) != 0 || limit.rlim_cur != RLIM_INFINITY;
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

bool IsDescriptor(int descriptor) {
  return fcntl(descriptor, F_GETFD) != -1;
}

// Where the standard error was closed when the process began, a file that is opened later gets its
// number: a trace must not end up in that file.
const bool standardErrorWasOpenAtLoad = IsDescriptor(STDERR_FILENO);

// A host may close all descriptors (to become a daemon, say) and open others: the number alone does not tell
// whose file it is. A mark goes with the file that was opened and with no other. It is the signal that would
// tell that the file is ready, which nobody gets unless he asks. To look at it takes less than half as long
// as fstat(), and shows even the same file opened by another as foreign.
constexpr int kMark = SIGWINCH;

bool IsMarked(int descriptor) {
  return fcntl(descriptor, F_GETSIG) == kMark;
}

// Opens for appending, and marks the file; never waits for the reader of a pipe and never takes the number of
// a standard stream.
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
    if (fcntl(descriptor, F_SETSIG, kMark) != 0) {
      ::close(std::exchange(descriptor, -1));
    }
  }
  return descriptor;
}

// For a process that goes to another directory. The path as it is where the directory is gone.
std::string AbsolutePath(const std::string& path) {
  std::error_code ignored;
  const std::string absolute = std::filesystem::absolute(path, ignored).string();
  return absolute.empty() ? path : absolute;
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

TraceSink::TraceSink(TraceForm form) : m_descriptor(STDERR_FILENO) {
  set_formatter_(std::make_unique<RecordFormatter>(form));
}

TraceSink::TraceSink(const std::string& path, TraceForm form) : m_path(AbsolutePath(path)) {
  set_formatter_(std::make_unique<RecordFormatter>(form));
  Open(path);
}

TraceSink::~TraceSink() {
  if (OwnsFile() && IsMarked(m_descriptor)) {
    ::close(m_descriptor);
  }
}

bool TraceSink::Open(const std::string& path) {
  m_descriptor = OpenForTrace(path.c_str());
  if (!IsOpen()) {
    return false;
  }
  m_isFile = IsRegularFile(m_descriptor);
  return true;
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
  if (OwnsFile() && !IsMarked(m_descriptor) && !Open(m_path)) {
    return;
  }
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
    return standardErrorWasOpenAtLoad ? std::make_shared<TraceSink>(form) : nullptr;
  }
  auto sink = std::make_shared<TraceSink>(path, form);
  if (!sink->IsOpen()) {
    const int error = errno;
    if (standardErrorWasOpenAtLoad) {
      ReportUnusable(path, error);
    }
    return nullptr;
  }
  return sink;
}

} // namespace zep
