#pragma once

#include <string>
#include <vector>

#include <sys/types.h>

// A program that a benchmark starts.
namespace bench {

// Runs it to its end, with these files as its standard input and output. The processor time that it took,
// the system's share included, in seconds. A failure of the program ends the benchmark.
double secondsOf(const std::vector<std::string>& command, const std::string& inputFile,
                 const std::string& outputFile);

// One that answers a line for each line, and ends when nobody asks any more.
class Companion {
public:
  explicit Companion(const std::vector<std::string>& command);
  ~Companion();
  Companion(const Companion&) = delete;
  Companion& operator=(const Companion&) = delete;

  void Ask();
  std::string Answer();
  // All processor time it has taken so far, of every thread.
  double Seconds() const;

private:
  pid_t m_process = -1;
  int m_questions = -1;
  int m_answers = -1;
};

} // namespace bench
