#include "Manual.h"
#include "ShellText.h"

namespace zep::cli {
namespace {

std::string inQuotes(const std::string& text) {
  std::string result = "'";
  for (const char character : text) {
    result += (character == '\'' || character == '\\' ? "\\" : "") + std::string(1, character);
  }
  return result + "'";
}

std::string quotedEach(const std::vector<std::string>& words) {
  std::vector<std::string> all;
  for (const std::string& word : words) {
    all.push_back(inQuotes(word));
  }
  return joinedWords(all);
}

std::string completionOf(ValueKind kind, const std::vector<std::string>& choices) {
  switch (kind) {
  case ValueKind::file:
    return " -F";
  case ValueKind::data:
    return " -a '(__zepcfg_data)'";
  case ValueKind::choice:
    return " -a " + inQuotes(joinedWords(choices));
  case ValueKind::text:
  case ValueKind::none:
    break;
  }
  return "";
}

std::string line(const std::string& condition) {
  return "complete -c zepcfg" + (condition.empty() ? "" : " -n " + inQuotes(condition));
}

// Holds in that command, where a count is given behind so many arguments.
std::string at(const CommandDescription& command, const std::string& count = "") {
  return "__zepcfg_at " + inQuotes(joinedWords(command.words)) + (count.empty() ? "" : " " + count);
}

std::string optionLine(const OptionDescription& option, const std::string& condition) {
  std::string text = line(condition);
  for (const std::string& name : option.names) {
    text += name.compare(0, 2, "--") == 0 ? " -l " + name.substr(2) : " -s " + name.substr(1);
  }
  // To fish, a value that may be left out is none.
  const bool hasValue = !option.value.empty();
  const bool isRequired = hasValue && !option.isValueOptional;
  const char* const needs = option.kind == ValueKind::file ? " -r" : " -x";
  return text + (isRequired ? needs + completionOf(option.kind, option.choices) : "") + " -d " +
         inQuotes(option.text) + "\n";
}

// The value of such an option, behind "=".
std::string optionalValueLine(const OptionDescription& option) {
  const std::string pattern = option.names.back() + "=*";
  return line("string match -q -- \"" + pattern + "\" (commandline -ct)") +
         completionOf(option.kind, option.choices) + "\n";
}

std::string linesOf(const CommandDescription& command, const Descriptions& all) {
  std::string text;
  for (const OptionDescription& option : command.options) {
    text += optionLine(option, command.words.empty() ? "" : at(command));
    text += option.isValueOptional ? optionalValueLine(option) : "";
  }
  for (const CommandDescription& other : all) {
    if (isBelow(other, command)) {
      text += line(at(command, "0")) + " -a " + other.words.back() + " -d " + inQuotes(other.text) + "\n";
    }
  }
  int place = 0;
  for (const ArgumentDescription& argument : command.arguments) {
    const std::string completion = completionOf(argument.kind, argument.choices);
    const std::string count = argument.isRepeated ? "" : std::to_string(place++);
    text += completion.empty() ? "" : line(at(command, count)) + completion + "\n";
  }
  return text;
}

constexpr char helpers[] = R"(# Completion of zepcfg for fish, made from its command line.

# Whether that command is being written, and so many arguments stand behind it.
function __zepcfg_at
    set -l command
    set -l count 0
    set -l isValue no
    for word in (commandline -opc)[2..]
        if test $isValue = yes
            set isValue no
            continue
        end
        switch $word
            case @VALUES@
                set isValue yes
            case '-*'
            case '*'
                set -l longer (string join ' ' -- $command $word)
                if test $count = 0; and contains -- $longer @COMMANDS@
                    set command $longer
                else
                    set count (math $count + 1)
                end
        end
    end
    test "$command" = "$argv[1]"; and begin
        test (count $argv) = 1; or test $count = "$argv[2]"
    end
end

# A file behind "@".
function __zepcfg_data
    set -l word (commandline -ct)
    if string match -q '@*' -- $word
        __fish_complete_path (string sub -s 2 -- $word) | string replace -r '^' '@'
    end
end

complete -c zepcfg -f
)";

} // namespace

std::string fishCompletion(const Descriptions& all) {
  std::string text = filledIn(helpers, "@VALUES@", quotedEach(namesWithValue(all)));
  text = filledIn(text, "@COMMANDS@", quotedEach(commandNames(all)));
  for (const CommandDescription& command : all) {
    text += linesOf(command, all);
  }
  return text;
}

} // namespace zep::cli
