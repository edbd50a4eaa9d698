#pragma once

#include "CommandDescription.h"

#include <string>
#include <vector>

// What is installed beside the program, made from the definitions of its command line.
namespace zep::cli {

using Descriptions = std::vector<CommandDescription>;

struct Edition {
  std::string version;
  std::string date; // of the manual, as 2024-05-01
};

// "zepcfg-stylesheet-check"
std::string pageName(const CommandDescription& command);

// The page of section 1 about one of the commands, in the language of man(7).
std::string manualPage(const CommandDescription& command, const Descriptions& all, const Edition& edition);

std::string bashCompletion(const Descriptions& all);
std::string zshCompletion(const Descriptions& all);
std::string fishCompletion(const Descriptions& all);

} // namespace zep::cli
