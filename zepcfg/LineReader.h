#pragma once

#include <cstddef>
#include <functional>
#include <optional>
#include <string>

namespace zep::cli {

// A line of a stream; `isTooLong` where it is beyond what an input may have, and was skipped.
struct Line {
  std::string text;
  bool isTooLong = false;
};

// Reads a file or standard input line by line, in memory that does not grow with their number.
class LineReader {
public:
  // Throws CommandFailure when the file cannot be read. `beforeWaiting` is called before each read
  // that may have to wait: what is known by then should be seen by then.
  LineReader(const std::string& file, std::function<void(int descriptor)> beforeWaiting);
  ~LineReader();
  LineReader(const LineReader&) = delete;
  LineReader& operator=(const LineReader&) = delete;

  // Without its line feed (or carriage return and line feed); nothing at the end.
  std::optional<Line> next();

  // How much of the input has been read, between 0 and 1; nothing where its size is not known.
  std::optional<double> share() const;

private:
  bool fill(); // false at the end
  void skipRest();
  Line take(std::size_t end);

  std::string m_file;
  std::function<void(int)> m_beforeWaiting;
  int m_descriptor;
  std::string m_buffer;
  std::size_t m_start = 0; // of the next line in the buffer
  bool m_isAtEnd = false;
  std::size_t m_bytesRead = 0;
  std::size_t m_bytesInAll = 0; // 0: not known
};

} // namespace zep::cli
