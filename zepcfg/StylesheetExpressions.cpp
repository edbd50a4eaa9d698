#include "StylesheetExpressions.h"

#include <algorithm>
#include <array>
#include <cctype>

namespace zep::cli {
namespace {

constexpr std::string_view whiteSpace = " \t\r\n";

// They stand in front of a bracket too.
constexpr std::array<std::string_view, 8> nodeTestsAndOperators{
    "text", "node", "comment", "processing-instruction", "and", "or", "div", "mod"};

bool isNameCharacter(char character) {
  const auto byte = static_cast<unsigned char>(character);
  return std::isalnum(byte) != 0 || byte >= 0x80 || character == '-' || character == '_' ||
         character == '.' || character == ':';
}

bool isNameStart(char character) {
  return isNameCharacter(character) && std::isdigit(static_cast<unsigned char>(character)) == 0 &&
         character != '-' && character != '.' && character != ':';
}

// What stands between quotes in an expression, blanked out.
std::string withoutLiterals(std::string_view expression) {
  std::string result(expression);
  char quote = '\0';
  for (char& character : result) {
    const char original = character;
    if (quote != '\0') {
      character = ' ';
      quote = original == quote ? '\0' : quote;
    } else if (original == '"' || original == '\'') {
      quote = original;
    }
  }
  return result;
}

// The name that ends there, without an axis in front of it; empty where none does.
std::string nameBefore(std::string_view code, std::size_t end) {
  std::size_t start = end;
  while (start > 0 && isNameCharacter(code[start - 1])) {
    --start;
  }
  std::string_view name = code.substr(start, end - start);
  const std::size_t axis = name.rfind("::");
  name.remove_prefix(axis == std::string_view::npos ? 0 : axis + 2);
  while (!name.empty() && !isNameStart(name.front())) {
    name.remove_prefix(1); // "1-count"
  }
  return std::string(name);
}

// The places behind the variable's name.
std::vector<std::size_t> endsOfReferences(const std::string& code, std::string_view name) {
  const std::string reference = "$" + std::string(name);
  std::vector<std::size_t> ends;
  for (std::size_t at = code.find(reference); at != std::string::npos; at = code.find(reference, at + 1)) {
    const std::size_t end = at + reference.size();
    if (end == code.size() || !isNameCharacter(code[end])) {
      ends.push_back(end);
    }
  }
  return ends;
}

} // namespace

std::vector<std::string> calledFunctions(std::string_view expression) {
  const std::string code = withoutLiterals(expression);
  std::vector<std::string> names;
  for (std::size_t open = code.find('('); open != std::string::npos; open = code.find('(', open + 1)) {
    const std::size_t last = open == 0 ? std::string::npos : code.find_last_not_of(whiteSpace, open - 1);
    const std::string name = last == std::string::npos ? "" : nameBefore(code, last + 1);
    if (!name.empty() && std::find(nodeTestsAndOperators.begin(), nodeTestsAndOperators.end(), name) ==
                             nodeTestsAndOperators.end()) {
      names.push_back(name);
    }
  }
  return names;
}

bool refersToVariable(std::string_view expression, std::string_view name) {
  return !endsOfReferences(withoutLiterals(expression), name).empty();
}

std::vector<std::string> literalsComparedWith(std::string_view expression, std::string_view variable) {
  std::vector<std::string> literals;
  for (const std::size_t end : endsOfReferences(withoutLiterals(expression), variable)) {
    std::string_view rest = expression.substr(end);
    const auto skip = [&rest](std::string_view characters) {
      rest.remove_prefix(std::min(rest.find_first_not_of(characters), rest.size()));
    };
    skip(whiteSpace);
    const bool isComparison = !rest.empty() && (rest.front() == '=' || rest.front() == '!');
    skip("!=");
    skip(whiteSpace);
    if (isComparison && !rest.empty() && (rest.front() == '"' || rest.front() == '\'')) {
      literals.emplace_back(rest.substr(1, rest.find(rest.front(), 1) - 1));
    }
  }
  return literals;
}

std::string expressionsInBraces(std::string_view value) {
  std::string expressions;
  for (std::size_t open = value.find('{'); open != std::string_view::npos; open = value.find('{', open)) {
    const std::size_t close = std::min(value.find('}', open), value.size());
    expressions.append(value.substr(open + 1, close - open - 1)).append(" ");
    open = close;
  }
  return expressions;
}

} // namespace zep::cli
