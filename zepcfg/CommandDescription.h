#pragma once

#include "EnvironmentVariables.h"

#include <string>
#include <vector>

// What the definitions of the command line say, for a manual and for the completions of shells.
namespace zep::cli {

enum class ValueKind {
  none,
  text,
  file,
  data,   // a text, or a file behind "@"
  choice, // one of some words
};

struct OptionDescription {
  std::vector<std::string> names; // "-o", "--output"
  std::string value;              // "FILE"; empty for a switch
  bool isValueOptional = false;   // and then behind "=" alone
  ValueKind kind = ValueKind::none;
  std::vector<std::string> choices;
  std::string text;
};

struct ArgumentDescription {
  std::string name;
  ValueKind kind;
  std::vector<std::string> choices;
  bool isRequired;
  bool isRepeated;
  std::string text;
};

struct Example {
  std::string meaning; // empty where the command line says it all
  std::string command;
};

struct CommandDescription {
  std::vector<std::string> words;   // {"stylesheet", "check"}; none for the program itself
  std::string text;                 // in a few words
  std::vector<std::string> details; // paragraphs
  std::vector<Example> examples;    // one at least
  std::string no;                   // when the exit code is 1; empty where it never is
  std::vector<Concern> concerns;
  std::vector<OptionDescription> options;
  std::vector<ArgumentDescription> arguments;
};

// The program itself comes first, a command in front of its own commands.
std::vector<CommandDescription> describeCommandLine();

} // namespace zep::cli
