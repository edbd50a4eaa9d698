#pragma once

#include "ChildProcess.h"

#include <string>
#include <vector>

// Formatting with Saxon-HE, in a Java machine beside this program.
namespace saxon {

// Whether this build found Java and Saxon.
bool isAvailable();

// A list of expressions and one compiled stylesheet.
class Formatter {
public:
  Formatter(const std::string& stylesheet, const std::vector<std::string>& expressions);

  const std::vector<std::string>& FirstTexts() const { return m_firstTexts; }
  // Formats the list until the machine has compiled what it wants to compile.
  void WarmUp();
  // Formats the list once: all the processor time of the machine, so with its garbage collection.
  double SecondsOfPass();

private:
  bench::Companion m_machine;
  std::vector<std::string> m_firstTexts;
};

} // namespace saxon
