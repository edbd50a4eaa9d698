#include "WebCallTest.h"

#include <exception>
#include <new>
#include <vector>

// The web-service call through the object HTTP client.

using namespace scripted;

namespace {

class WebCurrentTest : public WebCallTest {
protected:
  static WebCall Call(const std::string& verb) {
    return {ZEPCfgWebServices::NewCallWebService, verb, "/path", "{}"};
  }
};

using WebCurrentDeathTest = WebCurrentTest;

const char getStatusText[] = "ZEPOmxHttpStatusLine::ToString()\n";
const char readBody[] = "| Download the answer of the WebService\n"
                        "GetEntity()\n"
                        "GetContent()\n"
                        "ZEPOmxIOUtils::ToString()\n";
const char findNoBody[] = "| Download the answer of the WebService\n"
                          "GetEntity()\n";
const char executePost[] = "Execute(httpPost http://server/path)\n"
                           "% endPerfo()\n"
                           "% | <END WebService>\n";

// A POST up to its status line, which is shown unless the status is 200.
std::string steppedToStatus(int status) {
  const std::string number = std::to_string(status);
  const std::string steps = upTo(currentSteps("POST"), "GetStatusCode()") + detail("statusCode = " + number);
  return status == 200 ? steps : steps + getStatusText + "! HTTP/1.1 " + number + " Scripted\n";
}

std::string refused(int status, const std::string& answer) {
  return getStatusText + error("HTTP/1.1 " + std::to_string(status) + " Scripted") +
         error("WS httpCommand: POST") + error("WS ustrFullUrl: http://server/path") +
         error("WS Input      : {}") + error(answer) + left(httpStatusCode);
}

std::string legacyRefused(const std::string& status, const std::string& answer) {
  return replaced(upTo(legacySteps("POST"), "Download()"), "returnCode = 200", "returnCode = " + status) +
         refusedByLegacy("POST", status, answer);
}

// ---- nothing fails ----

TEST_F(WebCurrentTest, call_takesTheseSteps_whenNothingFails) {
  for (const char* const verb : {"GET", "PUT", "POST"}) {
    SCOPED_TRACE(verb);
    ExpectInEveryMode(Call(verb), [] {}, {S_OK, "answer", currentSteps(verb)});
  }
}

TEST_F(WebCurrentTest, get_hasHeadersAlone_neitherServiceNameNorBody) {
  script().traceOn();
  ZEPUnicodeString answer;
  EXPECT_EQ(Run(Call("GET"), answer), S_OK);
  EXPECT_EQ(script().count(Op::AddHeader), 3);
  EXPECT_EQ(script().count(Op::SetServiceName), 0);
  EXPECT_EQ(script().count(Op::SetEntity), 0);
  EXPECT_EQ(script().linesWith("Create("), "ZEPOmxHttpStringEntity::Create({})\n"
                                           "ZEPOmxHttpGet::Create(http://server/path)\n"
                                           "ZEPOmxDefaultHttpClient::Create(0)\n");
}

TEST_F(WebCurrentTest, request_hasNoBody_whenThereIsNoEntity) {
  for (const char* const verb : {"PUT", "POST"}) {
    SCOPED_TRACE(verb);
    ExpectInEveryMode(Call(verb), [] { script().giveEmpty(Op::CreateStringEntity); },
                      {S_OK, "answer", replaced(currentSteps(verb), "SetEntity(stringEntity)\n", "")});
  }
  ExpectInEveryMode(Call("GET"), [] { script().giveEmpty(Op::CreateStringEntity); },
                    {S_OK, "answer", currentSteps("GET")});
}

TEST_F(WebCurrentTest, url_isJoinedAsItStands) {
  struct Row {
    int line;
    const char* server;
    const char* path;
    const char* url;
  };
  const Row rows[] = {
      Row{__LINE__, "http://server", "path", "http://serverpath"},
      Row{__LINE__, "http://server/", "/path", "http://server//path"},
      Row{__LINE__, "http://server:8080/root", "/a/b/?c=d", "http://server:8080/root/a/b/?c=d"},
      Row{__LINE__, "http://server", "", "http://server"},
      Row{__LINE__, "x", "y z", "xy z"},
      Row{__LINE__, "http://s\xC3\xA9rveur", "/\xF0\x9F\x98\x80", "http://s\xC3\xA9rveur/\xF0\x9F\x98\x80"},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE("row at line " + std::to_string(row.line));
    std::string steps = currentSteps("PUT");
    steps = replaced(steps, "in_url = [/path]", std::string("in_url = [") + row.path + "]");
    steps = replaced(steps, "http://server/path", row.url);
    ExpectInEveryMode({ZEPCfgWebServices::NewCallWebService, "PUT", row.path, "{}"},
                      [&row] { script().argUrl = row.server; }, {S_OK, "answer", steps});
  }
}

TEST_F(WebCurrentTest, contextAndBody_areHandedOverAsTheyStand) {
  struct Row {
    int line;
    std::string context;
    std::string json;
    std::string shownContext; // as an argument, behind which CR LF follows
    std::string shownJson;
  };
  const Row rows[] = {
      Row{__LINE__, " role.of me ", "[1]", "\" role.of me \\r\\n\"", "[1]"},
      Row{__LINE__, "\xC3\x9F", "\xE6\xBC\xA2", "\"\xC3\x9F\\r\\n\"", "\xE6\xBC\xA2"},
      Row{__LINE__, "ctx", std::string(100000, 'x'), "\"ctx\\r\\n\"", std::string(100000, 'x')},
      Row{__LINE__, "ctx", "", "\"ctx\\r\\n\"", "\"\""},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE("row at line " + std::to_string(row.line));
    std::string steps = currentSteps("POST");
    steps = replaced(steps, "ustrSecurityContext = [ctx]", "ustrSecurityContext = [" + row.context + "]");
    steps = replaced(steps, "\"ctx\\r\\n\"", row.shownContext);
    steps = replaced(steps, "in_json = [{}]", "in_json = [" + row.json + "]");
    steps = replaced(steps, "StringEntity::Create({})", "StringEntity::Create(" + row.shownJson + ")");
    ExpectInEveryMode({ZEPCfgWebServices::NewCallWebService, "POST", "/path", row.json},
                      [&row] { script().context = row.context; }, {S_OK, "answer", steps});
  }
}

// ---- outcomes by status ----

TEST_F(WebCurrentTest, status_belowClientErrors_isASuccess_withOrWithoutBody) {
  for (const int status : {0, 100, 199, 200, 201, 204, 299, 300, 302, 399}) {
    SCOPED_TRACE("status " + std::to_string(status));
    ExpectInEveryMode(Call("POST"), [status] { script().answer(status, "text"); },
                      {S_OK, "text", steppedToStatus(status) + readBody + succeeded("text")});
    ExpectInEveryMode(Call("POST"), [status] { script().answer(status, ""); },
                      {S_OK, "", steppedToStatus(status) + readBody + succeeded("")});
    ExpectInEveryMode(Call("POST"), [status] { script().answerWithoutBody(status); },
                      {S_OK, "", steppedToStatus(status) + findNoBody + succeeded("")});
  }
}

TEST_F(WebCurrentTest, status404_isNotFound_andNoBodyIsRead) {
  const std::string steps = steppedToStatus(404) + error("http://server/path URL not found (404)");
  ExpectInEveryMode(Call("POST"), [] { script().answer(404, "page"); },
                    {ZEP_E_HTTP_NOT_FOUND, "", steps + left(notFoundCode)});
  ExpectInEveryMode(Call("POST"), [] { script().answerWithoutBody(404); },
                    {ZEP_E_HTTP_NOT_FOUND, "", steps + left(notFoundCode)});
}

TEST_F(WebCurrentTest, status_ofClientErrors_isAFailure_withTheServersBody) {
  for (const int status : {400, 401, 403, 405, 499}) {
    SCOPED_TRACE("status " + std::to_string(status));
    ExpectInEveryMode(
        Call("POST"), [status] { script().answer(status, "denied"); },
        {ZEP_E_HTTP_STATUS, "denied", steppedToStatus(status) + readBody + refused(status, "denied")});
    ExpectInEveryMode(Call("POST"), [status] { script().answer(status, ""); },
                      {ZEP_E_HTTP_STATUS, "", steppedToStatus(status) + readBody + refused(status, "")});
    ExpectInEveryMode(Call("POST"), [status] { script().answerWithoutBody(status); },
                      {ZEP_E_HTTP_STATUS, "", steppedToStatus(status) + findNoBody + refused(status, "")});
  }
}

TEST_F(WebCurrentTest, statusLine_isShownAsTheServerWroteIt) {
  const std::string steps = steppedToStatus(403) + readBody + refused(403, "denied");
  ExpectInEveryMode(
      Call("POST"), [] { script().answer(403, "denied", "HTTP/2 403 Go away"); },
      {ZEP_E_HTTP_STATUS, "denied", replaced(steps, "HTTP/1.1 403 Scripted", "HTTP/2 403 Go away")});
}

TEST_F(WebCurrentTest, status_ofServerErrors_isLeftToTheLegacyStack) {
  struct Row {
    int line;
    int status;
    Preparation prepare;
    long result;
    const char* answer;
    std::string legacySteps;
    const char* code; // of the result
  };
  const Preparation nothing = [] {};
  const Preparation unavailable = [] { AnswerAtOnce("503", "still busy"); };
  const std::string happy = legacySteps("POST");
  const Row rows[] = {
      Row{__LINE__, 500, nothing, S_OK, "answer", happy, "S_OK"},
      Row{__LINE__, 501, nothing, S_OK, "answer", happy, "S_OK"},
      Row{__LINE__, 503, nothing, S_OK, "answer", happy, "S_OK"},
      Row{__LINE__, 599, nothing, S_OK, "answer", happy, "S_OK"},
      Row{__LINE__, 600, nothing, S_OK, "answer", happy, "S_OK"},
      Row{__LINE__, 503, unavailable, ZEP_E_HTTP_STATUS, "still busy", legacyRefused("503", "still busy"),
          httpStatusCode},
      Row{__LINE__, 503, [] { script().legacy.status = "404"; }, ZEP_E_HTTP_NOT_FOUND, "",
          upTo(happy, "GetResponseHeaders(19, null)") +
              "% endPerfo()\n"
              "% | <END WebService>\n"
              "| returnCode = 404\n"
              "| If the return of web service is 200 (OK), then we need to retrieve the Json associated to "
              "it\n" +
              error("http://server/path URL not found (404)") + left(notFoundCode),
          notFoundCode},
      Row{__LINE__, 500, [] { script().fail(Op::SendRequest, 1); }, E_FAIL, "",
          upTo(happy, "SendRequest({}, 2)") + error("ERROR: SendRequest failed") + left("E_FAIL"), "E_FAIL"},
      Row{__LINE__, 500,
          [] {
            script().fail(Op::QRLSysTSGetArg, E_ABORT).at(2);
            script().returns(Op::QRLSysTSGetArg, S_FALSE).at(3);
          },
          S_FALSE, "",
          upTo(happy, "QRLSysTSGetArg(Url, 0, 0)") + error("ERROR: QRLSysTSGetArg failed") + queryForUrl +
              left("S_FALSE"),
          "S_FALSE"},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE("row at line " + std::to_string(row.line));
    const auto prepareWithBody = [&row] {
      script().answer(row.status, "busy");
      row.prepare();
    };
    ExpectInEveryMode(
        Call("POST"), prepareWithBody,
        {row.result, row.answer, steppedToStatus(row.status) + readBody + row.legacySteps + left(row.code)});
    const auto prepareWithoutBody = [&row] {
      script().answerWithoutBody(row.status);
      row.prepare();
    };
    ExpectInEveryMode(Call("POST"), prepareWithoutBody,
                      {row.result, row.answer,
                       steppedToStatus(row.status) + findNoBody + row.legacySteps + left(row.code)});
  }
}

TEST_F(WebCurrentTest, fallback_repeatsTheSameRequest) {
  script().answer(503, "busy");
  script().context = "role";
  script().argUrl = "https://other/root";
  ZEPUnicodeString answer;
  EXPECT_EQ(Run({ZEPCfgWebServices::NewCallWebService, "GET", "?q", "[2]"}, answer), S_OK);
  EXPECT_EQ(answer, "answer");
  EXPECT_EQ(script().linesWith("Execute("), "Execute(httpGet https://other/root?q)\n");
  EXPECT_EQ(script().linesWith("Request"),
            "OpenRequest(GET, https://other/root?q, 0x400000, null)\n"
            "AddRequestHeaders(\"Accept: application/json\\r\\n\", 0x40000000)\n"
            "AddRequestHeaders(\"Content-Type: application/json\\r\\n\", 0x40000000)\n"
            "AddRequestHeaders(\"SecurityContext: role\\r\\n\", 0x40000000)\n"
            "SendRequest([2], 3)\n"
            "CloseRequest()\n");
}

TEST_F(WebCurrentTest, fallback_comesWhileTheFirstAnswerLives_andItsBodyStaysUntilThen) {
  script().answer(503, "busy");
  ZEPUnicodeString answer;
  std::string living;
  ZEPUnicodeString answerAtStart;
  ZEPUnicodeString answerAtContext;
  script().onCall(Op::ZEPHttpClient, [&] {
    living = script().liveObjects();
    answerAtStart = answer;
  });
  script().onCall(Op::GetCurrentContext, [&] { answerAtContext = answer; });
  EXPECT_EQ(Run(Call("PUT"), answer), S_OK);
  EXPECT_EQ(answerAtStart, "busy");
  EXPECT_EQ(answerAtContext, "");
  EXPECT_NE(living.find("response\n"), std::string::npos) << living;
  EXPECT_NE(living.find("tracePerfo\n"), std::string::npos) << living;
}

// ---- failures ----

TEST_F(WebCurrentTest, failure_isReported_andGivesItsResult) {
  struct Row {
    int line;
    const char* verb;
    Preparation prepare;
    long result;
    std::string steps;
  };
  const std::string post = currentSteps("POST");
  const std::string put = currentSteps("PUT");
  const std::string noContext = upTo(post, "GetCurrentContext()") + detail("ustrSecurityContext = []") +
                                error("ERROR: Orvana Context is empty") + left("E_FAIL");
  const std::string queriedTwice =
      upTo(post, "QRLSysTSGetArg(Url, 0, 0)") + error("ERROR: QRLSysTSGetArg failed") + queryForUrl;
  const std::string noRequest = error("ERROR: spTempRequest is a null pointer") + left("E_FAIL");
  const std::string executed =
      upTo(post, "ZEPOmxDefaultHttpClient::Create(0)") + executePost + error("ERROR: Execute failed");
  const std::string contentFailed = upTo(post, "GetContent()") + error("ERROR: GetContent failed");
  const std::string readFailed = upTo(post, "ZEPOmxIOUtils::ToString()") + error("ERROR: ToString failed");
  const Row rows[] = {
      Row{__LINE__, "POST", [] { script().context = ""; }, E_FAIL, noContext},
      Row{__LINE__, "POST", [] { script().fail(Op::GetCurrentContext, E_ABORT); }, E_FAIL, noContext},
      Row{__LINE__, "POST", [] { script().giveEmpty(Op::GetCurrentContext); }, E_FAIL, noContext},
      // The second answer is the result, whatever it is, and nothing is sent.
      Row{__LINE__, "POST", [] { script().fail(Op::QRLSysTSGetArg, E_ABORT); }, E_ABORT,
          queriedTwice + left("E_ABORT")},
      Row{__LINE__, "POST", [] { script().fail(Op::QRLSysTSGetArg, E_ABORT).at(1); }, S_OK,
          queriedTwice + left("S_OK")},
      Row{__LINE__, "POST",
          [] {
            script().argUrl = "";
            script().fail(Op::QRLSysTSGetArg, E_ABORT).at(1);
          },
          S_OK, queriedTwice + left("S_OK")},
      Row{__LINE__, "POST",
          [] {
            script().fail(Op::QRLSysTSGetArg, E_ABORT).at(1);
            script().returns(Op::QRLSysTSGetArg, S_FALSE).at(2);
          },
          S_FALSE, queriedTwice + left("S_FALSE")},
      Row{__LINE__, "POST",
          [] {
            script().fail(Op::QRLSysTSGetArg, E_ABORT).at(1);
            script().fail(Op::QRLSysTSGetArg, E_ACCESSDENIED).at(2);
          },
          E_ACCESSDENIED, queriedTwice + left("E_ACCESSDENIED")},
      Row{__LINE__, "POST", [] { script().argUrl = ""; }, E_FAIL,
          upTo(post, "QRLSysTSGetArg(Url, 0, 0)") + error("ERROR: Orvana Server Url is empty") +
              left("E_FAIL")},
      Row{__LINE__, "POST", [] { script().giveEmpty(Op::CreateHttpPost); }, E_FAIL,
          upTo(post, "ZEPOmxHttpPost::Create(http://server/path)") + noRequest},
      Row{__LINE__, "PUT", [] { script().giveEmpty(Op::CreateHttpPut); }, E_FAIL,
          upTo(put, "ZEPOmxHttpPut::Create(http://server/path)") + noRequest},
      Row{__LINE__, "POST", [] { script().fail(Op::Execute, E_ABORT); }, E_ABORT, executed + left("E_ABORT")},
      Row{__LINE__, "POST", [] { script().returns(Op::Execute, E_ACCESSDENIED); }, E_ACCESSDENIED,
          executed + left("E_ACCESSDENIED")},
      Row{__LINE__, "POST", [] { script().fail(Op::Execute, -123456); }, -123456, executed + left("-123456")},
      Row{__LINE__, "POST", [] { script().giveEmpty(Op::Execute); }, E_FAIL,
          upTo(post, "ZEPOmxDefaultHttpClient::Create(0)") + executePost +
              error("ERROR: spResponse is a null pointer") + left("E_FAIL")},
      Row{__LINE__, "POST", [] { script().fail(Op::GetContent, E_ABORT); }, E_ABORT,
          contentFailed + left("E_ABORT")},
      Row{__LINE__, "POST", [] { script().returns(Op::GetContent, E_UNEXPECTED); }, E_UNEXPECTED,
          contentFailed + left("E_UNEXPECTED")},
      Row{__LINE__, "POST", [] { script().fail(Op::IOUtilsToString, E_ABORT); }, E_ABORT,
          readFailed + left("E_ABORT")},
      Row{__LINE__, "POST", [] { script().returns(Op::IOUtilsToString, E_OUTOFMEMORY); }, E_OUTOFMEMORY,
          readFailed + left("E_OUTOFMEMORY")},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE("row at line " + std::to_string(row.line));
    ExpectInEveryMode(Call(row.verb), row.prepare, {row.result, "", row.steps});
  }
}

// Neither a message about the status nor the legacy stack comes after that.
TEST_F(WebCurrentTest, unreadableBody_isTheResult_whateverTheStatus) {
  for (const int status : {204, 302, 400, 403, 499, 500, 503}) {
    SCOPED_TRACE("status " + std::to_string(status));
    const std::string download =
        detail("Download the answer of the WebService") + "GetEntity()\nGetContent()\n";
    ExpectInEveryMode(
        Call("POST"),
        [status] {
          script().answer(status, "text");
          script().fail(Op::GetContent, E_ABORT);
        },
        {E_ABORT, "",
         steppedToStatus(status) + download + error("ERROR: GetContent failed") + left("E_ABORT")});
    ExpectInEveryMode(Call("POST"),
                      [status] {
                        script().answer(status, "text");
                        script().fail(Op::IOUtilsToString, E_ABORT);
                      },
                      {E_ABORT, "",
                       steppedToStatus(status) + download + "ZEPOmxIOUtils::ToString()\n" +
                           error("ERROR: ToString failed") + left("E_ABORT")});
  }
}

TEST_F(WebCurrentTest, command_isRefused_whenItIsNotOneOfThree) {
  for (const char* const verb : {"get", "Get", "put", "post", "DELETE", "PATCH", "HEAD", "", "GET ", " GET",
                                 "GETS", "PUTPOST", "\xEF\xBC\xA7\xEF\xBC\xA5\xEF\xBC\xB4"}) {
    SCOPED_TRACE(verb);
    const std::string steps = upTo(replaced(currentSteps("GET"), "in_httpCommand = [GET]",
                                            std::string("in_httpCommand = [") + verb + "]"),
                                   "| Create http query, open it and set the Headers");
    ExpectInEveryMode(Call(verb), [] {},
                      {E_INVALIDARG, "", steps + error("ERROR: wrong http command") + left("E_INVALIDARG")});
  }
}

TEST_F(WebCurrentTest, command_isLookedAtLast) {
  struct Row {
    int line;
    Preparation prepare;
    long result;
    const char* records;
  };
  const Row rows[] = {
      Row{__LINE__, [] { script().context = ""; }, E_FAIL,
          "| <ERROR>\n| <INDENT> ERROR: Orvana Context is empty\n"},
      Row{__LINE__, [] { script().fail(Op::QRLSysTSGetArg, E_ABORT); }, E_ABORT,
          "| <ERROR>\n| <INDENT> ERROR: QRLSysTSGetArg failed\n"},
      Row{__LINE__, [] { script().argUrl = ""; }, E_FAIL,
          "| <ERROR>\n| <INDENT> ERROR: Orvana Server Url is empty\n"},
      Row{__LINE__,
          [] {
            script().context = "";
            script().argUrl = "";
            script().allowUnused();
            script().fail(Op::QRLSysTSGetArg, E_ABORT);
          },
          E_FAIL, "| <ERROR>\n| <INDENT> ERROR: Orvana Context is empty\n"},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE("row at line " + std::to_string(row.line));
    Prepare();
    row.prepare();
    ZEPUnicodeString answer;
    EXPECT_EQ(codeName(Run(Call("get"), answer)), codeName(row.result));
    EXPECT_EQ(script().traceOf("ZEPCfgWebServices"), row.records);
    endRow();
  }
}

// What decides about the context is its text.
TEST_F(WebCurrentTest, successCodes_letTheCallGoOn) {
  struct Row {
    int line;
    Op operation;
    long code;
  };
  const Row rows[] = {
      Row{__LINE__, Op::GetCurrentContext, S_FALSE}, Row{__LINE__, Op::GetCurrentContext, E_ABORT},
      Row{__LINE__, Op::QRLSysTSGetArg, S_FALSE},    Row{__LINE__, Op::QRLSysTSGetArg, 4711},
      Row{__LINE__, Op::Execute, S_FALSE},           Row{__LINE__, Op::Execute, 4711},
      Row{__LINE__, Op::GetContent, S_FALSE},        Row{__LINE__, Op::GetContent, 4711},
      Row{__LINE__, Op::IOUtilsToString, S_FALSE},   Row{__LINE__, Op::IOUtilsToString, 4711},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE("row at line " + std::to_string(row.line));
    ExpectInEveryMode(Call("POST"), [&row] { script().returns(row.operation, row.code); },
                      {S_OK, "answer", currentSteps("POST")});
  }
}

TEST_F(WebCurrentDeathTest, process_ends_whenThereIsNoGetRequest) {
  script().allowUnused(); // the call is another process's
  script().giveEmpty(Op::CreateHttpGet);
  ZEPUnicodeString answer;
  EXPECT_DEATH(Run(Call("GET"), answer), "call through a null pointer");
}

TEST_F(WebCurrentDeathTest, process_ends_whenThereIsNoClient) {
  script().allowUnused();
  script().giveEmpty(Op::CreateHttpClient);
  ZEPUnicodeString answer;
  EXPECT_DEATH(Run(Call("POST"), answer), "call through a null pointer");
}

// ---- the answer ----

TEST_F(WebCurrentTest, answer_isReset_onceTheBodyIsMade) {
  ZEPUnicodeString answer = "left from before";
  std::vector<ZEPUnicodeString> seen;
  script().onCall(Op::CreateStringEntity, [&] { seen.push_back(answer); });
  script().onCall(Op::GetCurrentContext, [&] { seen.push_back(answer); });
  EXPECT_EQ(Run(Call("GET"), answer), S_OK);
  EXPECT_EQ(seen, (std::vector<ZEPUnicodeString>{"left from before", ""}));
}

TEST_F(WebCurrentTest, answer_isDecodedFromUTF8) {
  struct Row {
    int line;
    std::string body;
    ZEPUnicodeString answer;
  };
  const char16_t withNul[] = u"a\0b";
  const Row rows[] = {
      Row{__LINE__, "{\"k\":\"v\"}\r\n", "{\"k\":\"v\"}\r\n"},
      Row{__LINE__, "\xC3\xA9\xE6\xBC\xA2\xF0\x9F\x98\x80", "\xC3\xA9\xE6\xBC\xA2\xF0\x9F\x98\x80"},
      Row{__LINE__, "a\xC3", "a\xEF\xBF\xBD"},
      Row{__LINE__, "\xFFz", "\xEF\xBF\xBDz"},
      Row{__LINE__, std::string("a\0b", 3), ZEPUnicodeString(withNul, 3)},
      Row{__LINE__, std::string(200000, 'y'), Text(std::string(200000, 'y'))},
  };
  for (const Row& row : rows) {
    for (const int status : {200, 302, 403}) {
      SCOPED_TRACE("row at line " + std::to_string(row.line) + ", status " + std::to_string(status));
      Prepare();
      script().answer(status, row.body);
      ZEPUnicodeString answer;
      EXPECT_EQ(Run(Call("GET"), answer), status < 400 ? S_OK : ZEP_E_HTTP_STATUS);
      EXPECT_EQ(answer, row.answer);
      endRow();
    }
  }
}

// ---- body and answer in one object ----

TEST_F(WebCurrentTest, body_isSent_whenTheAnswerIsTheSameObject) {
  script().traceOn();
  ZEPUnicodeString both = "{}";
  EXPECT_EQ(ZEPCfgWebServices::NewCallWebService("POST", "/path", both, both), S_OK);
  EXPECT_EQ(both, "answer");
  EXPECT_EQ(StepsTaken(), ShownWithTrace(replaced(currentSteps("POST"), "in_json = [{}]", "in_json = []")));
}

TEST_F(WebCurrentTest, refusal_showsTheAnswerTwice_whenItIsTheSameObjectAsTheBody) {
  script().traceOn();
  script().answer(403, "denied");
  ZEPUnicodeString both = "{}";
  EXPECT_EQ(ZEPCfgWebServices::NewCallWebService("POST", "/path", both, both), ZEP_E_HTTP_STATUS);
  EXPECT_EQ(both, "denied");
  std::string steps = steppedToStatus(403) + readBody + refused(403, "denied");
  steps = replaced(steps, "in_json = [{}]", "in_json = []");
  steps = replaced(steps, "WS Input      : {}", "WS Input      : denied");
  EXPECT_EQ(StepsTaken(), ShownWithTrace(steps));
}

TEST_F(WebCurrentTest, fallback_sendsWhatTheBodyHoldsByThen_whenItIsTheSameObjectAsTheAnswer) {
  script().traceOn();
  script().answer(503, "busy");
  ZEPUnicodeString both = "{}";
  EXPECT_EQ(ZEPCfgWebServices::NewCallWebService("POST", "/path", both, both), S_OK);
  EXPECT_EQ(both, "answer");
  std::string legacy = replaced(legacySteps("POST"), "SendRequest({}, 2)", "SendRequest(busy, 4)");
  legacy = replaced(legacy, "pUtf8 = {}", "pUtf8 = busy");
  const std::string current = replaced(steppedToStatus(503) + readBody, "in_json = [{}]", "in_json = []");
  EXPECT_EQ(StepsTaken(), ShownWithTrace(current + legacy + left("S_OK")));
}

// ---- measure ----

TEST_F(WebCurrentTest, measure_livesUntilTheAnswerIsHandled) {
  struct Row {
    int line;
    Preparation prepare;
    const char* lastCall; // before its end
  };
  const Row rows[] = {
      Row{__LINE__, [] {}, "ZEPOmxIOUtils::ToString()"},
      Row{__LINE__, [] { script().fail(Op::Execute, E_ABORT); }, "Execute(httpPost http://server/path)"},
      Row{__LINE__, [] { script().answer(404, ""); }, "ZEPOmxHttpStatusLine::ToString()"},
      Row{__LINE__, [] { script().fail(Op::GetContent, E_ABORT); }, "GetContent()"},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE("row at line " + std::to_string(row.line));
    Prepare();
    row.prepare();
    ZEPUnicodeString answer;
    Run(Call("POST"), answer);
    const std::string calls = script().calls();
    EXPECT_NE(behind(calls, row.lastCall).find("~tracePerfo\n"), std::string::npos) << calls;
    EXPECT_EQ(script().linesWith("racePerfo"), "ZEPCfgTracePerfo(WebService)\n~tracePerfo\n");
    endRow();
  }
}

// ---- trace switched in the middle, exceptions ----

TEST_F(WebCurrentTest, trace_isAskedForEachRecord_andMayChangeItsAnswer) {
  ExpectRecordsOfQuestions(
      Call("POST"), [] {}, currentSteps("POST"));
  ExpectRecordsOfQuestions(
      Call("POST"), [] { script().answer(403, "denied"); },
      steppedToStatus(403) + readBody + refused(403, "denied"));
  ExpectRecordsOfQuestions(
      Call("POST"), [] { script().answer(503, "busy"); },
      steppedToStatus(503) + readBody + legacySteps("POST") + left("S_OK"));
  ExpectRecordsOfQuestions(
      Call("POST"), [] { script().fail(Op::Execute, E_ABORT); },
      upTo(currentSteps("POST"), "ZEPOmxDefaultHttpClient::Create(0)") + executePost +
          error("ERROR: Execute failed") + left("E_ABORT"));
}

TEST_F(WebCurrentTest, method_isNotNamedAgain_behindTheFallback) {
  script().traceOn();
  script().answer(503, "busy");
  ZEPUnicodeString answer;
  Run(Call("POST"), answer);
  std::vector<std::string> methods;
  for (const TraceRecord& record : script().records()) {
    if (methods.empty() || methods.back() != record.method) {
      methods.push_back(record.method);
    }
  }
  EXPECT_EQ(methods, (std::vector<std::string>{webSignature("NewCallWebService"),
                                               webSignature("OldCallWebService"), ""}));
}

TEST_F(WebCurrentTest, exception_passesThrough_andLeavesTheExitRecord) {
  struct Row {
    int line;
    Op operation;
    int nth;
    const char* lastCall;
    const char* answer;
  };
  const Row rows[] = {
      Row{__LINE__, Op::CreateStringEntity, 1, "ZEPOmxHttpStringEntity::Create({})", "left from before"},
      Row{__LINE__, Op::GetCurrentContext, 1, "GetCurrentContext()", ""},
      Row{__LINE__, Op::QRLSysTSGetArg, 1, "QRLSysTSGetArg(Url, 0, 0)", ""},
      Row{__LINE__, Op::CreateHttpPost, 1, "ZEPOmxHttpPost::Create(http://server/path)", ""},
      Row{__LINE__, Op::SetServiceName, 1, "SetServiceName(Qubelle)", ""},
      Row{__LINE__, Op::SetEntity, 1, "SetEntity(stringEntity)", ""},
      Row{__LINE__, Op::AddHeader, 1, R"(AddHeader(Accept, "application/json\r\n"))", ""},
      Row{__LINE__, Op::AddHeader, 3, R"(AddHeader(SecurityContext, "ctx\r\n"))", ""},
      Row{__LINE__, Op::ZEPCfgTracePerfo, 1, "ZEPCfgTracePerfo(WebService)", ""},
      Row{__LINE__, Op::CreateHttpClient, 1, "ZEPOmxDefaultHttpClient::Create(0)", ""},
      Row{__LINE__, Op::Execute, 1, "Execute(httpPost http://server/path)", ""},
      Row{__LINE__, Op::GetStatusLine, 1, "GetStatusLine()", ""},
      Row{__LINE__, Op::GetStatusCode, 1, "GetStatusCode()", ""},
      Row{__LINE__, Op::GetEntity, 1, "GetEntity()", ""},
      Row{__LINE__, Op::GetContent, 1, "GetContent()", ""},
      Row{__LINE__, Op::IOUtilsToString, 1, "ZEPOmxIOUtils::ToString()", ""},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE("row at line " + std::to_string(row.line));
    ExpectExceptionInEveryMode(Call("POST"), [&row] { script().throwIn(row.operation).at(row.nth); },
                               {S_OK, row.answer, upTo(currentSteps("POST"), row.lastCall) + exitAlone});
  }
}

TEST_F(WebCurrentTest, exception_passesThrough_atAStatusThatIsNot200) {
  struct Row {
    int line;
    int status;
    Op operation;
    int nth;
    const char* answer;
    std::string steps;
  };
  const std::string atLegacy = steppedToStatus(503) + readBody;
  const std::string twoExits = std::string(exitAlone) + exitAlone;
  const Row rows[] = {
      Row{__LINE__, 403, Op::StatusLineToString, 1, "",
          upTo(steppedToStatus(403), "ZEPOmxHttpStatusLine::ToString()") + exitAlone},
      Row{__LINE__, 403, Op::StatusLineToString, 2, "denied",
          steppedToStatus(403) + readBody + getStatusText + exitAlone},
      Row{__LINE__, 503, Op::ZEPHttpClient, 1, "denied",
          atLegacy + upTo(legacySteps("POST"), "ZEPHttpClient(null, 1, 1)") + twoExits},
      Row{__LINE__, 503, Op::GetCurrentContext, 2, "",
          atLegacy + upTo(legacySteps("POST"), "GetCurrentContext()") + twoExits},
      Row{__LINE__, 503, Op::Download, 1, "", atLegacy + upTo(legacySteps("POST"), "Download()") + twoExits},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE("row at line " + std::to_string(row.line));
    ExpectExceptionInEveryMode(Call("POST"),
                               [&row] {
                                 script().answer(row.status, "denied");
                                 script().throwIn(row.operation).at(row.nth);
                               },
                               {S_OK, row.answer, row.steps});
  }
}

TEST_F(WebCurrentTest, exception_keepsItsType) {
  script().throwIn(Op::Execute, std::make_exception_ptr(std::bad_alloc()));
  ZEPUnicodeString answer;
  EXPECT_THROW(Run(Call("PUT"), answer), std::bad_alloc);
}

} // namespace
