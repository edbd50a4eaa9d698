#include "Manual.h"

#include "Text.h"

#include <algorithm>
#include <iterator>
#include <sstream>

namespace zep::cli {
namespace {

constexpr char program[] = "zepcfg";

// A text as roff takes it for what it is. Hyphens are those that one can type.
std::string roff(const std::string& text) {
  std::string escaped;
  for (const char character : text) {
    const bool isLineStart = escaped.empty() || escaped.back() == '\n';
    if (isLineStart && (character == '.' || character == '\'')) {
      escaped += "\\&";
    }
    escaped += character == '\\'   ? "\\e"
               : character == '-'  ? "\\-"
               : character == '\'' ? "\\(aq"
               : character == '`'  ? "\\(ga"
               : character == '^'  ? "\\(ha"
               : character == '~'  ? "\\(ti"
                                   : std::string(1, character);
  }
  return escaped;
}

// Broken into lines that are easy to read in the source too.
std::string filled(const std::string& text) {
  constexpr std::size_t longestLine = 79;
  std::string lines;
  std::size_t length = 0;
  std::istringstream words(text);
  for (std::string word; words >> word;) {
    const bool isNext = length + 1 + word.size() > longestLine;
    if (length > 0) {
      lines += isNext ? '\n' : ' ';
    }
    const bool isRequest = (isNext || lines.empty()) && (word[0] == '.' || word[0] == '\'');
    lines += (isRequest ? "\\&" : "") + word;
    length = (isNext ? 0 : length + 1) + word.size();
  }
  return lines;
}

std::string bold(const std::string& text) {
  return "\\fB" + roff(text) + "\\fR";
}

std::string italic(const std::string& text) {
  return "\\fI" + roff(text) + "\\fR";
}

std::string joined(const std::vector<std::string>& words, const char* between) {
  std::string all;
  for (const std::string& word : words) {
    all += (all.empty() ? "" : between) + word;
  }
  return all;
}

std::string capitals(std::string text) {
  for (char& character : text) {
    character = character >= 'a' && character <= 'z' ? static_cast<char>(character - 'a' + 'A') : character;
  }
  return text;
}

std::string sentence(const std::string& words) {
  return roff(asSentence(words));
}

std::string invocation(const CommandDescription& command) {
  return command.words.empty() ? program : std::string(program) + " " + joined(command.words, " ");
}

// ---- synopsis ----------------------------------------------------------------------------------

std::string valueOf(const OptionDescription& option) {
  if (option.value.empty()) {
    return "";
  }
  return option.isValueOptional ? "[=" + italic(option.value) + "]" : " " + italic(option.value);
}

bool isHelp(const OptionDescription& option) {
  return std::find(option.names.begin(), option.names.end(), "--help") != option.names.end();
}

std::string inSynopsis(const ArgumentDescription& argument) {
  const std::string name =
      argument.kind == ValueKind::choice ? bold(joined(argument.choices, "|")) : italic(argument.name);
  const std::string repeated = name + (argument.isRepeated ? "..." : "");
  return argument.isRequired ? repeated : "[" + repeated + "]";
}

std::string synopsis(const CommandDescription& command) {
  std::string line = bold(invocation(command));
  for (const OptionDescription& option : command.options) {
    if (!isHelp(option)) {
      line += " [" + bold(option.names.back()) + valueOf(option) + "]";
    }
  }
  for (const ArgumentDescription& argument : command.arguments) {
    line += " " + inSynopsis(argument);
  }
  return line + (command.words.empty() ? " " + italic("COMMAND") + " ..." : "");
}

// ---- sections ----------------------------------------------------------------------------------

std::string section(const char* title) {
  return std::string(".SH ") + title + "\n";
}

std::string item(const std::string& term, const std::string& text) {
  return ".TP\n" + term + "\n" + filled(text) + "\n";
}

std::string paragraphs(const std::vector<std::string>& texts) {
  std::string all;
  for (const std::string& text : texts) {
    all += (all.empty() ? "" : ".PP\n") + filled(roff(text)) + "\n";
  }
  return all;
}

std::string optionItem(const OptionDescription& option) {
  std::vector<std::string> names;
  std::transform(option.names.begin(), option.names.end(), std::back_inserter(names), bold);
  return item(joined(names, ", ") + valueOf(option), sentence(option.text));
}

std::string optionsSection(const CommandDescription& command) {
  std::string text;
  for (const ArgumentDescription& argument : command.arguments) {
    text += item(italic(argument.name), sentence(argument.text));
  }
  for (const OptionDescription& option : command.options) {
    text += optionItem(option);
  }
  const std::string shared =
      command.words.empty()
          ? "The options may stand in front of the command or behind it."
          : "The options of zepcfg(1), such as --json and --output, may stand behind the command too.";
  return section("OPTIONS") + text + ".PP\n" + filled(roff(shared)) + "\n";
}

// For the program itself alone.
std::string commandsSection(const Descriptions& all) {
  std::string text = section("COMMANDS");
  for (const CommandDescription& command : all) {
    if (!command.words.empty()) {
      text +=
          item(bold(joined(command.words, " ")), sentence(command.text + ": " + pageName(command) + "(1)"));
    }
  }
  return text;
}

std::string exitSection(const CommandDescription& command) {
  return section("EXIT STATUS") + item(bold("0"), "It is done.") +
         (command.no.empty() ? "" : item(bold("1"), sentence(command.no))) +
         item(bold("2"), "It failed; standard error says what, why and what to do about it.");
}

std::string meaningOf(const EnvironmentVariable& variable) {
  const std::string on = variable.kind == VariableKind::onOff ? "1: " : "";
  const std::string range = variable.kind == VariableKind::number ? ", " + expectedValue(variable) : "";
  const std::string usual =
      variable.usual[0] == '\0' ? "" : std::string(" (not set: ") + variable.usual + ")";
  return sentence(on + variable.meaning + range + usual);
}

std::string environmentSection(const CommandDescription& command) {
  std::string text;
  for (const EnvironmentVariable& variable : environmentVariables()) {
    if (std::find(command.concerns.begin(), command.concerns.end(), variable.concern) !=
        command.concerns.end()) {
      text += item(bold(variable.name), meaningOf(variable));
    }
  }
  return section("ENVIRONMENT") + text;
}

std::string examplesSection(const CommandDescription& command) {
  std::string text = section("EXAMPLES");
  bool isFirst = true;
  for (const Example& example : command.examples) {
    text +=
        (isFirst ? "" : ".PP\n") + (example.meaning.empty() ? "" : filled(roff(example.meaning)) + "\n.PP\n");
    text += ".EX\n" + roff(example.command) + "\n.EE\n";
    isFirst = false;
  }
  return text;
}

bool isRelated(const CommandDescription& command, const CommandDescription& other) {
  const std::size_t common = std::min(command.words.size(), other.words.size());
  const bool isAboveOrBelow = std::equal(
      command.words.begin(), command.words.begin() + static_cast<long>(common), other.words.begin());
  return isAboveOrBelow && pageName(command) != pageName(other);
}

std::string seeAlsoSection(const CommandDescription& command, const Descriptions& all) {
  std::vector<std::string> pages;
  for (const CommandDescription& other : all) {
    if (isRelated(command, other) ||
        (!command.words.empty() && other.words == std::vector<std::string>{"doctor"} &&
         command.words != other.words)) {
      pages.push_back("\\fB" + roff(pageName(other)) + "\\fR(1)");
    }
  }
  return section("SEE ALSO") + joined(pages, ",\n") + "\n";
}

} // namespace

std::string pageName(const CommandDescription& command) {
  return command.words.empty() ? program : std::string(program) + "-" + joined(command.words, "-");
}

std::string manualPage(const CommandDescription& command, const Descriptions& all, const Edition& edition) {
  const std::string name = pageName(command);
  return ".TH " + roff(capitals(name)) + " 1 " + edition.date + " \"" + program + " " + edition.version +
         "\" \"User Commands\"\n.nh\n" + section("NAME") + filled(roff(name) + " \\- " + roff(command.text)) +
         "\n" + section("SYNOPSIS") + filled(synopsis(command)) + "\n" + section("DESCRIPTION") +
         paragraphs(command.details) + (command.words.empty() ? commandsSection(all) : "") +
         optionsSection(command) + exitSection(command) + environmentSection(command) +
         examplesSection(command) + seeAlsoSection(command, all);
}

} // namespace zep::cli
