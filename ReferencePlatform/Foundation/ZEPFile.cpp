#include "ZEPFile.h"

#include "ZEPFilePath.h"
#include "ZEPHResult.h"
#include "ZEPUnicodeString.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstddef>
#include <cstring>
#include <fcntl.h>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <unistd.h>
#include <utility>

namespace {

// A file descriptor of the system that closes itself.
class SystemFile {
public:
  explicit SystemFile(int descriptor) : m_descriptor(descriptor) {}
  SystemFile(const SystemFile&) = delete;
  SystemFile& operator=(const SystemFile&) = delete;
  ~SystemFile() {
    if (IsOpen()) {
      close(m_descriptor);
    }
  }

  bool IsOpen() const { return m_descriptor >= 0; }
  int Get() const { return m_descriptor; }

private:
  int m_descriptor;
};

// A file that is read line by line.
class LineReader {
public:
  explicit LineReader(int descriptor) : m_file(descriptor) {}

  bool IsRegularFile() const {
    struct stat info;
    return fstat(m_file.Get(), &info) == 0 && S_ISREG(info.st_mode);
  }

  // A failed read is not the end: the next ReadLine has to report it.
  bool IsAtEnd() {
    const std::lock_guard lock(m_mutex);
    return !Fill() && !m_failed;
  }

  long ReadLine(char* buffer, std::size_t size) {
    const std::lock_guard lock(m_mutex);
    const std::size_t room = size - 1;
    std::size_t length = 0;
    bool lineEnded = false;
    while (length < room && !lineEnded && Fill()) {
      const char* const from = m_ahead.data() + m_read;
      const std::size_t most = std::min(room - length, m_filled - m_read);
      const void* const lineFeed = std::memchr(from, '\n', most);
      lineEnded = lineFeed != nullptr;
      const std::size_t count =
          lineEnded ? static_cast<std::size_t>(static_cast<const char*>(lineFeed) - from) + 1 : most;
      std::memcpy(buffer + length, from, count);
      length += count;
      m_read += count;
    }
    const bool complete = length > 0 && !m_failed;
    buffer[complete ? length : 0] = '\0';
    return complete ? S_OK : E_FAIL;
  }

private:
  // Makes sure that there are bytes to take. False at the end and after a failed read.
  bool Fill() {
    if (m_read == m_filled && !m_failed) {
      ssize_t count = 0;
      do {
        count = read(m_file.Get(), m_ahead.data(), m_ahead.size());
      } while (count < 0 && errno == EINTR);
      m_failed = count < 0;
      m_read = 0;
      m_filled = m_failed ? 0 : static_cast<std::size_t>(count);
    }
    return m_read < m_filled;
  }

  std::mutex m_mutex;
  SystemFile m_file;
  bool m_failed = false;
  std::size_t m_read = 0;
  std::size_t m_filled = 0;
  std::array<char, 16384> m_ahead;
};

// The open files by descriptor. A descriptor is not used again soon, so that one that was closed
// is not mistaken for another file.
class OpenFiles {
public:
  unsigned int Add(std::shared_ptr<LineReader> reader) {
    const std::lock_guard lock(m_mutex);
    do {
      ++m_lastDescriptor;
    } while (m_lastDescriptor == 0 || m_readers.count(m_lastDescriptor) != 0);
    m_readers.emplace(m_lastDescriptor, std::move(reader));
    return m_lastDescriptor;
  }

  std::shared_ptr<LineReader> Find(unsigned int descriptor) {
    const std::lock_guard lock(m_mutex);
    const auto entry = m_readers.find(descriptor);
    return entry == m_readers.end() ? nullptr : entry->second;
  }

  bool Remove(unsigned int descriptor) {
    const std::lock_guard lock(m_mutex);
    return m_readers.erase(descriptor) != 0;
  }

private:
  std::mutex m_mutex;
  std::map<unsigned int, std::shared_ptr<LineReader>> m_readers;
  unsigned int m_lastDescriptor = 0;
};

OpenFiles& Files() {
  static OpenFiles files;
  return files;
}

bool GetInfo(const ZEPUnicodeString& path, struct stat* info) {
  const std::optional<zep::FoundFile> found = zep::FindFile(path);
  if (found && info != nullptr) {
    *info = found->info;
  }
  return found.has_value();
}

long OpenRegularFile(const zep::FoundFile& found, std::shared_ptr<LineReader>& oReader) {
  if (!S_ISREG(found.info.st_mode)) {
    return E_FAIL;
  }
  // Not blocking: another kind of file may have taken the name meanwhile.
  const int descriptor = open(found.path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK | O_NOCTTY);
  if (descriptor < 0) {
    return errno == EACCES ? E_ACCESSDENIED : E_FAIL;
  }
  oReader = std::make_shared<LineReader>(descriptor);
  return oReader->IsRegularFile() ? S_OK : E_FAIL;
}

} // namespace

ZEPLibStatus ZEPGetFileInfo(const ZEPUnicodeString& iPath, struct stat* oInfo) {
  return GetInfo(iPath, oInfo) ? 0 : -1;
}

long ZEPFileStat(ZEPUnicodeString* iPath, struct stat* oInfo, int iFlags) {
  if (iPath == nullptr) {
    return E_POINTER;
  }
  if (iFlags != 0) {
    return E_INVALIDARG;
  }
  return GetInfo(*iPath, oInfo) ? S_OK : E_FAIL;
}

long ZEPFOpen(const ZEPUnicodeString& iPath, const char* iMode, unsigned int* oDescriptor) {
  if (oDescriptor == nullptr || iMode == nullptr) {
    return E_POINTER;
  }
  if (std::strcmp(iMode, "r") != 0) {
    return E_INVALIDARG;
  }
  const std::optional<zep::FoundFile> found = zep::FindFile(iPath);
  if (!found) {
    return E_FAIL;
  }
  std::shared_ptr<LineReader> reader;
  const long result = OpenRegularFile(*found, reader);
  if (ZEPSucceeded(result)) {
    *oDescriptor = Files().Add(std::move(reader));
  }
  return result;
}

int ZEPFEof(unsigned int iDescriptor) {
  // A descriptor that is not open has nothing to read: a loop that asks has to end.
  const std::shared_ptr<LineReader> reader = Files().Find(iDescriptor);
  return reader == nullptr || reader->IsAtEnd() ? 0 : 1;
}

long ZEPFGets(char* oBuffer, int iSize, unsigned int iDescriptor) {
  if (oBuffer == nullptr) {
    return E_POINTER;
  }
  if (iSize > 0) {
    oBuffer[0] = '\0';
  }
  // A buffer without room for a single byte would never get any further.
  if (iSize < 2) {
    return E_INVALIDARG;
  }
  const std::shared_ptr<LineReader> reader = Files().Find(iDescriptor);
  return reader == nullptr ? E_HANDLE : reader->ReadLine(oBuffer, static_cast<std::size_t>(iSize));
}

long ZEPFClose(unsigned int iDescriptor) {
  return Files().Remove(iDescriptor) ? S_OK : E_HANDLE;
}
