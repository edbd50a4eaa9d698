#include "Manual.h"
#include "ShellText.h"

namespace zep::cli {
namespace {

// In what _arguments is told some characters end a part.
std::string plain(const std::string& text) {
  std::string escaped;
  for (const char character : text) {
    const bool isSpecial = character == '[' || character == ']' || character == ':' || character == '\\';
    escaped += (isSpecial ? "\\" : "") + std::string(1, character);
  }
  return escaped;
}

std::string functionName(const CommandDescription& command) {
  return "_zepcfg" + (command.words.empty() ? "" : "_" + joinedWords(command.words, "_"));
}

std::string actionOf(ValueKind kind, const std::vector<std::string>& choices) {
  switch (kind) {
  case ValueKind::file:
    return "_files";
  case ValueKind::data:
    return "_zepcfg_data";
  case ValueKind::choice:
    return "(" + joinedWords(choices) + ")";
  case ValueKind::text:
  case ValueKind::none:
    break;
  }
  return "";
}

// "{-o+,--output=}'[text]:FILE:_files'"
std::string entry(const OptionDescription& option) {
  std::vector<std::string> names;
  for (const std::string& name : option.names) {
    const bool isLong = name.compare(0, 2, "--") == 0;
    names.push_back(name + (option.value.empty() ? "" : option.isValueOptional ? "=-" : isLong ? "=" : "+"));
  }
  const std::string value = option.value.empty()
                                ? ""
                                : (option.isValueOptional ? "::" : ":") + plain(option.value) + ":" +
                                      actionOf(option.kind, option.choices);
  const std::string excluded = "(" + joinedWords(option.names) + ")";
  const std::string name = names.size() == 1 ? quoted(names.front()) : "{" + joinedWords(names, ",") + "}";
  return quoted(excluded) + name + quoted("[" + plain(option.text) + "]" + value);
}

std::string entry(const ArgumentDescription& argument, int place) {
  const std::string where = argument.isRepeated ? "*" : std::to_string(place);
  const std::string colons = argument.isRepeated || argument.isRequired ? ":" : "::";
  return quoted(where + colons + plain(argument.name) + ":" + actionOf(argument.kind, argument.choices));
}

std::string entries(const CommandDescription& command) {
  std::string text;
  for (const OptionDescription& option : command.options) {
    text += "    " + entry(option) + "\n";
  }
  int place = 0;
  for (const ArgumentDescription& argument : command.arguments) {
    text += "    " + entry(argument, ++place) + "\n";
  }
  return text;
}

constexpr char branching[] = R"(  local curcontext=$curcontext state line
  local -a options commands
@EVERYWHERE@  options=(
@OPTIONS@  )
  commands=(
@COMMANDS@  )
  _arguments -C $options $everywhere '1: :->command' '*:: :->rest' && return
  case $state in
  command) _describe -t commands command commands ;;
  rest)
    case $line[1] in
@CASES@    esac
    ;;
  esac
)";

// Those that may stand behind every command; the functions of all of them see the list.
std::string globalOptions(const CommandDescription& program) {
  return "  local -a everywhere\n  everywhere=(\n" + entries(program) + "  )\n";
}

// One command, and those below it.
std::string function(const CommandDescription& command, const Descriptions& all) {
  std::string commands;
  std::string cases;
  for (const CommandDescription& other : all) {
    if (isBelow(other, command)) {
      commands += "    " + quoted(plain(other.words.back()) + ":" + other.text) + "\n";
      cases += "    " + other.words.back() + ") " + functionName(other) + " ;;\n";
    }
  }
  std::string body;
  if (!commands.empty()) {
    body = filledIn(branching, "@OPTIONS@", command.words.empty() ? "" : entries(command));
    body = filledIn(body, "@EVERYWHERE@", command.words.empty() ? globalOptions(command) : "");
    body = filledIn(body, "@COMMANDS@", commands);
    body = filledIn(body, "@CASES@", cases);
  } else {
    body =
        "  local -a options\n  options=(\n" + entries(command) + "  )\n  _arguments $options $everywhere\n";
  }
  return functionName(command) + "() {\n" + body + "}\n\n";
}

constexpr char start[] = R"(#compdef zepcfg
# Completion of zepcfg for zsh, made from its command line.

# A file behind "@".
_zepcfg_data() {
  compset -P @ && _files
}

)";

} // namespace

std::string zshCompletion(const Descriptions& all) {
  std::string functions;
  for (const CommandDescription& command : all) {
    functions += function(command, all);
  }
  return start + functions + "_zepcfg \"$@\"\n";
}

} // namespace zep::cli
