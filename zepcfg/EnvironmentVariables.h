#pragma once

#include <cstdint>
#include <string>
#include <vector>

// The environment variables that the program and the platform read: for the manual, and for finding out
// which of those that are set do nothing.
namespace zep::cli {

enum class VariableKind {
  text,
  onOff,  // 1 switches it on
  number, // a whole number from 1 to `most`
};

// What a command has to do with.
enum class Concern { stylesheets, server, transformation, filters, trace, terminal };

struct EnvironmentVariable {
  const char* name;
  Concern concern;
  VariableKind kind;
  const char* meaning;   // of a switch: where it is on
  const char* usual;     // what holds where it is not set; may be empty
  std::int64_t most = 0; // of a number
};

const std::vector<EnvironmentVariable>& environmentVariables();

// Null where nothing reads a variable of that name.
const EnvironmentVariable* findVariable(const std::string& name);

// Whether the value is one that counts. An empty one counts as not set.
bool isWellFormed(const EnvironmentVariable& variable, const std::string& value);

// "a whole number from 1 to 86400000"
std::string expectedValue(const EnvironmentVariable& variable);

} // namespace zep::cli
