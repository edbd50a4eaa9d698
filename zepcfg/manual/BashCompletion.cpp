#include "Manual.h"
#include "ShellText.h"

#include <algorithm>
#include <iterator>

namespace zep::cli {
namespace {

std::string alternatives(const std::vector<std::string>& words) {
  std::vector<std::string> all;
  std::transform(words.begin(), words.end(), std::back_inserter(all), quoted);
  return joinedWords(all, "|");
}

// The shell command that completes a value.
std::string completionOf(ValueKind kind, const std::vector<std::string>& choices) {
  switch (kind) {
  case ValueKind::file:
    return "_zepcfg_files";
  case ValueKind::data:
    return "_zepcfg_data";
  case ValueKind::choice:
    return "_zepcfg_words " + quoted(joinedWords(choices));
  case ValueKind::text:
  case ValueKind::none:
    break;
  }
  return ":";
}

std::string valueCases(const Descriptions& all) {
  std::string cases;
  for (const OptionDescription& option : distinctOptions(all)) {
    if (!option.value.empty()) {
      cases +=
          "    " + alternatives(option.names) + ") " + completionOf(option.kind, option.choices) + " ;;\n";
    }
  }
  return cases;
}

std::string argumentCases(const Descriptions& all) {
  std::string cases;
  for (const CommandDescription& command : all) {
    int place = 0;
    for (const ArgumentDescription& argument : command.arguments) {
      const std::string where = argument.isRepeated ? "*" : std::to_string(place++);
      cases += "  " + quoted(joinedWords(command.words) + ":") + where + ") " +
               completionOf(argument.kind, argument.choices) + " ;;\n";
    }
  }
  return cases;
}

std::string optionNames(const CommandDescription& command) {
  std::string names;
  for (const OptionDescription& option : command.options) {
    names += (names.empty() ? "" : " ") + joinedWords(option.names);
  }
  return names;
}

std::string commandCases(const Descriptions& all) {
  std::string cases;
  for (const CommandDescription& command : all) {
    std::vector<std::string> below;
    for (const CommandDescription& other : all) {
      if (isBelow(other, command)) {
        below.push_back(other.words.back());
      }
    }
    cases += "  " + quoted(joinedWords(command.words)) + ") options=" + quoted(optionNames(command)) +
             " commands=" + quoted(joinedWords(below)) + " ;;\n";
  }
  return cases;
}

// To bash an equals sign, a colon and an "@" end a word. What is completed is such a part; which one it
// is, the whole words say.
constexpr char script[] = R"(# Completion of zepcfg for bash, made from its command line.

_zepcfg_words() {
  COMPREPLY=($(compgen -W "$1" -- "$part"))
}

_zepcfg_files() {
  local IFS=$'\n'
  COMPREPLY=($(compgen -f -- "$part"))
  compopt -o filenames 2>/dev/null
}

# A file behind "@", which is replaced too, though it is no part of the last word.
_zepcfg_data() {
  if [[ $word == @* ]]; then
    part=${word#@}
    _zepcfg_files
    COMPREPLY=("${COMPREPLY[@]/#/@}")
  fi
}

# Leaves the whole words in front of the cursor.
_zepcfg_whole_words() {
  local rest=${COMP_LINE:0:COMP_POINT} trimmed i
  words=()
  for ((i = 0; i <= COMP_CWORD; i++)); do
    trimmed=${rest#"${rest%%[![:space:]]*}"}
    if [[ $i -gt 0 && $trimmed == "$rest" ]]; then
      words[${#words[@]}-1]+=${COMP_WORDS[i]}
    else
      words+=("${COMP_WORDS[i]}")
    fi
    rest=${trimmed#"${COMP_WORDS[i]}"}
  done
}

_zepcfg() {
  local words part=${COMP_WORDS[COMP_CWORD]} command= count=0 option= options= commands= longer word
  COMPREPLY=()
  _zepcfg_whole_words
  for word in "${words[@]:1:${#words[@]}-2}"; do
    if [[ -n $option ]]; then
      option=
      continue
    fi
    longer=${command:+$command }$word
    case $word in
    @VALUES@) option=$word ;;
    -*) ;;
    *)
      case $count:$longer in
      @COMMANDS@) command=$longer ;;
      *) ((count += 1)) ;;
      esac
      ;;
    esac
  done
  word=${words[${#words[@]}-1]}
  if [[ $word == --*=* && -z $option ]]; then
    option=${word%%=*} word=${word#*=}
    [[ $part == '=' ]] && part=
  fi
  if [[ -n $option ]]; then
    case $option in
@VALUECASES@    esac
    return
  fi
  case $command in
@COMMANDCASES@  esac
  if [[ $word == -* ]]; then
    _zepcfg_words "$options "@GLOBAL@
    return
  fi
  if [[ $count == 0 && -n $commands ]]; then
    _zepcfg_words "$commands"
  fi
  case $command:$count in
@ARGUMENTCASES@  esac
}

complete -F _zepcfg zepcfg
)";

} // namespace

std::string bashCompletion(const Descriptions& all) {
  std::vector<std::string> countedNames;
  for (const std::string& name : commandNames(all)) {
    countedNames.push_back("0:" + name);
  }
  std::string text = filledIn(script, "@VALUES@", alternatives(namesWithValue(all)));
  text = filledIn(text, "@COMMANDS@", alternatives(countedNames));
  text = filledIn(text, "@VALUECASES@", valueCases(all));
  text = filledIn(text, "@COMMANDCASES@", commandCases(all));
  text = filledIn(text, "@GLOBAL@", quoted(optionNames(all.front())));
  return filledIn(text, "@ARGUMENTCASES@", argumentCases(all));
}

} // namespace zep::cli
