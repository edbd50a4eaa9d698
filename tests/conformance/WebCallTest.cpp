#include "WebCallTest.h"

#include "UTF8Texts.h"

#include <sstream>
#include <stdexcept>

using namespace scripted;

const char chunkedText[] = "Transfer-Encoding: chunked";
const char exitAlone[] = "exit\n<\n";
const char queryForUrl[] = "QRLSysTSGetArg(Url, 0, 0)\n";
const char httpStatusCode[] = "-2146893514";
const char notFoundCode[] = "-2146893513";

namespace {

const char className[] = "ZEPCfgWebServices ";

std::vector<std::string> linesOf(const std::string& text) {
  std::vector<std::string> lines;
  std::istringstream stream(text);
  for (std::string line; std::getline(stream, line);) {
    lines.push_back(line);
  }
  return lines;
}

// Position behind the first line `line`.
std::size_t endOfLine(const std::string& steps, const std::string& line) {
  const std::string whole = "\n" + line + "\n";
  const std::size_t at = ("\n" + steps).find(whole);
  if (at == std::string::npos) {
    throw std::logic_error("no step \"" + line + "\" in\n" + steps);
  }
  return at + line.size() + 1;
}

// The steps that both stacks begin with, once they have named their inputs.
std::string targetSteps() {
  return R"(| Set the WebService path
| call the web service
| Populate the security context
GetCurrentContext()
| ustrSecurityContext = [ctx]
| Retrieve Arguments for web service call
QRLSysTSGetArg(Url, 0, 0)
| Define the full URL
| ustrFullUrl = [http://server/path]
| Create http query, open it and set the Headers
)";
}

// GET alone carries neither a service name nor a body.
std::string requestSteps(const std::string& verb) {
  if (verb == "GET") {
    return "ZEPOmxHttpGet::Create(http://server/path)\n";
  }
  return std::string("ZEPOmxHttp") + (verb == "PUT" ? "Put" : "Post") +
         "::Create(http://server/path)\n"
         "SetServiceName(Qubelle)\n"
         "SetEntity(stringEntity)\n";
}

std::string requestName(const std::string& verb) {
  if (verb == "GET") {
    return "httpGet";
  }
  return verb == "PUT" ? "httpPut" : "httpPost";
}

// The locals of an operation are gone when its result is traced.
void expectReleasesBeforeTheResult() {
  std::size_t lastRelease = 0;
  std::size_t lastResult = 0;
  const std::vector<std::string> lines = linesOf(script().log());
  for (std::size_t i = 0; i < lines.size(); ++i) {
    lastRelease = lines[i].starts_with("~") ? i : lastRelease;
    lastResult = lines[i].starts_with(std::string(className) + "| rc = ") ? i : lastResult;
  }
  EXPECT_LT(lastRelease, lastResult) << script().log();
}

} // namespace

// ---- texts of steps ----

std::string webSignature(const std::string& operation) {
  return "long __cdecl ZEPCfgWebServices::" + operation +
         "(const class ZEPUnicodeString &,const class ZEPUnicodeString &,const class ZEPUnicodeString &,"
         "class ZEPUnicodeString &)";
}

std::string entered(const std::string& operation) {
  return "> " + webSignature(operation) + "\nentry\n";
}

std::string detail(const std::string& text) {
  return "| " + text + "\n";
}

std::string error(const std::string& message) {
  return "! <ERROR>\n! <INDENT> " + message + "\n";
}

std::string left(const std::string& result) {
  return "| rc = " + result + "\n" + exitAlone;
}

std::string upTo(const std::string& steps, const std::string& last) {
  return steps.substr(0, endOfLine(steps, last));
}

std::string behind(const std::string& steps, const std::string& line) {
  return steps.substr(endOfLine(steps, line));
}

std::string replaced(std::string steps, const std::string& part, const std::string& by) {
  std::size_t at = steps.find(part);
  if (at == std::string::npos) {
    throw std::logic_error("no \"" + part + "\" in\n" + steps);
  }
  for (; at != std::string::npos; at = steps.find(part, at + by.size())) {
    steps.replace(at, part.size(), by);
  }
  return steps;
}

std::string currentSteps(const std::string& verb) {
  return entered("NewCallWebService") + "ZEPOmxHttpStringEntity::Create({})\n" +
         detail("in_httpCommand = [" + verb + "]") +
         "| in_url = [/path]\n"
         "| in_json = [{}]\n" +
         targetSteps() + requestSteps(verb) + R"(AddHeader(Accept, "application/json\r\n")
AddHeader(Content-Type, "application/json\r\n")
AddHeader(SecurityContext, "ctx\r\n")
ZEPCfgTracePerfo(WebService)
% beginPerfo()
% | <BEGIN WebService>
| Perform the Query
ZEPOmxDefaultHttpClient::Create(0)
Execute()" +
         requestName(verb) + R"( http://server/path)
% endPerfo()
% | <END WebService>
| Get the return code of the WebService
GetStatusLine()
GetStatusCode()
| statusCode = 200
| Download the answer of the WebService
GetEntity()
GetContent()
ZEPOmxIOUtils::ToString()
)" + succeeded("answer");
}

std::string legacySteps(const std::string& verb) {
  return entered("OldCallWebService") + "ZEPHttpClient(null, 1, 1)\n" +
         detail("in_httpCommand = [" + verb + "]") +
         "| in_url = [/path]\n"
         "| pUtf8 = {}\n" +
         targetSteps() + "OpenRequest(" + verb + R"(, http://server/path, 0x400000, null)
AddRequestHeaders("Accept: application/json\r\n", 0x40000000)
AddRequestHeaders("Content-Type: application/json\r\n", 0x40000000)
AddRequestHeaders("SecurityContext: ctx\r\n", 0x40000000)
ZEPCfgTracePerfo(WebService)
% beginPerfo()
% | <BEGIN WebService>
| Perform the Query
SendRequest({}, 2)
CloseRequest()
| Get the return code of the WebService
GetResponseHeaders(19, null)
% endPerfo()
% | <END WebService>
| returnCode = 200
| If the return of web service is 200 (OK), then we need to retrieve the Json associated to it
| Download the answer of the WebService
| Check if the answer is chunked
| chunked = FALSE
| We need to retrieve the Json
| The answer is not chunked, download it in 1 shot
Download()
)" + succeeded("answer");
}

std::string succeeded(const std::string& answer) {
  return detail("out_json = [" + answer + "]") + detail("If the outJson is empty, then return S_OK") +
         (answer.empty() ? detail("out_json is empty") : "") + left("S_OK");
}

std::string refusedByLegacy(const std::string& verb, const std::string& status, const std::string& answer) {
  return error("WS httpCommand: " + verb) + error("WS ustrFullUrl: http://server/path") +
         error("WS return code: " + status) + error("WS Input (UTF-8): {}") + error(answer) +
         left(httpStatusCode);
}

// ---- calls ----

void WebCallTest::SetUp() {
  ConformanceTest::SetUp();
  Prepare();
}

void WebCallTest::Prepare() {
  script().reset();
  script().defaultBody = "answer";
  script().legacy.body = "answer";
}

void WebCallTest::AnswerAtOnce(const std::string& status, const std::string& body) {
  script().legacy = {};
  script().legacy.status = status;
  script().legacy.body = body;
}

void WebCallTest::AnswerInPieces(const std::string& status, const std::vector<std::string>& pieces) {
  script().legacy = {};
  script().legacy.status = status;
  script().legacy.headerText = chunkedText;
  script().legacy.pieces = pieces;
}

ZEPUnicodeString WebCallTest::Text(const std::string& utf8) {
  return textOf(utf8);
}

long WebCallTest::Run(const WebCall& call, ZEPUnicodeString& answer) {
  return call.operation(Text(call.verb), Text(call.url), Text(call.json), answer);
}

void WebCallTest::InEveryMode(const Preparation& prepare, const std::string& steps,
                              const std::function<void()>& run) {
  for (const bool traceIsOn : {true, false}) {
    for (const bool perfoIsOn : {false, true}) {
      SCOPED_TRACE(std::string("trace ") + (traceIsOn ? "on" : "off") + ", timing " +
                   (perfoIsOn ? "on" : "off"));
      Prepare();
      if (traceIsOn) {
        script().traceOn();
      }
      if (perfoIsOn) {
        script().perfoOn();
      }
      prepare();
      run();
      EXPECT_EQ(StepsTaken(), Shown(
                                  steps, [traceIsOn](int) { return traceIsOn; }, perfoIsOn));
      if (traceIsOn && steps.find("| rc = ") != std::string::npos) {
        expectReleasesBeforeTheResult();
      }
      endRow();
    }
  }
}

void WebCallTest::ExpectInEveryMode(const WebCall& call, const Preparation& prepare,
                                    const WebOutcome& expected) {
  InEveryMode(prepare, expected.steps, [&] {
    ZEPUnicodeString answer = "left from before";
    EXPECT_EQ(codeName(Run(call, answer)), codeName(expected.result));
    EXPECT_EQ(answer, Text(expected.answer));
  });
}

void WebCallTest::ExpectExceptionInEveryMode(const WebCall& call, const Preparation& prepare,
                                             const WebOutcome& expected) {
  InEveryMode(prepare, expected.steps, [&] {
    ZEPUnicodeString answer = "left from before";
    EXPECT_THROW(Run(call, answer), ScriptedException);
    EXPECT_EQ(answer, Text(expected.answer));
  });
}

void WebCallTest::ExpectRecordsOfQuestions(const WebCall& call, const Preparation& prepare,
                                           const std::string& steps) {
  InEveryQuestion(prepare, steps, [&call] {
    ZEPUnicodeString answer;
    Run(call, answer);
  });
}

void WebCallTest::InEveryQuestion(const Preparation& prepare, const std::string& steps,
                                  const std::function<void()>& run) {
  const int last = QuestionsIn(steps);
  for (int query = 1; query <= last; ++query) {
    const TraceQuestion questions[] = {
        [query](int asked) { return asked == query; },
        [query](int asked) { return asked <= query; },
        [query](int asked) { return asked >= query; },
    };
    for (const TraceQuestion& isOn : questions) {
      SCOPED_TRACE("question " + std::to_string(query) + " of " + std::to_string(last));
      Prepare();
      script().allowUnbalancedMethods();
      script().traceWhen(isOn);
      prepare();
      run();
      EXPECT_EQ(StepsTaken(), Shown(steps, isOn, false));
      EXPECT_EQ(script().activatedQueries(), last);
      endRow();
    }
  }
}

std::string WebCallTest::StepsTaken() {
  std::string steps;
  for (const std::string& line : linesOf(script().log())) {
    if (line.starts_with(className)) {
      steps += line.substr(sizeof(className) - 1) + "\n";
    } else if (!line.starts_with("~")) {
      steps += line + "\n";
    }
  }
  return steps;
}

// One question stands before the method's name and the entry record together, one before each
// detail, and one before the exit record and what follows it.
std::string WebCallTest::Shown(const std::string& steps, const TraceQuestion& traceIsOn, bool perfoIsOn) {
  std::string shown;
  int query = 0;
  bool isOn = false;
  for (const std::string& line : linesOf(steps)) {
    if (line.starts_with("! ")) {
      shown += "|" + line.substr(1) + "\n";
    } else if (line.starts_with("% ")) {
      shown += perfoIsOn ? line.substr(2) + "\n" : "";
    } else if (line.starts_with("@ ")) {
      shown += traceIsOn(query + 1) ? line.substr(2) + "\n" : "";
    } else if (line.starts_with("> ") || line.starts_with("| ") || line == "exit") {
      isOn = traceIsOn(++query);
      shown += isOn ? line + "\n" : "";
    } else if (line == "entry" || line == "<") {
      shown += isOn ? line + "\n" : "";
    } else {
      shown += line + "\n";
    }
  }
  return shown;
}

std::string WebCallTest::ShownWithTrace(const std::string& steps) {
  return Shown(
      steps, [](int) { return true; }, false);
}

int WebCallTest::QuestionsIn(const std::string& steps) {
  int questions = 0;
  Shown(
      steps,
      [&questions](int query) {
        questions = query;
        return false;
      },
      false);
  return questions;
}
