#pragma once

#include "CommandDescription.h"

#include <string>
#include <vector>

namespace zep::cli {

// What is said about a command as a whole.
struct CommandText {
  const char* command; // "stylesheet check"; empty: the program itself
  const char* text;    // in a few words
  std::vector<std::string> details;
  std::vector<Example> examples;
  const char* no; // when the exit code is 1; empty where it never is
  std::vector<Concern> concerns;
};

// Every command has one.
const CommandText& commandText(const std::string& command);

} // namespace zep::cli
