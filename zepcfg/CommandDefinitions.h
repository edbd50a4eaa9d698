#pragma once

#include "CommandDescription.h"
#include "Commands.h"
#include "Environment.h"

#include <CLI/CLI.hpp>

#include <functional>
#include <map>
#include <memory>
#include <string>
#include <vector>

namespace zep::cli {

class HelpFormatter;

// All that the command line may say: the commands with their options, what runs them, and where their
// values go. Its help, its manual and the completions of shells are made from this.
class CommandDefinitions {
public:
  CommandDefinitions();

  CLI::App& app() { return m_app; }
  const CLI::App& app() const { return m_app; }
  const GlobalOptions& global() const { return m_global; }
  const OutputOptions& output() const { return m_output; }

  // The exit code of the command.
  int run(const CLI::App* command) { return m_actions.at(command)(); }

  std::vector<CommandDescription> describe() const;

private:
  struct Value {
    ValueKind kind = ValueKind::text;
    std::vector<std::string> choices;
  };

  void addGlobalOptions();
  void addFormat();
  void addSplit();
  void addStrip();
  void addAlwaysTrue();
  void addCompile();
  void addIncludes();
  void addCall();
  void addIds();
  void addStylesheet();
  void addStylesheetCheck(CLI::App& parent);
  void addTrace();
  void addDoctor();

  CLI::App* addCommand(CLI::App& parent, const std::string& name);
  template <class Options>
  void addTextCommand(Options& options, int (*action)(const Options&), const std::string& name);
  template <class Target>
  CLI::Option* addArgument(CLI::App& command, const char* name, Target& target, ValueKind kind,
                           const std::string& text);
  template <class Target>
  CLI::Option* addValue(CLI::App& command, const char* name, Target& target, ValueKind kind,
                        const char* value, const std::string& text);
  void addStreamOptions(CLI::App& command);
  void onRun(const CLI::App* command, std::function<int()> action) { m_actions[command] = std::move(action); }

  void describe(const CLI::App& command, std::vector<CommandDescription>& all) const;
  void describeOptions(const CLI::App& command, CommandDescription& description) const;

  GlobalOptions m_global;
  OutputOptions m_output;
  StreamOptions m_stream;
  FormatOptions m_format;
  SplitOptions m_split;
  StripOptions m_strip;
  AlwaysTrueOptions m_alwaysTrue;
  CompileOptions m_compile;
  IncludesOptions m_includes;
  CallOptions m_call;
  IdsOptions m_ids;
  StylesheetOptions m_stylesheet;
  StylesheetCheckOptions m_check;
  TraceOptions m_trace;
  CLI::App m_app;
  std::shared_ptr<HelpFormatter> m_help;
  std::map<const CLI::App*, std::function<int()>> m_actions;
  std::map<const CLI::Option*, Value> m_values;
};

} // namespace zep::cli
