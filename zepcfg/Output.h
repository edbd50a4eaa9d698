#pragma once

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

// One line or more on standard error. Never fails.
void writeNote(std::string_view text);

bool isOutputTerminal(const std::string& file);
// Whether standard output may be coloured.
bool wantsColours(const std::string& file);

} // namespace zep::cli
