#pragma once

#include "CommandDescription.h"

#include <string>
#include <vector>

// What the completions of the three shells have in common.
namespace zep::cli {

std::string joinedWords(const std::vector<std::string>& words, const char* between = " ");

// In single quotes, as bash and zsh read it.
std::string quoted(const std::string& text);

// Whether one is a command right below the other.
bool isBelow(const CommandDescription& command, const CommandDescription& parent);

// Options that several commands have stand once. Throws where two of one name differ in their values: a
// shell that completes a value looks at the name alone.
std::vector<OptionDescription> distinctOptions(const std::vector<CommandDescription>& all);

// Names of the options whose value is the next word.
std::vector<std::string> namesWithValue(const std::vector<CommandDescription>& all);

// The names of commands, with all their words.
std::vector<std::string> commandNames(const std::vector<CommandDescription>& all);

// `text` with `to` in the place of the one `from`.
std::string filledIn(std::string text, const std::string& from, const std::string& to);

} // namespace zep::cli
