#include "DemoServer.h"
#include "RequestLog.h"
#include "StylesheetText.h"

#include <CLI/CLI.hpp>

#include <csignal>
#include <cstdio>
#include <exception>
#include <iostream>
#include <optional>
#include <string>
#include <thread>

#include <pthread.h>

namespace {

constexpr int exitDone = 0;
constexpr int exitFailed = 2;

constexpr const char* intro =
    "Example: zep-demo-server --port 8080 --log requests.jsonl\n"
    "\n"
    "A small PLM server on 127.0.0.1 for trying things out and for tests. It prints its URL when it\n"
    "is ready and runs until it is interrupted. Its services:\n"
    "  GET /resources/modeler/configuration/navigationServices/getConfiguredExpressionXSLT/\n"
    "                         the display stylesheet, as {\"xslt\":{\"content\":\"...\"}}\n"
    "  /echo, /echo/...       answers method, path, headers and body of the request as JSON\n"
    "  /chunked, /chunked/... the same in small chunks\n"
    "  /status/NNN            answers with this status; /status/NNN/once only the first time";

struct Arguments {
  int port = 0;
  std::string stylesheet;
  std::string log;
  std::string misbehaviour;
  double delay_seconds = 30;
};

std::string listOfMisbehaviours() {
  std::string list;
  for (const auto& [name, unused] : misbehaviourNames()) {
    list += (list.empty() ? "" : ", ") + name;
  }
  return list;
}

int fail(const std::string& message) {
  std::cerr << "zep-demo-server: " << message << "\n";
  return exitFailed;
}

void describe(CLI::App& app, Arguments& arguments) {
  app.name("zep-demo-server");
  app.description(intro);
  app.set_version_flag("--version", std::string("zep-demo-server ") + ZEP_VERSION);
  app.add_option("--port", arguments.port, "port to listen on; 0, the default, takes a free one")
      ->check(CLI::Range(0, 65535));
  app.add_option("--stylesheet", arguments.stylesheet,
                 "stylesheet to serve (UTF-8 or UTF-16), instead of the installed one")
      ->type_name("FILE");
  app.add_option("--log", arguments.log, "write every request as a line of JSON to this file")
      ->type_name("FILE");
  app.add_option("--misbehave", arguments.misbehaviour,
                 "answer the stylesheet service badly: " + listOfMisbehaviours())
      ->type_name("HOW");
  app.add_option("--delay", arguments.delay_seconds, "how long \"slow\" and \"stall\" take, default 30")
      ->type_name("SECONDS")
      ->check(CLI::Range(0.0, 3600.0));
}

// The exit code, when the program has nothing more to do.
std::optional<int> parse(CLI::App& app, int argc, char** argv) {
  try {
    app.parse(argc, argv);
  } catch (const CLI::Success& done) {
    return app.exit(done);
  } catch (const CLI::ParseError& error) {
    return fail(std::string(error.what()) + "; see zep-demo-server --help");
  }
  return std::nullopt;
}

sigset_t blockedEndSignals() {
  sigset_t signals;
  sigemptyset(&signals);
  sigaddset(&signals, SIGINT);
  sigaddset(&signals, SIGTERM);
  pthread_sigmask(SIG_BLOCK, &signals, nullptr);
  return signals;
}

int serve(DemoServer& server, int port, const sigset_t& endSignals) {
  std::jthread service([&server] { server.listen_after_bind(); });
  // Ending a server that has not begun would have no effect.
  while (!server.is_running()) {
    std::this_thread::sleep_for(std::chrono::milliseconds(1));
  }
  std::cout << "http://127.0.0.1:" << port << std::endl;
  int signal = 0;
  sigwait(&endSignals, &signal);
  server.end();
  return exitDone;
}

int run(int argc, char** argv) {
  Arguments arguments;
  CLI::App app;
  describe(app, arguments);
  if (const std::optional<int> exitCode = parse(app, argc, argv)) {
    return *exitCode;
  }

  DemoServerOptions options;
  if (!arguments.misbehaviour.empty()) {
    const auto found = misbehaviourNames().find(arguments.misbehaviour);
    if (found == misbehaviourNames().end()) {
      return fail("--misbehave does not know \"" + arguments.misbehaviour + "\"; it knows " +
                  listOfMisbehaviours());
    }
    options.misbehaviour = found->second;
  }
  options.delay = std::chrono::milliseconds(static_cast<long>(arguments.delay_seconds * 1000));
  StylesheetText stylesheet =
      readStylesheet(arguments.stylesheet.empty() ? installedStylesheetPath() : arguments.stylesheet);
  if (!stylesheet.problem.empty()) {
    return fail(stylesheet.problem);
  }
  options.stylesheet = std::move(stylesheet.text);

  RequestLog log;
  if (!arguments.log.empty() && !log.open(arguments.log)) {
    return fail("cannot write the log \"" + arguments.log +
                "\"; name a file in a folder that can be written");
  }

  // Before any thread starts, so that every thread leaves these signals to this one.
  const sigset_t endSignals = blockedEndSignals();
  DemoServer server(std::move(options), log);
  const int port = server.bindLoopback(arguments.port);
  if (port < 0) {
    return fail("cannot listen on 127.0.0.1:" + std::to_string(arguments.port) +
                "; take another port, or 0 for a free one");
  }
  return serve(server, port, endSignals);
}

} // namespace

int main(int argc, char** argv) {
  try {
    return run(argc, argv);
  } catch (const std::exception& error) {
    static_cast<void>(std::fprintf(stderr, "zep-demo-server: %s\n", error.what()));
    return exitFailed;
  }
}
