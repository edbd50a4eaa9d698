#include "FaultCourses.h"
#include "UTF8Texts.h"
#include "ZEPCfgWebServices.h"
#include "ZEPListValZEPPLMID.h"

#include <gtest/gtest.h>

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
    std::string answer;
    c.Starts(answer, before);
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

Scenario withFault(Scenario scenario, Op operation, Kind kind) {
  scenario.given = {{operation, kind}};
  return scenario;
}

// The first call of a process asks for the stack.
Scenario firstCall(const char* path, const char* setting) {
  Scenario scenario = call(std::string("CallWebService, first call, ") + path,
                           ZEPCfgWebServices::CallWebService, courseOfCall, post, [setting] {
                             prepareServer();
                             script().environment["CFG_OldCallWebService"] = setting;
                           });
  scenario.isFresh = true;
  return scenario;
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
    std::string texts;
    course.Starts(texts, "<in front>");
    course.Returns([&] { return courseOfJsonList(course, listedIds, texts); });
    course.Output(texts);
  };
  return scenario;
}

// ---- calls ----

TEST(FaultWebTest, currentStack_doesWhatItShould_whicheverCallFails) {
  failEveryCall(newCall("GET", get));
  failEveryCall(newCall("PUT", put));
  failEveryCall(newCall("POST", post));
  failEveryCall(newCall("unknown verb", wrongVerb));
}

TEST(FaultWebTest, currentStack_doesWhatItShould_whicheverCallFailsBehindAnAnswerOfTheServer) {
  failEveryCall(newCall("GET, status 302", get, currentAnswers(302)));
  failEveryCall(newCall("GET, status 403", get, currentAnswers(403)));
  failEveryCall(newCall("GET, status 404", get, currentAnswers(404)));
}

TEST(FaultWebTest, fallback_doesWhatItShould_whicheverCallFails) {
  failEveryCall(newCall("PUT, status 500, legacy stack", put, currentAnswers(500)));
  failEveryCall(
      newCall("GET, status 503, legacy stack in pieces", get, currentFailsAndLegacyAnswersInPieces));
}

TEST(FaultWebTest, currentStack_doesWhatItShould_whicheverCallFailsBehindAFailure) {
  failEveryCall(withFault(newCall("no body entity", post), Op::CreateStringEntity, Kind::Empty));
  failEveryCall(withFault(newCall("no Url", get), Op::QRLSysTSGetArg, Kind::Fails));
  failEveryCall(withFault(newCall("no entity in the answer", get), Op::GetEntity, Kind::Empty));
}

TEST(FaultWebTest, legacyStack_doesWhatItShould_whicheverCallFails) {
  failEveryCall(oldCall("POST", post));
  failEveryCall(oldCall("in pieces", get, legacyAnswersInPieces));
  failEveryCall(oldCall("status 404", get, legacyAnswers("404")));
  failEveryCall(oldCall("status 500", get, legacyAnswers("500")));
  failEveryCall(withFault(oldCall("no Url", get), Op::QRLSysTSGetArg, Kind::Fails));
}

TEST(FaultWebTest, choiceOfTheStack_doesWhatItShould_whicheverCallFails) {
  failEveryCall(firstCall("current stack", "0"));
  failEveryCall(firstCall("legacy stack", "1"));
  failEveryCall(call("CallWebService", ZEPCfgWebServices::CallWebService, courseOfCall, get));
}

TEST(FaultWebTest, jsonList_doesWhatItShould_whicheverCallFails) {
  failEveryCall(jsonList());
}

// ---- allocations ----

TEST(FaultWebTest, currentStack_losesNothing_whicheverAllocationFails) {
  failEveryAllocation(newCall("GET", get));
  failEveryAllocation(newCall("PUT", put));
  failEveryAllocation(newCall("POST", post));
  failEveryAllocation(newCall("GET, status 403", get, currentAnswers(403)));
  failEveryAllocation(newCall("GET, status 404", get, currentAnswers(404)));
  failEveryAllocation(
      newCall("GET, status 503, legacy stack in pieces", get, currentFailsAndLegacyAnswersInPieces));
}

TEST(FaultWebTest, legacyStack_losesNothing_whicheverAllocationFails) {
  failEveryAllocation(oldCall("POST", post));
  failEveryAllocation(oldCall("in pieces", get, legacyAnswersInPieces));
  failEveryAllocation(oldCall("status 404", get, legacyAnswers("404")));
  failEveryAllocation(oldCall("status 500", get, legacyAnswers("500")));
}

TEST(FaultWebTest, choiceOfTheStack_losesNothing_whicheverAllocationFails) {
  failEveryAllocation(firstCall("current stack", "0, a setting too long to be kept in place"));
  failEveryAllocation(firstCall("legacy stack", "1"));
}

TEST(FaultWebTest, jsonList_losesNothing_whicheverAllocationFails) {
  failEveryAllocation(jsonList());
}

} // namespace
