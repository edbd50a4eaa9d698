#include "CommandLine.h"

#include "Commands.h"
#include "Environment.h"
#include "Failure.h"
#include "Output.h"
#include "Suggestion.h"
#include "Text.h"
#include "ZEPHResult.h"

#include <CLI/CLI.hpp>

#include <exception>
#include <functional>
#include <map>
#include <memory>
#include <sstream>
#include <string>
#include <vector>

namespace zep::cli {
namespace {

// Everything that the command line says.
struct Arguments {
  GlobalOptions global;
  OutputOptions output;
  StreamOptions stream;
  FormatOptions format;
  SplitOptions split;
  StripOptions strip;
  AlwaysTrueOptions alwaysTrue;
  CompileOptions compile;
  IncludesOptions includes;
  CallOptions call;
  IdsOptions ids;
  StylesheetOptions stylesheet;
  StylesheetCheckOptions check;
};

// Help begins with an example.
class HelpFormatter : public CLI::Formatter {
public:
  void setExample(const CLI::App* app, const std::string& example) { m_examples[app] = example; }

  std::string make_help(const CLI::App* app, std::string name, CLI::AppFormatMode mode) const override {
    const auto found = m_examples.find(app);
    const bool isWhole = mode != CLI::AppFormatMode::Sub && found != m_examples.end();
    return (isWhole ? "Example: " + found->second + "\n\n" : "") + CLI::Formatter::make_help(app, name, mode);
  }

private:
  std::map<const CLI::App*, std::string> m_examples;
};

constexpr int mostJobs = 256;

std::string joinedNames(const std::vector<std::string>& names) {
  std::string joined;
  for (std::size_t i = 0; i < names.size(); ++i) {
    joined += (i == 0 ? "" : i + 1 == names.size() ? " or " : ", ") + names[i];
  }
  return joined;
}

class CommandLine {
public:
  CommandLine() : m_help(std::make_shared<HelpFormatter>()) {
    m_help->column_width(32);
    addGlobalOptions();
    addFormat();
    addSplit();
    addStrip();
    addAlwaysTrue();
    addCompile();
    addIncludes();
    addCall();
    addIds();
    addStylesheet();
    addDoctor();
  }

  int run(int argc, const char* const* argv) {
    m_words = withTraceFileJoined(argc, argv);
    std::vector<std::string> words = m_words;
    std::reverse(words.begin(), words.end()); // the order in which the parser takes them
    try {
      m_app.parse(words);
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
  void addGlobalOptions() {
    m_app.name("zepcfg");
    m_app.description("Configuration expressions: display text, filters, web services, stylesheets.");
    m_app.formatter(m_help);
    m_app.allow_extras();           // refused later, with a suggestion
    m_app.require_subcommand(0, 1); // a command's arguments may be called like another command
    m_app.set_version_flag("--version", std::string("zepcfg ") + ZEP_VERSION);
    m_app
        .add_option("--url", m_arguments.global.url,
                    "URL of the PLM server (ZEP_URL); without one none is asked")
        ->type_name("URL");
    m_app
        .add_option("--context", m_arguments.global.context, "security context for the server (ZEP_CONTEXT)")
        ->type_name("TEXT");
    m_app.add_flag("--branching", m_arguments.global.branching,
                   "use the branching stylesheet (ZEP_BRANCHING=1)");
    m_app
        .add_option(
            "--trace", m_arguments.global.trace,
            "show the library's trace, or append it to a file: behind the command, write --trace=FILE")
        ->type_name("[FILE]");
    m_app.add_flag("--json", m_arguments.output.json, "write one JSON object");
    m_app.add_option("-o,--output", m_arguments.output.file, "write the result to this file")
        ->type_name("FILE");
    m_help->setExample(&m_app, "zepcfg format samples/one-feature.xml");
    m_app.footer("The options above may stand behind the command too.\n"
                 "Exit code: 0 done, 1 the answer is no, 2 it failed.");
  }

  CLI::App* addCommand(CLI::App& parent, const std::string& name, const std::string& description,
                       const std::string& example) {
    CLI::App* const command = parent.add_subcommand(name, description);
    command->formatter(m_help);
    command->fallthrough();
    command->footer("Options for every command: zepcfg --help");
    m_help->setExample(command, example);
    return command;
  }

  void onRun(const CLI::App* command, std::function<int()> action) { m_actions[command] = std::move(action); }

  void addStreamOptions(CLI::App* command) {
    CLI::Option* const lines = command->add_flag(
        "--jsonl", m_arguments.stream.isWanted,
        "a stream: each input line is a JSON string, or an object with \"expression\" and any \"id\"");
    command->add_option("--jobs", m_arguments.stream.jobs, "worker processes for a stream")
        ->type_name("N")
        ->check(CLI::Range(1, mostJobs).description(""))
        ->needs(lines);
  }

  void addFormat() {
    FormatOptions& options = m_arguments.format;
    CLI::App* const command = addCommand(m_app, "format", "display text of expressions",
                                         "zepcfg format --compact samples/two-contexts.xml");
    command->add_option("FILE", options.files, "expressions in XML; none or -: standard input")
        ->type_name(" ");
    command->add_option("--stylesheet", options.stylesheet, "stylesheet to use before any other")
        ->type_name("FILE");
    command->add_flag("--compact", options.compact, "the stylesheet's compact view");
    CLI::Option* const batch =
        command->add_flag("--batch", options.batch, "the files in one batch, which is never compact");
    addStreamOptions(command);
    command->get_option("--jsonl")->excludes(batch);
    onRun(command, [this, &options] {
      options.output = m_arguments.output;
      options.stream = m_arguments.stream;
      if (options.stream.isWanted && options.files.size() > 1) {
        failBadInput(inputName(options.files[1]), "format", "a stream is one file",
                     "name one file with --jsonl, or several without it");
      }
      return runFormat(options);
    });
  }

  // A command on one file or stream.
  template <class Options>
  void addTextCommand(Options& options, int (*action)(const Options&), const std::string& name,
                      const std::string& description, const std::string& example) {
    CLI::App* const command = addCommand(m_app, name, description, example);
    command->add_option("FILE", options.file, "expression in XML; none or -: standard input")->type_name(" ");
    addStreamOptions(command);
    onRun(command, [this, &options, action] {
      options.output = m_arguments.output;
      options.stream = m_arguments.stream;
      return action(options);
    });
  }

  void addSplit() {
    addTextCommand(m_arguments.split, runSplit, "split", "one expression for each context",
                   "zepcfg split samples/two-contexts.xml");
  }

  void addStrip() {
    addTextCommand(m_arguments.strip, runStrip, "strip", "the expression without its description",
                   "zepcfg strip samples/described.xml");
  }

  void addAlwaysTrue() {
    AlwaysTrueOptions& options = m_arguments.alwaysTrue;
    CLI::App* const command =
        addCommand(m_app, "always-true", "the filter expression that selects everything",
                   "zepcfg always-true --model Heron");
    command->add_option("--model", options.model, "name of the model that it is for; none: for all")
        ->type_name("NAME");
    onRun(command, [this, &options] {
      options.output = m_arguments.output;
      return runAlwaysTrue(options);
    });
  }

  void addCompile() {
    CompileOptions& options = m_arguments.compile;
    CLI::App* const command = addCommand(m_app, "compile", "an expression into its compiled form",
                                         "zepcfg compile samples/units.xml -o units.zepfilter");
    command->add_option("FILE", options.file, "expression in XML; none or -: standard input")->type_name(" ");
    onRun(command, [this, &options] {
      options.output = m_arguments.output;
      return runCompile(options);
    });
  }

  void addIncludes() {
    IncludesOptions& options = m_arguments.includes;
    CLI::App* const command =
        addCommand(m_app, "includes", "is everything that filter A selects selected by filter B",
                   "zepcfg includes --explain samples/always.xml samples/one-feature.xml");
    for (const auto& [name, file] : {std::pair("A", &options.a), std::pair("B", &options.b)}) {
      command->add_option(name, *file, "expression in XML, or compiled; -: standard input")
          ->required()
          ->type_name(" ");
    }
    command->add_flag("--explain", options.explain,
                      "with a no, a configuration that A selects and B does not");
    onRun(command, [this, &options] {
      options.output = m_arguments.output;
      return runIncludes(options);
    });
  }

  void addCall() {
    CallOptions& options = m_arguments.call;
    CLI::App* const command =
        addCommand(m_app, "call", "one web-service call",
                   "zepcfg --url http://127.0.0.1:8080 --context Reader call POST /echo --data '{\"a\":1}'");
    command->add_option("VERB", options.verb, "GET, PUT or POST")
        ->required()
        ->type_name(" ")
        ->check(CLI::IsMember({"GET", "PUT", "POST"}).description(""));
    command->add_option("PATH", options.path, "path of the service, put behind the server's URL as it stands")
        ->required()
        ->type_name(" ");
    command
        ->add_option("--data", options.data, "body: JSON, or @FILE for that of a file (@-: standard input)")
        ->type_name("JSON|@FILE");
    command->add_flag("--legacy", options.legacy, "use the legacy HTTP stack");
    onRun(command, [this, &options] {
      options.output = m_arguments.output;
      return runCall(options);
    });
  }

  void addIds() {
    IdsOptions& options = m_arguments.ids;
    CLI::App* const command = addCommand(m_app, "ids", "identifier texts for a web-service request",
                                         "zepcfg ids ConfigurationFeature:Engine:4F2A91C0 Part:Door:7B6E");
    command->add_option("ID", options.ids, "identifiers: type:logical:physical")->required()->type_name(" ");
    onRun(command, [this, &options] {
      options.output = m_arguments.output;
      refuseLists();
      return runIds(options);
    });
  }

  // The parser takes a text in brackets for a list, and leaves no trace of it.
  void refuseLists() const {
    for (const std::string& word : m_words) {
      if (startsWith(word, "[") && word.back() == ']') {
        failBadInput("'" + word + "'", "reading the identifiers", "no identifier begins with [",
                     "write identifiers one by one, each as type:logical:physical");
      }
    }
  }

  void addStylesheet() {
    StylesheetOptions& options = m_arguments.stylesheet;
    CLI::App* const command =
        addCommand(m_app, "stylesheet", "which stylesheet would be used, and why", "zepcfg stylesheet");
    command->add_flag("--print", options.print, "print the stylesheet itself");
    onRun(command, [this, &options] {
      options.output = m_arguments.output;
      return runStylesheet(options);
    });
    StylesheetCheckOptions& checkOptions = m_arguments.check;
    CLI::App* const check =
        addCommand(*command, "check", "does a stylesheet compile, and what in it would surprise",
                   "zepcfg stylesheet check resources/xsl/CfgEffectivityDisplay.xsl");
    check->add_option("FILE", checkOptions.file, "the stylesheet")->required()->type_name(" ");
    onRun(check, [this, &checkOptions] {
      checkOptions.output = m_arguments.output;
      return runStylesheetCheck(checkOptions);
    });
  }

  void addDoctor() {
    const CLI::App* const command =
        addCommand(m_app, "doctor", "what the environment, settings, installation and server look like",
                   "zepcfg doctor");
    onRun(command, [this] { return runDoctor({m_arguments.output}); });
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

  std::vector<std::string> commandNames() const {
    std::vector<std::string> names;
    for (const CLI::App* command : m_app.get_subcommands(nullptr)) {
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
    const CLI::App* command = &m_app;
    while (!command->get_subcommands().empty()) {
      command = command->get_subcommands().front();
    }
    return command;
  }

  std::string chosenCommand() const {
    std::string names;
    for (const CLI::App* command = chosen(); command != &m_app; command = command->get_parent()) {
      names.insert(0, command->get_name() + " ");
    }
    return names;
  }

  void refuseUnknownWords() const {
    const std::vector<std::string> unknown = m_app.remaining(true);
    const bool hasCommand = chosen() != &m_app;
    if (unknown.empty() && !hasCommand) {
      throw CLI::RequiredError("a command is missing: " + joinedNames(commandNames()),
                               CLI::ExitCodes::RequiredError);
    }
    if (unknown.empty()) {
      return;
    }
    const std::string& word = unknown.front();
    std::vector<std::string> known = hasCommand ? std::vector<std::string>() : commandNames();
    addOptionNames(m_app, known);
    addOptionNames(*chosen(), known);
    const std::string nearest = nearestWord(word.substr(0, word.find('=')), known);
    const std::string kind = startsWith(word, "-") ? "option" : hasCommand ? "argument" : "command";
    const std::string hint = !nearest.empty()                  ? ", did you mean " + nearest + "?"
                             : m_arguments.global.trace == "-" ? " (a file for the trace: --trace=FILE)"
                                                               : "";
    throw CLI::ExtrasError("unknown " + kind + " '" + word + "'" + hint, CLI::ExitCodes::ExtrasError);
  }

  // --help and --version
  int show(const CLI::Success& success) {
    std::ostringstream text;
    m_app.exit(success, text, text);
    return guarded([&text] {
      writeResult(text.str(), "");
      return exitDone;
    });
  }

  int runChosen() {
    return guarded([this] {
      prepareEnvironment(m_arguments.global);
      return m_actions.at(chosen())();
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
    if (!m_arguments.output.json) {
      return;
    }
    try {
      writeJSON(failureObject(failure), "");
    } catch (const CommandFailure& further) {
      writeNote(failureReport(further.failure()));
    }
  }

  std::vector<std::string> m_words;
  Arguments m_arguments;
  CLI::App m_app;
  std::shared_ptr<HelpFormatter> m_help;
  std::map<const CLI::App*, std::function<int()>> m_actions;
};

} // namespace

int runCommandLine(int argc, const char* const* argv) {
  prepareOutput();
  return CommandLine().run(argc, argv);
}

} // namespace zep::cli
