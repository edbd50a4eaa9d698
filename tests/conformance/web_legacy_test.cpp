#include "WebCallTest.h"

#include <exception>
#include <new>
#include <vector>

// The web-service call through the low-level HTTP client.

using namespace scripted;

namespace {

class WebLegacyTest : public WebCallTest {
protected:
  static WebCall Call(const std::string& verb) {
    return {ZEPCfgWebServices::OldCallWebService, verb, "/path", "{}"};
  }
};

const char endOfMeasure[] = "% endPerfo()\n% | <END WebService>\n";
const char sendBody[] = "SendRequest({}, 2)";
const char getHead[] = "GetResponseHeaders(19, null)";

// A PUT up to what its status text says.
std::string steppedToStatus(const std::string& status) {
  return upTo(legacySteps("PUT"), getHead) + endOfMeasure + detail("returnCode = " + status) +
         detail(
             "If the return of web service is 200 (OK), then we need to retrieve the Json associated to it");
}

const char readAtOnce[] = "| Download the answer of the WebService\n"
                          "| Check if the answer is chunked\n"
                          "| chunked = FALSE\n"
                          "| We need to retrieve the Json\n"
                          "| The answer is not chunked, download it in 1 shot\n"
                          "Download()\n";

std::string readByPieces(int calls) {
  std::string steps = "| Download the answer of the WebService\n"
                      "| Check if the answer is chunked\n"
                      "| chunked = TRUE\n"
                      "| We need to retrieve the Json\n"
                      "| the answer is chunked, we download it piece by piece\n";
  for (int i = 0; i < calls; ++i) {
    steps += "DownloadEx(4096)\n";
  }
  return steps;
}

std::string refused(const std::string& status, const std::string& answer) {
  return refusedByLegacy("PUT", status, answer);
}

// ---- nothing fails ----

TEST_F(WebLegacyTest, call_takesTheseSteps_whateverTheVerb) {
  for (const char* const verb : {"GET", "PUT", "POST", "DELETE", "get", "X"}) {
    SCOPED_TRACE(verb);
    ExpectInEveryMode(Call(verb), [] {}, {S_OK, "answer", legacySteps(verb)});
  }
}

TEST_F(WebLegacyTest, verb_isHandedOverAsItStands) {
  struct Row {
    int line;
    const char* verb;
    const char* opened;
  };
  const Row rows[] = {
      Row{__LINE__, "", "OpenRequest(\"\", http://server/path, 0x400000, null)\n"},
      Row{__LINE__, "GET ", "OpenRequest(\"GET \", http://server/path, 0x400000, null)\n"},
      Row{__LINE__, "\xC3\xA9", "OpenRequest(\xC3\xA9, http://server/path, 0x400000, null)\n"},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE("row at line " + std::to_string(row.line));
    Prepare();
    ZEPUnicodeString answer;
    EXPECT_EQ(Run(Call(row.verb), answer), S_OK);
    EXPECT_EQ(script().linesWith("OpenRequest"), row.opened);
    endRow();
  }
}

TEST_F(WebLegacyTest, url_isJoinedAsItStands) {
  struct Row {
    int line;
    const char* server;
    const char* path;
    const char* url;
  };
  const Row rows[] = {
      Row{__LINE__, "http://server", "path", "http://serverpath"},
      Row{__LINE__, "http://server/", "/path", "http://server//path"},
      Row{__LINE__, "http://server", "", "http://server"},
      Row{__LINE__, "http://s\xC3\xA9rveur", "/\xF0\x9F\x98\x80", "http://s\xC3\xA9rveur/\xF0\x9F\x98\x80"},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE("row at line " + std::to_string(row.line));
    std::string steps = legacySteps("PUT");
    steps = replaced(steps, "in_url = [/path]", std::string("in_url = [") + row.path + "]");
    steps = replaced(steps, "http://server/path", row.url);
    ExpectInEveryMode({ZEPCfgWebServices::OldCallWebService, "PUT", row.path, "{}"},
                      [&row] { script().argUrl = row.server; }, {S_OK, "answer", steps});
  }
}

TEST_F(WebLegacyTest, context_standsInItsHeaderLine) {
  struct Row {
    int line;
    const char* context;
  };
  const Row rows[] = {
      Row{__LINE__, "role.organization.project"},
      Row{__LINE__, " outer blanks "},
      Row{__LINE__, "\xC3\x9F\xE6\xBC\xA2"},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE("row at line " + std::to_string(row.line));
    std::string steps = legacySteps("PUT");
    steps = replaced(steps, "ustrSecurityContext = [ctx]",
                     std::string("ustrSecurityContext = [") + row.context + "]");
    steps = replaced(steps, "SecurityContext: ctx", std::string("SecurityContext: ") + row.context);
    ExpectInEveryMode(Call("PUT"), [&row] { script().context = row.context; }, {S_OK, "answer", steps});
  }
}

// The conversion keeps 32 bytes in place, the zero at the end included.
TEST_F(WebLegacyTest, body_isSentInUTF8_withItsByteLength) {
  struct Row {
    int line;
    std::string json;
    std::string sent;
    std::string traced;
  };
  std::vector<Row> rows = {
      Row{__LINE__, "", "\"\", 0", ""},
      Row{__LINE__, "\xC3\xA9\xF0\x9F\x98\x80", "\xC3\xA9\xF0\x9F\x98\x80, 6", "\xC3\xA9\xF0\x9F\x98\x80"},
      Row{__LINE__, "{\"a\":1}", "\"{\\\"a\\\":1}\", 7", "{\"a\":1}"},
      Row{__LINE__, "a\r\nb", "\"a\\r\\nb\", 4", "a\\r\\nb"},
  };
  for (const std::size_t length : {30U, 31U, 32U, 33U, 64U, 100000U}) {
    const std::string json(length, 'x');
    rows.push_back(Row{__LINE__, json, json + ", " + std::to_string(length), json});
  }
  for (const Row& row : rows) {
    for (const char* const verb : {"GET", "POST"}) {
      SCOPED_TRACE("row at line " + std::to_string(row.line) + ", " + verb + " " +
                   std::to_string(row.json.size()));
      std::string steps = replaced(legacySteps(verb), "SendRequest({}, 2)", "SendRequest(" + row.sent + ")");
      steps = replaced(steps, "pUtf8 = {}", "pUtf8 = " + row.traced);
      ExpectInEveryMode({ZEPCfgWebServices::OldCallWebService, verb, "/path", row.json}, [] {},
                        {S_OK, "answer", steps});
    }
  }
}

TEST_F(WebLegacyTest, body_isSentWhole_whenItHoldsNul) {
  ZEPUnicodeString answer;
  EXPECT_EQ(Run({ZEPCfgWebServices::OldCallWebService, "PUT", "/path", std::string("a\0b", 3)}, answer),
            S_OK);
  EXPECT_EQ(script().linesWith("SendRequest"), "SendRequest(\"a\\x00b\", 3)\n");
}

TEST_F(WebLegacyTest, codes_thatAreNotLookedAt_changeNothing) {
  struct Row {
    int line;
    Op operation;
    long code;
  };
  const Row rows[] = {
      Row{__LINE__, Op::GetCurrentContext, S_FALSE},
      Row{__LINE__, Op::GetCurrentContext, E_ABORT},
      Row{__LINE__, Op::QRLSysTSGetArg, S_FALSE},
      Row{__LINE__, Op::QRLSysTSGetArg, 4711},
      Row{__LINE__, Op::CloseRequest, 1},
      Row{__LINE__, Op::CloseRequest, -1},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE("row at line " + std::to_string(row.line));
    ExpectInEveryMode(Call("PUT"), [&row] { script().returns(row.operation, row.code); },
                      {S_OK, "answer", legacySteps("PUT")});
  }
}

// ---- outcomes by status ----

TEST_F(WebLegacyTest, status_belowClientErrors_isASuccess) {
  for (const char* const status : {"0", "100", "199", "200", "204", "302", "399"}) {
    SCOPED_TRACE(status);
    ExpectInEveryMode(Call("PUT"), [status] { AnswerAtOnce(status, "text"); },
                      {S_OK, "text", steppedToStatus(status) + readAtOnce + succeeded("text")});
    ExpectInEveryMode(Call("PUT"), [status] { AnswerAtOnce(status, ""); },
                      {S_OK, "", steppedToStatus(status) + readAtOnce + succeeded("")});
  }
}

TEST_F(WebLegacyTest, status404_isNotFound_andNoBodyIsRead) {
  const std::string steps =
      steppedToStatus("404") + error("http://server/path URL not found (404)") + left(notFoundCode);
  ExpectInEveryMode(Call("PUT"), [] { script().legacy.status = "404"; }, {ZEP_E_HTTP_NOT_FOUND, "", steps});
  ExpectInEveryMode(Call("PUT"), [] { AnswerInPieces("404", {"piece"}); }, {ZEP_E_HTTP_NOT_FOUND, "", steps});
}

TEST_F(WebLegacyTest, status_fromClientErrorsOn_isAFailure_withTheServersBody) {
  for (const char* const status : {"400", "401", "403", "405", "499", "500", "503", "599", "1000"}) {
    SCOPED_TRACE(status);
    ExpectInEveryMode(
        Call("PUT"), [status] { AnswerAtOnce(status, "denied"); },
        {ZEP_E_HTTP_STATUS, "denied", steppedToStatus(status) + readAtOnce + refused(status, "denied")});
    ExpectInEveryMode(Call("PUT"), [status] { AnswerAtOnce(status, ""); },
                      {ZEP_E_HTTP_STATUS, "", steppedToStatus(status) + readAtOnce + refused(status, "")});
    ExpectInEveryMode(
        Call("PUT"),
        [status] {
          AnswerInPieces(status, {"den", "ied"});
        },
        {ZEP_E_HTTP_STATUS, "denied", steppedToStatus(status) + readByPieces(3) + refused(status, "denied")});
  }
}

TEST_F(WebLegacyTest, status_isTheNumberThatItsTextBeginsWith) {
  struct Row {
    int line;
    std::string status;
    long result;
    std::string traced;
  };
  const Row rows[] = {
      Row{__LINE__, "200 OK", S_OK, "200 OK"},
      Row{__LINE__, "403 Forbidden", ZEP_E_HTTP_STATUS, "403 Forbidden"},
      Row{__LINE__, " 500", ZEP_E_HTTP_STATUS, " 500"},
      Row{__LINE__, "\t403", ZEP_E_HTTP_STATUS, "\\t403"},
      Row{__LINE__, "+403", ZEP_E_HTTP_STATUS, "+403"},
      Row{__LINE__, "0403", ZEP_E_HTTP_STATUS, "0403"},
      Row{__LINE__, "403.9", ZEP_E_HTTP_STATUS, "403.9"},
      Row{__LINE__, "-403", S_OK, "-403"},
      // Not a number: 0.
      Row{__LINE__, "", S_OK, ""},
      Row{__LINE__, "abc", S_OK, "abc"},
      Row{__LINE__, "HTTP/1.1 403", S_OK, "HTTP/1.1 403"},
      Row{__LINE__, "x403", S_OK, "x403"},
      Row{__LINE__, "\xEF\xBC\x94\xEF\xBC\x90\xEF\xBC\x93", S_OK, "\xEF\xBC\x94\xEF\xBC\x90\xEF\xBC\x93"},
      Row{__LINE__, "99999999999999999999", S_OK, "99999999999999999999"},
      Row{__LINE__,
          "\xFF"
          "403",
          S_OK,
          "\xEF\xBF\xBD"
          "403"},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE("row at line " + std::to_string(row.line));
    const std::string outcome = ZEPFailed(row.result) ? refused(row.traced, "answer") : succeeded("answer");
    ExpectInEveryMode(Call("PUT"), [&row] { script().legacy.status = row.status; },
                      {row.result, "answer", steppedToStatus(row.traced) + readAtOnce + outcome});
  }
}

// As many bytes as the client says, whatever stands behind them.
TEST_F(WebLegacyTest, status_endsWithItsLength_notWithTheBuffer) {
  struct Row {
    int line;
    const char* status;
    const char* headerText;
    long result;
  };
  const Row rows[] = {
      Row{__LINE__, "20", "04", S_OK}, Row{__LINE__, "40", "4", S_OK},
      Row{__LINE__, "40", "3", S_OK},  Row{__LINE__, "403", "99", ZEP_E_HTTP_STATUS},
      Row{__LINE__, "", "403", S_OK},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE("row at line " + std::to_string(row.line));
    const std::string outcome = ZEPFailed(row.result) ? refused(row.status, "answer") : succeeded("answer");
    ExpectInEveryMode(Call("PUT"),
                      [&row] {
                        script().legacy.status = row.status;
                        script().legacy.headerText = row.headerText;
                      },
                      {row.result, "answer", steppedToStatus(row.status) + readAtOnce + outcome});
  }
}

TEST_F(WebLegacyTest, status_isEmpty_whenThereIsNoHeaderBuffer) {
  ExpectInEveryMode(Call("PUT"), [] { script().legacy.nullHeader = true; },
                    {S_OK, "answer", steppedToStatus("") + readAtOnce + succeeded("answer")});
}

// ---- chunked or not ----

TEST_F(WebLegacyTest, answer_isChunked_whenTheHeaderHoldsExactlyThatText) {
  struct Row {
    int line;
    bool isChunked;
    std::string headerText;
  };
  const Row rows[] = {
      Row{__LINE__, true, "Transfer-Encoding: chunked"},
      Row{__LINE__, true, "\r\nDate: x\r\nTransfer-Encoding: chunked\r\nX: y\r\n\r\n"},
      Row{__LINE__, true, "\r\nX-Transfer-Encoding: chunkedly"},
      Row{__LINE__, true, "Transfer-Encoding: chunked, gzip"},
      Row{__LINE__, true, "Transfer-Encoding: chunkeTransfer-Encoding: chunked"},
      Row{__LINE__, false, ""},
      Row{__LINE__, false, "transfer-encoding: chunked"},
      Row{__LINE__, false, "Transfer-encoding: chunked"},
      Row{__LINE__, false, "TRANSFER-ENCODING: CHUNKED"},
      Row{__LINE__, false, "Transfer-Encoding: Chunked"},
      Row{__LINE__, false, "Transfer-Encoding:chunked"},
      Row{__LINE__, false, "Transfer-Encoding:  chunked"},
      Row{__LINE__, false, "Transfer-Encoding : chunked"},
      Row{__LINE__, false, "Transfer-Encoding: gzip, chunked"},
      Row{__LINE__, false, "Transfer-Encoding: chunke"},
      Row{__LINE__, false, "ransfer-Encoding: chunked"},
      Row{__LINE__, false, "chunked"},
      Row{__LINE__, false, std::string("\0Transfer-Encoding: chunked", 27)},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE("row at line " + std::to_string(row.line));
    ExpectInEveryMode(
        Call("PUT"),
        [&row] {
          AnswerInPieces("200", {"piece"});
          script().legacy.headerText = row.headerText;
          script().legacy.body = "at once";
        },
        row.isChunked
            ? WebOutcome{S_OK, "piece", steppedToStatus("200") + readByPieces(2) + succeeded("piece")}
            : WebOutcome{S_OK, "at once", steppedToStatus("200") + readAtOnce + succeeded("at once")});
  }
}

TEST_F(WebLegacyTest, chunkedText_isFound_insideTheStatusText) {
  const std::string status = std::string("200 ") + chunkedText;
  ExpectInEveryMode(Call("PUT"),
                    [&status] {
                      script().legacy.status = status;
                      script().legacy.pieces = {"piece"};
                    },
                    {S_OK, "piece", steppedToStatus(status) + readByPieces(2) + succeeded("piece")});
}

TEST_F(WebLegacyTest, download_givesNoText_withoutBytes) {
  struct Row {
    int line;
    const char* body;
    bool nullBody;
  };
  const Row rows[] = {
      Row{__LINE__, "", false},
      Row{__LINE__, "", true},
      Row{__LINE__, "four", true},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE("row at line " + std::to_string(row.line));
    ExpectInEveryMode(Call("PUT"),
                      [&row] {
                        AnswerAtOnce("200", row.body);
                        script().legacy.nullBody = row.nullBody;
                      },
                      {S_OK, "", steppedToStatus("200") + readAtOnce + succeeded("")});
  }
}

TEST_F(WebLegacyTest, answer_isDecodedFromUTF8) {
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
    for (const char* const headerText : {"", chunkedText}) {
      SCOPED_TRACE("row at line " + std::to_string(row.line) + " " + headerText);
      Prepare();
      AnswerInPieces("200", {row.body});
      script().legacy.headerText = headerText;
      script().legacy.body = row.body;
      ZEPUnicodeString answer;
      EXPECT_EQ(Run(Call("GET"), answer), S_OK);
      EXPECT_EQ(answer, row.answer);
      endRow();
    }
  }
}

TEST_F(WebLegacyTest, pieces_areGatheredUntilTheClientIsDone) {
  struct Row {
    int line;
    int calls;
    std::vector<std::string> pieces;
    const char* lastPiece;
    Preparation prepare;
    const char* answer;
  };
  const Preparation nothing = [] {};
  const Row rows[] = {
      Row{__LINE__, 1, {}, "", nothing, ""},
      Row{__LINE__, 2, {"one"}, "", nothing, "one"},
      Row{__LINE__, 4, {"one", "two", "three"}, "", nothing, "onetwothree"},
      // A piece without bytes is not the end.
      Row{__LINE__, 4, {"one", "", "two"}, "", nothing, "onetwo"},
      // What comes together with the end is freed unread.
      Row{__LINE__, 2, {"one"}, "unread", nothing, "one"},
      Row{__LINE__, 1, {}, "unread", nothing, ""},
      // Any other code than a negative one goes on.
      Row{__LINE__, 3, {"one", "two"}, "", [] { script().returns(Op::DownloadEx, 1); }, "onetwo"},
      Row{__LINE__, 4, {"one", "two"}, "", [] { script().fail(Op::DownloadEx, 1).at(2); }, "onetwo"},
      // A negative one ends it quietly, and the piece that came with it is freed unread.
      Row{__LINE__, 1, {"one", "two"}, "", [] { script().fail(Op::DownloadEx, -1).at(1); }, ""},
      Row{__LINE__, 2, {"one", "two"}, "", [] { script().fail(Op::DownloadEx, -1).at(2); }, "one"},
      Row{__LINE__, 2, {"one", "two"}, "", [] { script().returns(Op::DownloadEx, E_FAIL).at(2); }, "one"},
      Row{__LINE__, 2, {"one"}, "unread", [] { script().returns(Op::DownloadEx, -1).at(2); }, "one"},
      // Each piece is decoded by itself: a character that two of them share is torn.
      Row{__LINE__, 3, {"a\xC3", "\xA9z"}, "", nothing, "a\xEF\xBF\xBD\xEF\xBF\xBDz"},
      Row{__LINE__, 3, {"\xF0\x9F", "\x98\x80"}, "", nothing, "\xEF\xBF\xBD\xEF\xBF\xBD\xEF\xBF\xBD"},
      Row{__LINE__, 3, {"a\xC3\xA9", "\xC3\xA9z"}, "", nothing, "a\xC3\xA9\xC3\xA9z"},
  };
  for (const Row& row : rows) {
    for (const char* const status : {"200", "403"}) {
      SCOPED_TRACE("row at line " + std::to_string(row.line) + ", status " + status);
      const bool isRefused = std::string(status) == "403";
      ExpectInEveryMode(Call("PUT"),
                        [&] {
                          AnswerInPieces(status, row.pieces);
                          script().legacy.lastPiece = row.lastPiece;
                          row.prepare();
                        },
                        {isRefused ? ZEP_E_HTTP_STATUS : S_OK, row.answer,
                         steppedToStatus(status) + readByPieces(row.calls) +
                             (isRefused ? refused(status, row.answer) : succeeded(row.answer))});
    }
  }
}

// ---- failures ----

TEST_F(WebLegacyTest, failure_isReported_andGivesItsResult) {
  struct Row {
    int line;
    Preparation prepare;
    long result;
    std::string steps;
  };
  const std::string put = legacySteps("PUT");
  const std::string noContext = upTo(put, "GetCurrentContext()") + detail("ustrSecurityContext = []") +
                                error("ERROR: Orvana Context is empty") + left("E_FAIL");
  const std::string queriedTwice =
      upTo(put, "QRLSysTSGetArg(Url, 0, 0)") + error("ERROR: QRLSysTSGetArg failed") + queryForUrl;
  const Row rows[] = {
      Row{__LINE__, [] { script().context = ""; }, E_FAIL, noContext},
      Row{__LINE__, [] { script().fail(Op::GetCurrentContext, E_ABORT); }, E_FAIL, noContext},
      Row{__LINE__, [] { script().giveEmpty(Op::GetCurrentContext); }, E_FAIL, noContext},
      // The second answer is the result, whatever it is, and nothing is sent.
      Row{__LINE__, [] { script().fail(Op::QRLSysTSGetArg, E_ABORT); }, E_ABORT,
          queriedTwice + left("E_ABORT")},
      Row{__LINE__, [] { script().fail(Op::QRLSysTSGetArg, E_ABORT).at(1); }, S_OK,
          queriedTwice + left("S_OK")},
      Row{__LINE__,
          [] {
            script().argUrl = "";
            script().fail(Op::QRLSysTSGetArg, E_ABORT).at(1);
          },
          S_OK, queriedTwice + left("S_OK")},
      Row{__LINE__,
          [] {
            script().fail(Op::QRLSysTSGetArg, E_ABORT).at(1);
            script().returns(Op::QRLSysTSGetArg, S_FALSE).at(2);
          },
          S_FALSE, queriedTwice + left("S_FALSE")},
      Row{__LINE__,
          [] {
            script().fail(Op::QRLSysTSGetArg, E_ABORT).at(1);
            script().fail(Op::QRLSysTSGetArg, E_ACCESSDENIED).at(2);
          },
          E_ACCESSDENIED, queriedTwice + left("E_ACCESSDENIED")},
      Row{__LINE__, [] { script().argUrl = ""; }, E_FAIL,
          upTo(put, "QRLSysTSGetArg(Url, 0, 0)") + error("ERROR: Orvana Server Url is empty") +
              left("E_FAIL")},
      Row{__LINE__, [] { script().fail(Op::AddRequestHeaders, 1).at(1); }, E_FAIL,
          upTo(put, R"(AddRequestHeaders("Accept: application/json\r\n", 0x40000000))") +
              error("ERROR: AddRequestHeaders failed") + left("E_FAIL")},
      Row{__LINE__, [] { script().fail(Op::AddRequestHeaders, -1).at(2); }, E_FAIL,
          upTo(put, R"(AddRequestHeaders("Content-Type: application/json\r\n", 0x40000000))") +
              error("ERROR: AddRequestHeaders failed") + left("E_FAIL")},
      Row{__LINE__, [] { script().fail(Op::AddRequestHeaders, E_ABORT).at(3); }, E_FAIL,
          upTo(put, R"(AddRequestHeaders("SecurityContext: ctx\r\n", 0x40000000))") +
              error("ERROR: AddRequestHeaders failed") + left("E_FAIL")},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE("row at line " + std::to_string(row.line));
    ExpectInEveryMode(Call("PUT"), row.prepare, {row.result, "", row.steps});
  }
}

// Non-zero is a failure, and the client's own code is never the result. Buffers that a failing call
// handed out nevertheless are freed.
TEST_F(WebLegacyTest, clientFailure_isEFail_whateverItsCode) {
  struct Row {
    int line;
    Op operation;
    const char* lastCall;
    const char* message;
  };
  const Row rows[] = {
      Row{__LINE__, Op::OpenRequest, "OpenRequest(PUT, http://server/path, 0x400000, null)",
          "ERROR: OpenRequest failed"},
      Row{__LINE__, Op::SendRequest, sendBody, "ERROR: SendRequest failed"},
      Row{__LINE__, Op::GetResponseHeaders, getHead, "ERROR: GetResponseHeaders failed"},
      Row{__LINE__, Op::Download, "Download()", "ERROR: Download failed"},
  };
  for (const Row& row : rows) {
    const WebOutcome expected{E_FAIL, "",
                              upTo(legacySteps("PUT"), row.lastCall) + error(row.message) + left("E_FAIL")};
    for (const long code : {1L, 4711L, -1L, E_ABORT}) {
      SCOPED_TRACE("row at line " + std::to_string(row.line) + ", code " + std::to_string(code));
      ExpectInEveryMode(
          Call("PUT"), [&] { script().fail(row.operation, code); }, expected);
      ExpectInEveryMode(
          Call("PUT"), [&] { script().returns(row.operation, code); }, expected);
    }
  }
}

TEST_F(WebLegacyTest, failedDownload_isTheResult_whateverTheStatus) {
  for (const char* const status : {"204", "302", "403", "500"}) {
    SCOPED_TRACE(status);
    ExpectInEveryMode(
        Call("PUT"),
        [status] {
          script().legacy.status = status;
          script().fail(Op::Download, 1);
        },
        {E_FAIL, "",
         steppedToStatus(status) + readAtOnce + error("ERROR: Download failed") + left("E_FAIL")});
  }
}

// ---- the answer ----

TEST_F(WebLegacyTest, answer_isReset_onceTheClientIsThere) {
  ZEPUnicodeString answer = "left from before";
  std::vector<ZEPUnicodeString> seen;
  script().onCall(Op::ZEPHttpClient, [&] { seen.push_back(answer); });
  script().onCall(Op::GetCurrentContext, [&] { seen.push_back(answer); });
  EXPECT_EQ(Run(Call("GET"), answer), S_OK);
  EXPECT_EQ(seen, (std::vector<ZEPUnicodeString>{"left from before", ""}));
}

TEST_F(WebLegacyTest, body_isSent_whenTheAnswerIsTheSameObject) {
  for (const char* const status : {"200", "403"}) {
    SCOPED_TRACE(status);
    Prepare();
    script().traceOn();
    script().legacy.status = status;
    ZEPUnicodeString both = "{}";
    ZEPCfgWebServices::OldCallWebService("PUT", "/path", both, both);
    EXPECT_EQ(both, "answer");
    const bool isRefused = std::string(status) == "403";
    EXPECT_EQ(StepsTaken(), ShownWithTrace(steppedToStatus(status) + readAtOnce +
                                           (isRefused ? refused(status, "answer") : succeeded("answer"))));
    endRow();
  }
}

// ---- measure ----

TEST_F(WebLegacyTest, measure_endsBeforeTheBodyIsRead) {
  script().perfoOn();
  ZEPUnicodeString answer;
  EXPECT_EQ(Run(Call("PUT"), answer), S_OK);
  const std::string calls = script().calls();
  const std::size_t end = calls.find("~tracePerfo\n");
  ASSERT_NE(end, std::string::npos) << calls;
  EXPECT_LT(calls.find("endPerfo()\n"), end) << calls;
  EXPECT_LT(end, calls.find("Download()\n")) << calls;
  EXPECT_EQ(script().count(Op::ZEPCfgTracePerfo), 1);
}

// ---- trace switched in the middle, exceptions ----

TEST_F(WebLegacyTest, trace_isAskedForEachRecord_andMayChangeItsAnswer) {
  ExpectRecordsOfQuestions(
      Call("PUT"), [] {}, legacySteps("PUT"));
  ExpectRecordsOfQuestions(
      Call("PUT"), [] { AnswerAtOnce("500", "busy"); },
      steppedToStatus("500") + readAtOnce + refused("500", "busy"));
  ExpectRecordsOfQuestions(
      Call("PUT"), [] { AnswerInPieces("200", {}); },
      steppedToStatus("200") + readByPieces(1) + succeeded(""));
}

TEST_F(WebLegacyTest, exception_passesThrough_andLeavesTheExitRecord) {
  struct Row {
    int line;
    Op operation;
    int nth;
    const char* lastCall;
    const char* answer;
  };
  const Row rows[] = {
      Row{__LINE__, Op::ZEPHttpClient, 1, "ZEPHttpClient(null, 1, 1)", "left from before"},
      Row{__LINE__, Op::GetCurrentContext, 1, "GetCurrentContext()", ""},
      Row{__LINE__, Op::QRLSysTSGetArg, 1, "QRLSysTSGetArg(Url, 0, 0)", ""},
      Row{__LINE__, Op::OpenRequest, 1, "OpenRequest(PUT, http://server/path, 0x400000, null)", ""},
      Row{__LINE__, Op::AddRequestHeaders, 1,
          R"(AddRequestHeaders("Accept: application/json\r\n", 0x40000000))", ""},
      Row{__LINE__, Op::AddRequestHeaders, 3, R"(AddRequestHeaders("SecurityContext: ctx\r\n", 0x40000000))",
          ""},
      Row{__LINE__, Op::ZEPCfgTracePerfo, 1, "ZEPCfgTracePerfo(WebService)", ""},
      Row{__LINE__, Op::SendRequest, 1, sendBody, ""},
      Row{__LINE__, Op::CloseRequest, 1, "CloseRequest()", ""},
      Row{__LINE__, Op::GetResponseHeaders, 1, getHead, ""},
      Row{__LINE__, Op::Download, 1, "Download()", ""},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE("row at line " + std::to_string(row.line));
    ExpectExceptionInEveryMode(Call("PUT"), [&row] { script().throwIn(row.operation).at(row.nth); },
                               {S_OK, row.answer, upTo(legacySteps("PUT"), row.lastCall) + exitAlone});
  }
}

TEST_F(WebLegacyTest, exception_passesThrough_betweenPieces) {
  ExpectExceptionInEveryMode(Call("PUT"),
                             [] {
                               AnswerInPieces("200", {"one", "two"});
                               script().throwIn(Op::DownloadEx).at(2);
                             },
                             {S_OK, "one", steppedToStatus("200") + readByPieces(2) + exitAlone});
}

TEST_F(WebLegacyTest, exception_keepsItsType) {
  script().throwIn(Op::SendRequest, std::make_exception_ptr(std::bad_alloc()));
  ZEPUnicodeString answer;
  EXPECT_THROW(Run(Call("PUT"), answer), std::bad_alloc);
}

} // namespace
