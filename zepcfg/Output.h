#pragma once

#include <chrono>
#include <memory>
#include <nlohmann/json.hpp>
#include <string>
#include <string_view>

// What commands write. Failures to write throw CommandFailure.
namespace zep::cli {

// A pipe whose reader is gone ends the program the way it ends any other, but only here: a server
// that closes its connection must not.
void prepareOutput();

// Writes the text to standard output, or to a file that appears all at once ("-" or empty: standard
// output). Nothing is added, except that on a terminal the last line is ended.
void writeResult(std::string_view text, const std::string& file);

// One object as one line, indented on a terminal.
void writeJSON(const nlohmann::ordered_json& object, const std::string& file);

// A result that is written piece by piece. A file appears at its finish(), all at once; without one it
// does not appear.
class ResultStream {
public:
  explicit ResultStream(const std::string& file);
  ~ResultStream();
  ResultStream(const ResultStream&) = delete;
  ResultStream& operator=(const ResultStream&) = delete;

  void write(std::string_view text);
  void flush(); // what was written so far can be seen now
  void finish();

private:
  struct Target;
  std::unique_ptr<Target> m_target;
  std::string m_buffer;
  std::chrono::steady_clock::time_point m_flushed;
};

// One line or more on standard error. Never fails.
void writeNote(std::string_view text);

bool isOutputTerminal(const std::string& file);
// Whether standard output may be coloured.
bool wantsColours(const std::string& file);

} // namespace zep::cli
