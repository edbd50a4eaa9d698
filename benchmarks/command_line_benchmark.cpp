#include "Bench.h"
#include "ChildProcess.h"
#include "Inputs.h"

#include "ZEPCfgXMLExpressionServices.h"
#include "ZEPHResult.h"

#include <nlohmann/json.hpp>

#include <string>
#include <vector>

// The command line as a whole process, from its start to its end: over a stream beside the sequence in this
// process, and over one file beside the other command-line processors. Processor time, the system's share
// included.

namespace {

constexpr std::size_t streamLength = 10'000;

std::string scratch(const std::string& name) {
  return bench::scratchDirectory() / name;
}

using Command = std::vector<std::string>;

std::string outputOf(const Command& command, const std::string& input) {
  const std::string output = scratch("output");
  bench::secondsOf(command, input, output);
  return bench::readFile(output);
}

void addProcess(const std::string& name, const Command& command, const std::string& input) {
  bench::addTimed(name, [=] { return bench::secondsOf(command, input, "/dev/null"); });
}

class StreamInProcess {
public:
  explicit StreamInProcess(const std::vector<std::string>& expressions) {
    for (const std::string& expression : expressions) {
      m_expressions.push_back(bench::textOf(expression));
    }
  }

  std::vector<std::string> Texts() const {
    std::vector<std::string> texts;
    Run([&](const ZEPUnicodeString& text) { texts.push_back(bench::utf8Of(text)); });
    return texts;
  }

  template <class Take>
  void Run(Take take) const {
    bench::require(ZEPSucceeded(ZEPCfgXMLExpressionServices::StartExpressionFormatting(ZEP_STYLESHEET_UTF8)),
                   "the sequence does not start");
    for (const ZEPUnicodeString& expression : m_expressions) {
      ZEPUnicodeString text;
      bench::require(ZEPCfgXMLExpressionServices::ExpressionFormatting(expression, text, 0) == S_OK,
                     "an expression is not formatted");
      take(text);
    }
    ZEPCfgXMLExpressionServices::EndExpressionFormatting();
  }

private:
  std::vector<ZEPUnicodeString> m_expressions;
};

void compareStream() {
  const std::vector<std::string> expressions = inputs::expressions(streamLength, inputs::size1KB.bytes);
  std::string lines;
  for (const std::string& expression : expressions) {
    lines += nlohmann::json(expression).dump() + '\n';
  }
  const std::string input = scratch("stream.jsonl");
  bench::writeFile(input, lines);
  const Command command{ZEP_ZEPCFG, "format", "--jsonl", "--stylesheet", ZEP_STYLESHEET_UTF8};
  const StreamInProcess stream(expressions);

  std::string wanted;
  for (const std::string& text : stream.Texts()) {
    wanted += text;
  }
  std::string got;
  const std::string output = outputOf(command, input);
  for (std::size_t at = 0; at < output.size();) {
    const std::size_t end = output.find('\n', at);
    got += nlohmann::json::parse(output.substr(at, end - at)).at("text").get<std::string>();
    at = end + 1;
  }
  bench::requireSame("command_line/stream", got, wanted);

  addProcess("command_line/stream/10000x1KB/ours", command, input);
  bench::add("command_line/stream/10000x1KB/sequence",
             [stream] { stream.Run([](const ZEPUnicodeString& text) { bench::keep(text); }); });
}

void compareFile(const inputs::Size& size) {
  const std::string name = std::string("command_line/file/") + size.name;
  const std::string input = scratch(std::string(size.name) + ".xml");
  bench::writeFile(input, inputs::expression(size.bytes));
  const Command ours{ZEP_ZEPCFG, "format", "--stylesheet", ZEP_STYLESHEET_UTF8, input};
  const Command xsltproc{"xsltproc", ZEP_STYLESHEET_UTF8, input};
  const Command xmlstarlet{"xmlstarlet", "tr", ZEP_STYLESHEET_UTF8, input};
  bench::requireSame(name + "/xsltproc", outputOf(ours, "/dev/null"), outputOf(xsltproc, "/dev/null"));
  bench::requireSame(name + "/xmlstarlet", outputOf(ours, "/dev/null"), outputOf(xmlstarlet, "/dev/null"));

  addProcess(name + "/ours", ours, "/dev/null");
  addProcess(name + "/xsltproc", xsltproc, "/dev/null");
  addProcess(name + "/xmlstarlet", xmlstarlet, "/dev/null");
}

} // namespace

int main(int argc, char** argv) {
  compareStream();
  for (const inputs::Size& size : {inputs::size1KB, inputs::size100KB, inputs::size10MB}) {
    compareFile(size);
  }
  return bench::run(argc, argv);
}
