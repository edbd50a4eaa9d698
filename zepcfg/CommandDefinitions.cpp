#include "CommandDefinitions.h"

#include "CommandTexts.h"
#include "Failure.h"
#include "Text.h"

#include <sstream>
#include <utility>

namespace zep::cli {
namespace {

constexpr int mostJobs = 256;
constexpr char valueBehindEqualsSign[] = "[FILE]"; // how the help shows a value that may be left out

// "stylesheet check"; nothing for the program itself.
std::vector<std::string> wordsOf(const CLI::App& command) {
  std::vector<std::string> words;
  for (const CLI::App* app = &command; app->get_parent() != nullptr; app = app->get_parent()) {
    words.insert(words.begin(), app->get_name());
  }
  return words;
}

std::string joinedWords(const CLI::App& command) {
  std::string joined;
  for (const std::string& word : wordsOf(command)) {
    joined += (joined.empty() ? "" : " ") + word;
  }
  return joined;
}

std::vector<std::string> namesOf(const CLI::Option& option) {
  std::vector<std::string> names;
  for (const std::string& name : option.get_snames()) {
    names.push_back("-" + name);
  }
  for (const std::string& name : option.get_lnames()) {
    names.push_back("--" + name);
  }
  return names;
}

} // namespace

// Help begins with an example.
class HelpFormatter : public CLI::Formatter {
public:
  std::string make_help(const CLI::App* app, std::string name, CLI::AppFormatMode mode) const override {
    const std::string help = CLI::Formatter::make_help(app, name, mode);
    return mode == CLI::AppFormatMode::Sub
               ? help
               : "Example: " + commandText(joinedWords(*app)).examples.front().command + "\n\n" + help;
  }

  std::string make_description(const CLI::App* app) const override {
    return asSentence(app->get_description()) + "\n";
  }

  // A command, and those below it.
  std::string make_subcommand(const CLI::App* command) const override {
    std::ostringstream lines;
    CLI::detail::format_help(lines, joinedWords(*command), command->get_description(), get_column_width());
    for (const CLI::App* below : command->get_subcommands([](const CLI::App*) { return true; })) {
      lines << make_subcommand(below);
    }
    return lines.str();
  }
};

CommandDefinitions::CommandDefinitions() : m_help(std::make_shared<HelpFormatter>()) {
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
  addTrace();
  addDoctor();
}

// ---- parts -------------------------------------------------------------------------------------

CLI::App* CommandDefinitions::addCommand(CLI::App& parent, const std::string& name) {
  CLI::App* const command = parent.add_subcommand(name);
  command->description(commandText(joinedWords(*command)).text);
  command->formatter(m_help);
  command->fallthrough();
  command->footer("Options for every command: zepcfg --help");
  return command;
}

template <class Target>
CLI::Option* CommandDefinitions::addArgument(CLI::App& command, const char* name, Target& target,
                                             ValueKind kind, const std::string& text) {
  CLI::Option* const argument = command.add_option(name, target, text)->type_name(" ");
  m_values[argument].kind = kind;
  return argument;
}

template <class Target>
CLI::Option* CommandDefinitions::addValue(CLI::App& command, const char* name, Target& target, ValueKind kind,
                                          const char* value, const std::string& text) {
  CLI::Option* const option = command.add_option(name, target, text)->type_name(value);
  m_values[option].kind = kind;
  return option;
}

void CommandDefinitions::addStreamOptions(CLI::App& command) {
  CLI::Option* const lines = command.add_flag(
      "--jsonl", m_stream.isWanted,
      "a stream: each input line is a JSON string, or an object with \"expression\" and any \"id\"");
  addValue(command, "--jobs", m_stream.jobs, ValueKind::text, "N", "worker processes for a stream")
      ->check(CLI::Range(1, mostJobs).description(""))
      ->needs(lines);
}

void CommandDefinitions::addGlobalOptions() {
  m_app.name("zepcfg");
  m_app.description(commandText("").text);
  m_app.formatter(m_help);
  m_app.allow_extras();           // refused later, with a suggestion
  m_app.require_subcommand(0, 1); // a command's arguments may be called like another command
  m_app.set_help_flag("-h,--help", "print this help");
  m_app.set_version_flag("--version", std::string("zepcfg ") + ZEP_VERSION, "print the version");
  addValue(m_app, "--url", m_global.url, ValueKind::text, "URL",
           "URL of the PLM server (ZEP_URL); without one none is asked");
  addValue(m_app, "--context", m_global.context, ValueKind::text, "TEXT",
           "security context for the server (ZEP_CONTEXT)");
  m_app.add_flag("--branching", m_global.branching, "use the branching stylesheet (ZEP_BRANCHING=1)");
  addValue(m_app, "--trace", m_global.trace, ValueKind::file, valueBehindEqualsSign,
           "show the library's trace, or append it to a file: behind the command, write --trace=FILE");
  m_app.add_flag("--json", m_output.json, "write one JSON object");
  addValue(m_app, "-o,--output", m_output.file, ValueKind::file, "FILE", "write the result to this file");
  m_app.footer("The options above may stand behind the command too.\n"
               "Exit code: 0 done, 1 the answer is no, 2 it failed.");
}

// ---- commands ----------------------------------------------------------------------------------

void CommandDefinitions::addFormat() {
  FormatOptions& options = m_format;
  CLI::App* const command = addCommand(m_app, "format");
  addArgument(*command, "FILE", options.files, ValueKind::file,
              "expressions in XML; none or -: standard input");
  addValue(*command, "--stylesheet", options.stylesheet, ValueKind::file, "FILE",
           "stylesheet to use before any other");
  command->add_flag("--compact", options.compact, "the stylesheet's compact view");
  CLI::Option* const batch =
      command->add_flag("--batch", options.batch, "the files in one batch, which is never compact");
  addStreamOptions(*command);
  command->get_option("--jsonl")->excludes(batch);
  onRun(command, [this, &options] {
    options.output = m_output;
    options.stream = m_stream;
    if (options.stream.isWanted && options.files.size() > 1) {
      failBadInput(inputName(options.files[1]), "format", "a stream is one file",
                   "name one file with --jsonl, or several without it");
    }
    return runFormat(options);
  });
}

// A command on one file or stream.
template <class Options>
void CommandDefinitions::addTextCommand(Options& options, int (*action)(const Options&),
                                        const std::string& name) {
  CLI::App* const command = addCommand(m_app, name);
  addArgument(*command, "FILE", options.file, ValueKind::file,
              "expression in XML; none or -: standard input");
  addStreamOptions(*command);
  onRun(command, [this, &options, action] {
    options.output = m_output;
    options.stream = m_stream;
    return action(options);
  });
}

void CommandDefinitions::addSplit() {
  addTextCommand(m_split, runSplit, "split");
}

void CommandDefinitions::addStrip() {
  addTextCommand(m_strip, runStrip, "strip");
}

void CommandDefinitions::addAlwaysTrue() {
  AlwaysTrueOptions& options = m_alwaysTrue;
  CLI::App* const command = addCommand(m_app, "always-true");
  addValue(*command, "--model", options.model, ValueKind::text, "NAME",
           "name of the model that it is for; none: for all");
  onRun(command, [this, &options] {
    options.output = m_output;
    return runAlwaysTrue(options);
  });
}

void CommandDefinitions::addCompile() {
  CompileOptions& options = m_compile;
  CLI::App* const command = addCommand(m_app, "compile");
  addArgument(*command, "FILE", options.file, ValueKind::file,
              "expression in XML; none or -: standard input");
  onRun(command, [this, &options] {
    options.output = m_output;
    return runCompile(options);
  });
}

void CommandDefinitions::addIncludes() {
  IncludesOptions& options = m_includes;
  CLI::App* const command = addCommand(m_app, "includes");
  for (const auto& [name, file] : {std::pair("A", &options.a), std::pair("B", &options.b)}) {
    addArgument(*command, name, *file, ValueKind::file, "expression in XML, or compiled; -: standard input")
        ->required();
  }
  command->add_flag("--explain", options.explain, "with a no, a configuration that A selects and B does not");
  onRun(command, [this, &options] {
    options.output = m_output;
    return runIncludes(options);
  });
}

void CommandDefinitions::addCall() {
  CallOptions& options = m_call;
  CLI::App* const command = addCommand(m_app, "call");
  const std::vector<std::string> verbs{"GET", "PUT", "POST"};
  CLI::Option* const verb =
      addArgument(*command, "VERB", options.verb, ValueKind::choice, "GET, PUT or POST")->required();
  verb->check(CLI::IsMember(verbs).description(""));
  m_values[verb].choices = verbs;
  addArgument(*command, "PATH", options.path, ValueKind::text,
              "path of the service, put behind the server's URL as it stands")
      ->required();
  addValue(*command, "--data", options.data, ValueKind::data, "JSON|@FILE",
           "body: JSON, or @FILE for that of a file (@-: standard input)");
  command->add_flag("--legacy", options.legacy, "use the legacy HTTP stack");
  onRun(command, [this, &options] {
    options.output = m_output;
    return runCall(options);
  });
}

void CommandDefinitions::addIds() {
  IdsOptions& options = m_ids;
  CLI::App* const command = addCommand(m_app, "ids");
  addArgument(*command, "ID", options.ids, ValueKind::text, "identifiers: type:logical:physical")->required();
  onRun(command, [this, &options] {
    options.output = m_output;
    return runIds(options);
  });
}

void CommandDefinitions::addStylesheet() {
  StylesheetOptions& options = m_stylesheet;
  CLI::App* const command = addCommand(m_app, "stylesheet");
  command->add_flag("--print", options.print, "print the stylesheet itself");
  onRun(command, [this, &options] {
    options.output = m_output;
    return runStylesheet(options);
  });
  addStylesheetCheck(*command);
}

void CommandDefinitions::addStylesheetCheck(CLI::App& parent) {
  StylesheetCheckOptions& options = m_check;
  CLI::App* const command = addCommand(parent, "check");
  addArgument(*command, "FILE", options.file, ValueKind::file, "the stylesheet")->required();
  command->add_flag("--server", options.isForServer, "check it for use as a server's stylesheet");
  onRun(command, [this, &options] {
    options.output = m_output;
    return runStylesheetCheck(options);
  });
}

void CommandDefinitions::addTrace() {
  TraceOptions& options = m_trace;
  CLI::App* const command = addCommand(m_app, "trace");
  addArgument(*command, "FILE", options.file, ValueKind::file, "trace file; none or -: standard input");
  command->add_flag("--failures", options.isOfFailures, "only the branches in which something failed");
  command->add_flag("--full", options.isFull, "texts in their whole length");
  onRun(command, [this, &options] {
    options.output = m_output;
    return runTrace(options);
  });
}

void CommandDefinitions::addDoctor() {
  const CLI::App* const command = addCommand(m_app, "doctor");
  onRun(command, [this] { return runDoctor({m_output}); });
}

// ---- description -------------------------------------------------------------------------------

std::vector<CommandDescription> CommandDefinitions::describe() const {
  std::vector<CommandDescription> all;
  describe(m_app, all);
  return all;
}

void CommandDefinitions::describe(const CLI::App& command, std::vector<CommandDescription>& all) const {
  const CommandText& text = commandText(joinedWords(command));
  CommandDescription description{wordsOf(command), text.text,     text.details, text.examples,
                                 text.no,          text.concerns, {},           {}};
  describeOptions(command, description);
  all.push_back(std::move(description));
  for (const CLI::App* below : command.get_subcommands([](const CLI::App*) { return true; })) {
    describe(*below, all);
  }
}

void CommandDefinitions::describeOptions(const CLI::App& command, CommandDescription& description) const {
  for (const CLI::Option* option : command.get_options()) {
    const auto found = m_values.find(option);
    const Value value = found == m_values.end() ? Value{ValueKind::none, {}} : found->second;
    if (option->get_positional()) {
      description.arguments.push_back({option->get_name(true), value.kind, value.choices,
                                       option->get_required(), option->get_items_expected_max() > 1,
                                       option->get_description()});
      continue;
    }
    const bool isOptional = option->get_type_name() == valueBehindEqualsSign;
    description.options.push_back({namesOf(*option),
                                   value.kind == ValueKind::none ? ""
                                   : isOptional                  ? "FILE"
                                                                 : option->get_type_name(),
                                   isOptional, value.kind, value.choices, option->get_description()});
  }
}

std::vector<CommandDescription> describeCommandLine() {
  return CommandDefinitions().describe();
}

} // namespace zep::cli
