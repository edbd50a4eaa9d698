#include "FaultCourses.h"
#include "UTF8Texts.h"
#include "ZEPCfgWebServices.h"
#include "ZEPListValZEPPLMID.h"

// Every call and every allocation of the web services fails once, and from there on. What they are
// to do then is in FaultCourses_web.cpp.

using namespace scripted;
using namespace fault;

namespace {

const char before[] = "what the caller's text held before the call";

using Operation = long (*)(const ZEPUnicodeString&, const ZEPUnicodeString&, const ZEPUnicodeString&,
                           ZEPUnicodeString&);
using CourseOfOperation = long (*)(Course&, const Request&, std::string&);

const Request get = {"GET", "/resources/modeler/some/service", "{the body of a request}"};
const Request put = {"PUT", get.url, get.json};
const Request post = {"POST", get.url, get.json};
const Request wrongVerb = {"get", get.url, get.json};

// A server and answers that are too long to be kept in place.
void prepareServer() {
  script().argUrl = "http://a.server.with.a.long.name:4711";
  script().context = "VPLMProjectLeader.A long company.A long project";
  script().defaultBody = "the body of the answer of the current stack";
  script().legacy.body = "the body of the answer of the legacy stack";
}

std::function<void()> currentAnswers(int status) {
  return [status] {
    prepareServer();
    script().defaultStatus = status;
  };
}

std::function<void()> legacyAnswers(const char* status) {
  return [status] {
    prepareServer();
    script().legacy.status = status;
  };
}

void legacyAnswersInPieces() {
  prepareServer();
  script().legacy.headerText = "Transfer-Encoding: chunked";
  script().legacy.pieces = {"the first piece of the answer, ", "and the second"};
  script().legacy.lastPiece = "never seen";
}

void currentFailsAndLegacyAnswersInPieces() {
  legacyAnswersInPieces();
  script().defaultStatus = 503;
}

Scenario call(std::string name, Operation operation, CourseOfOperation course, const Request& request,
              std::function<void()> prepare = prepareServer) {
  Scenario scenario;
  scenario.name = std::move(name);
  scenario.prepare = std::move(prepare);
  scenario.run = [operation, request](Run& run) {
    const ZEPUnicodeString verb = textOf(request.verb);
    const ZEPUnicodeString url = textOf(request.url);
    const ZEPUnicodeString json = textOf(request.json);
    ZEPUnicodeString answer = before;
    run.Returns([&] { return operation(verb, url, json, answer); });
    run.Output(utf8Of(answer));
  };
  scenario.course = [course, request](Course& c) {
    std::string answer = before;
    c.Returns([&] { return course(c, request, answer); });
    c.Output(answer);
  };
  return scenario;
}

Scenario newCall(const char* path, const Request& request, std::function<void()> prepare = prepareServer) {
  return call(std::string("NewCallWebService, ") + path, ZEPCfgWebServices::NewCallWebService,
              courseOfNewCall, request, std::move(prepare));
}

Scenario oldCall(const char* path, const Request& request, std::function<void()> prepare = prepareServer) {
  return call(std::string("OldCallWebService, ") + path, ZEPCfgWebServices::OldCallWebService,
              courseOfOldCall, request, std::move(prepare));
}

// The first call of a process asks for the stack.
Scenario firstCall(const char* path, const char* setting) {
  return inProcessesOfItsOwn(call(std::string("CallWebService, first call, ") + path,
                                  ZEPCfgWebServices::CallWebService, courseOfCall, post, [setting] {
                                    prepareServer();
                                    script().environment["CFG_OldCallWebService"] = setting;
                                  }));
}

const std::initializer_list<const char*> listedIds = {"a part with a long identifier", "null",
                                                      "a feature with a long identifier"};

void prepareObjects() {
  script().objects["a part with a long identifier"] = {0, "not asked for", "the part's physical identifier"};
  script().objects["a feature with a long identifier"] = {1, "the feature's logical identifier",
                                                          "not asked for"};
}

Scenario jsonList() {
  Scenario scenario;
  scenario.name = "BuildJsonList";
  scenario.prepare = prepareObjects;
  scenario.run = [](Run& run) {
    ZEPListValZEPPLMID ids;
    for (const std::string id : listedIds) {
      ids.Append(id == "null" ? ZEPPLMID() : ZEPPLMID(textOf(id)));
    }
    std::vector<ZEPUnicodeString> texts = {"in front"};
    run.Returns([&] { return ZEPCfgWebServices::BuildJsonList(ids, texts); });
    std::string shown;
    for (const ZEPUnicodeString& text : texts) {
      shown += "<" + utf8Of(text) + ">";
    }
    run.Output(shown);
  };
  scenario.course = [](Course& course) {
    std::string texts = "<in front>";
    course.Returns([&] { return courseOfJsonList(course, listedIds, texts); });
    course.Output(texts);
  };
  return scenario;
}

// ---- areas ----

std::vector<Scenario> currentStack() {
  return {newCall("GET", get), newCall("PUT", put), newCall("POST", post),
          newCall("unknown verb", wrongVerb)};
}

std::vector<Scenario> currentStackBehindAnAnswer() {
  return {newCall("GET, status 302", get, currentAnswers(302)),
          newCall("GET, status 403", get, currentAnswers(403)),
          newCall("GET, status 404", get, currentAnswers(404))};
}

std::vector<Scenario> currentStackBehindAFailure() {
  return {withFault(newCall("POST", post), Op::CreateStringEntity, Kind::Empty),
          withoutMemory(withFault(newCall("GET", get), Op::QRLSysTSGetArg, Kind::Fails)),
          withFault(newCall("GET", get), Op::GetEntity, Kind::Empty)};
}

std::vector<Scenario> fallback() {
  return {newCall("PUT, status 500, legacy stack", put, currentAnswers(500)),
          newCall("GET, status 503, legacy stack in pieces", get, currentFailsAndLegacyAnswersInPieces)};
}

std::vector<Scenario> legacyStack() {
  return {oldCall("POST", post), oldCall("in pieces", get, legacyAnswersInPieces),
          oldCall("status 404", get, legacyAnswers("404")), oldCall("status 500", get, legacyAnswers("500")),
          withoutMemory(withFault(oldCall("GET", get), Op::QRLSysTSGetArg, Kind::Fails))};
}

std::vector<Scenario> choiceOfTheStack() {
  return {firstCall("current stack", "0, a setting too long to be kept in place"),
          firstCall("legacy stack", "1"),
          call("CallWebService", ZEPCfgWebServices::CallWebService, courseOfCall, get)};
}

std::vector<Scenario> listOfIdentifiers() {
  return {jsonList()};
}

const Area areas[] = {
    {"currentStack", currentStack},
    {"currentStackBehindAnAnswer", currentStackBehindAnAnswer},
    {"currentStackBehindAFailure", currentStackBehindAFailure},
    {"fallback", fallback},
    {"legacyStack", legacyStack},
    {"choiceOfTheStack", choiceOfTheStack},
    {"listOfIdentifiers", listOfIdentifiers},
};

INSTANTIATE_TEST_SUITE_P(Web, FaultTest, testing::ValuesIn(areas), nameOfArea);

} // namespace
