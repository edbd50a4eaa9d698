#include "LineReader.h"

#include "Input.h"

#include <sys/stat.h>
#include <utility>

namespace zep::cli {
namespace {

std::size_t sizeOf(int descriptor) {
  struct stat info;
  return fstat(descriptor, &info) == 0 && S_ISREG(info.st_mode) ? static_cast<std::size_t>(info.st_size) : 0;
}

} // namespace

LineReader::LineReader(const std::string& file, std::function<void(int descriptor)> beforeWaiting)
    : m_file(file),
      m_beforeWaiting(std::move(beforeWaiting)),
      m_descriptor(openInput(file)),
      m_bytesInAll(sizeOf(m_descriptor)) {}

LineReader::~LineReader() {
  closeInput(m_descriptor);
}

std::optional<double> LineReader::share() const {
  return m_bytesInAll == 0
             ? std::nullopt
             : std::optional<double>(static_cast<double>(m_bytesRead) / static_cast<double>(m_bytesInAll));
}

bool LineReader::fill() {
  if (m_isAtEnd) {
    return false;
  }
  m_beforeWaiting(m_descriptor);
  m_buffer.erase(0, m_start);
  m_start = 0;
  const std::size_t count = readPiece(m_file, m_descriptor, m_buffer);
  m_bytesRead += count;
  m_isAtEnd = count == 0;
  return !m_isAtEnd;
}

Line LineReader::take(std::size_t end) {
  Line line{m_buffer.substr(m_start, end - m_start)};
  if (!line.text.empty() && line.text.back() == '\r') {
    line.text.pop_back();
  }
  m_start = end;
  return line;
}

// Up to the line feed that ends the line, without keeping any of it.
void LineReader::skipRest() {
  do {
    const std::size_t end = m_buffer.find('\n', m_start);
    if (end != std::string::npos) {
      m_start = end + 1;
      return;
    }
    m_start = m_buffer.size();
  } while (fill());
}

std::optional<Line> LineReader::next() {
  std::size_t searched = m_start;
  for (;;) {
    const std::size_t end = m_buffer.find('\n', searched);
    if (end != std::string::npos) {
      Line line = take(end);
      ++m_start;
      return line;
    }
    if (m_buffer.size() - m_start > largestInput) {
      skipRest();
      return Line{"", true};
    }
    const std::size_t unread = m_buffer.size() - m_start;
    if (!fill()) {
      return unread == 0 ? std::nullopt : std::optional<Line>(take(m_buffer.size()));
    }
    searched = m_start + unread;
  }
}

} // namespace zep::cli
