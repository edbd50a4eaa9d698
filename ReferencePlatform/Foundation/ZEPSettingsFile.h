#pragma once

#include <string>
#include <variant>

namespace zep {

// Why a settings file cannot be used, in words that follow the file's name.
struct SettingsProblem {
  std::string text;
};

// The content of a settings file. It never waits for the writer of a pipe and never reads more
// than a settings file may hold.
std::variant<std::string, SettingsProblem> ReadSettingsFile(const std::string& path);

// Nesting of tables is destroyed by recursion, and dotted keys nest without a limit of the parser:
// a text with more dots outside of its strings than any honest one has could end the process.
bool NestsTooDeeply(const std::string& toml);

} // namespace zep
