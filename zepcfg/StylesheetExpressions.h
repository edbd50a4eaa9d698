#pragma once

#include <string>
#include <string_view>
#include <vector>

// What can be told of an XPath expression from its words.
namespace zep::cli {

// The functions that it calls, each as it is written, with its prefix.
std::vector<std::string> calledFunctions(std::string_view expression);

bool refersToVariable(std::string_view expression, std::string_view name);

// The literals that the variable is compared with, right behind it.
std::vector<std::string> literalsComparedWith(std::string_view expression, std::string_view variable);

// The expressions in the braces of an attribute value template.
std::string expressionsInBraces(std::string_view value);

} // namespace zep::cli
