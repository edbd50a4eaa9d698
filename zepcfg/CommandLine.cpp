#include "CommandLine.h"

#include "CommandDefinitions.h"
#include "Failure.h"
#include "Output.h"
#include "Suggestion.h"
#include "Text.h"
#include "ZEPHResult.h"

#include <algorithm>
#include <exception>
#include <functional>
#include <sstream>
#include <string>
#include <vector>

namespace zep::cli {
namespace {

std::string joinedNames(const std::vector<std::string>& names) {
  std::string joined;
  for (std::size_t i = 0; i < names.size(); ++i) {
    joined += (i == 0 ? "" : i + 1 == names.size() ? " or " : ", ") + names[i];
  }
  return joined;
}

class CommandLine {
public:
  int run(int argc, const char* const* argv) {
    m_words = withTraceFileJoined(argc, argv);
    std::vector<std::string> words = m_words;
    std::reverse(words.begin(), words.end()); // the order in which the parser takes them
    try {
      m_definitions.app().parse(words);
      refuseUnknownWords();
    } catch (const CLI::Success& success) {
      return show(success);
    } catch (const CLI::ParseError& error) {
      writeNote("zepcfg: " + withoutControls(error.what()) + "; see zepcfg " + chosenCommand() + "--help\n");
      return exitFailed;
    }
    return runChosen();
  }

private:
  // The parser takes a text in brackets for a list, and leaves no trace of it.
  void refuseLists() const {
    for (const std::string& word : m_words) {
      if (startsWith(word, "[") && word.back() == ']') {
        failBadInput("'" + word + "'", "reading the identifiers", "no identifier begins with [",
                     "write identifiers one by one, each as type:logical:physical");
      }
    }
  }

  // The words behind the program's name. A file behind --trace is joined to it in front of the
  // command only: behind it, the next word may well be the input, which a trace must not spoil.
  std::vector<std::string> withTraceFileJoined(int argc, const char* const* argv) const {
    std::vector<std::string> words;
    bool isBeforeCommand = true;
    for (int i = 1; i < argc; ++i) {
      std::string word = argv[i];
      isBeforeCommand = isBeforeCommand && !isCommand(word) && word != "--";
      if (word == "--trace") {
        const bool hasFile =
            isBeforeCommand && i + 1 < argc && argv[i + 1][0] != '-' && !isCommand(argv[i + 1]);
        word += hasFile ? std::string("=") + argv[++i] : "=-";
      }
      words.push_back(std::move(word));
    }
    return words;
  }

  bool isCommand(const std::string& word) const {
    const std::vector<std::string> names = commandNames();
    return std::find(names.begin(), names.end(), word) != names.end();
  }

  std::vector<std::string> commandNames() const { return commandNames(m_definitions.app()); }

  // Those of the commands below one.
  static std::vector<std::string> commandNames(const CLI::App& app) {
    std::vector<std::string> names;
    for (const CLI::App* command : app.get_subcommands(nullptr)) {
      names.push_back(command->get_name());
    }
    return names;
  }

  static void addOptionNames(const CLI::App& app, std::vector<std::string>& names) {
    for (const CLI::Option* option : app.get_options()) {
      for (const std::string& name : option->get_lnames()) {
        names.push_back("--" + name);
      }
    }
  }

  // The innermost command that was named, or the program itself.
  const CLI::App* chosen() const {
    const CLI::App* command = &m_definitions.app();
    while (!command->get_subcommands().empty()) {
      command = command->get_subcommands().front();
    }
    return command;
  }

  std::string chosenCommand() const {
    std::string names;
    for (const CLI::App* command = chosen(); command != &m_definitions.app();
         command = command->get_parent()) {
      names.insert(0, command->get_name() + " ");
    }
    return names;
  }

  void refuseUnknownWords() const {
    const std::vector<std::string> unknown = m_definitions.app().remaining(true);
    const bool hasCommand = chosen() != &m_definitions.app();
    if (unknown.empty() && !hasCommand) {
      throw CLI::RequiredError("a command is missing: " + joinedNames(commandNames()),
                               CLI::ExitCodes::RequiredError);
    }
    if (unknown.empty()) {
      return;
    }
    const std::string& word = unknown.front();
    std::vector<std::string> known = commandNames(*chosen());
    addOptionNames(m_definitions.app(), known);
    addOptionNames(*chosen(), known);
    const std::string nearest = nearestWord(word.substr(0, word.find('=')), known);
    const std::string kind = startsWith(word, "-") ? "option" : hasCommand ? "argument" : "command";
    const std::string hint = !nearest.empty()                      ? ", did you mean " + nearest + "?"
                             : m_definitions.global().trace == "-" ? " (a file for the trace: --trace=FILE)"
                                                                   : "";
    throw CLI::ExtrasError("unknown " + kind + " '" + word + "'" + hint, CLI::ExitCodes::ExtrasError);
  }

  // --help and --version
  int show(const CLI::Success& success) {
    std::ostringstream text;
    m_definitions.app().exit(success, text, text);
    return guarded([&text] {
      writeResult(text.str(), "");
      return exitDone;
    });
  }

  int runChosen() {
    return guarded([this] {
      prepareEnvironment(m_definitions.global());
      if (chosen()->get_name() == "ids") {
        refuseLists();
      }
      return m_definitions.run(chosen());
    });
  }

  // Runs it and reports what failed.
  int guarded(const std::function<int()>& action) const {
    try {
      return action();
    } catch (const CommandFailure& failure) {
      report(failure.failure());
    } catch (const std::exception& error) {
      report({"zepcfg",
              "the command",
              E_UNEXPECTED,
              {error.what()},
              "",
              "run it again with --trace to see how far it came"});
    }
    return exitFailed;
  }

  void report(const Failure& failure) const {
    writeNote(failureReport(failure));
    if (!m_definitions.output().json) {
      return;
    }
    try {
      writeJSON(failureObject(failure), "");
    } catch (const CommandFailure& further) {
      writeNote(failureReport(further.failure()));
    }
  }

  std::vector<std::string> m_words;
  CommandDefinitions m_definitions;
};

} // namespace

int runCommandLine(int argc, const char* const* argv) {
  prepareOutput();
  return CommandLine().run(argc, argv);
}

} // namespace zep::cli
