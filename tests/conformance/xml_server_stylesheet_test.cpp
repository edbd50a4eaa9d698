#include "XMLExpressionTest.h"

// The stylesheet that the server supplies: how it is asked for, and what is kept of its answer.
//
// What is kept lives as long as the process, so each state of it is a test of its own, and tests
// in whose rows the server is asked have it answer with nothing that would be kept.

using namespace scripted;

namespace {

const std::string servicePath =
    "/resources/modeler/configuration/navigationServices/getConfiguredExpressionXSLT/";

ZEPOmxAny xsltAnswer(const std::string& content) {
  return jsonObject({{"xslt", jsonObject({{"content", jsonText(content)}})}});
}

class XMLServerStylesheetTest : public XMLExpressionTest {
protected:
  static std::string Ending(const std::string& text, long result) {
    return "| ioUstrXSLTFileContents = [" + text + "]\n" + resultLines(result);
  }

  static std::string Asked() { return "| call the webservice " + servicePath + "\n"; }
  static std::string Answered() { return "| If the outJson is empty, then return S_OK\n"; }
  static std::string Parsing() { return "| Read the Json and assert it's valid\n"; }

  static std::string CallsWithoutReleases() {
    return LinesOf(script().calls(), [](const std::string& line) { return !line.starts_with("~"); });
  }

  // How often the server was asked so far.
  static int Requests() { return script().count(Op::Execute); }
};

// ---- asking ----

TEST_F(XMLServerStylesheetTest, stylesheet_isFetchedWithOneRequest) {
  script().traceOn();
  EXPECT_EQ(fetchStylesheet("as it was"), (Outcome{S_OK, "server stylesheet"}));
  const std::string url = stylesheetServiceUrl;
  EXPECT_EQ(CallsWithoutReleases(),
            "IsATSTProvider()\n"
            "ZEPOmxHttpStringEntity::Create(\"\")\n"
            "GetCurrentContext()\n"
            "QRLSysTSGetArg(Url, 0, 0)\n"
            "ZEPOmxHttpGet::Create(" +
                url +
                ")\n"
                "AddHeader(Accept, \"application/json\\r\\n\")\n"
                "AddHeader(Content-Type, \"application/json\\r\\n\")\n"
                "AddHeader(SecurityContext, \"ctx\\r\\n\")\n"
                "ZEPCfgTracePerfo(WebService)\n"
                "ZEPOmxDefaultHttpClient::Create(0)\n"
                "Execute(httpGet " +
                url +
                ")\n"
                "GetStatusLine()\n"
                "GetStatusCode()\n"
                "GetEntity()\n"
                "GetContent()\n"
                "ZEPOmxIOUtils::ToString()\n"
                "ZEPOmxJson::parse(\"{\\\"xslt\\\":{\\\"content\\\":\\\"server stylesheet\\\"}}\")\n"
                "Extract()\n"
                "GetValue(content)\n");
  EXPECT_EQ(Trace(), fetchEntry + Asked() + Answered() + Parsing() + parseEntry + resultLines(S_OK) +
                         Ending("server stylesheet", S_OK));
}

TEST_F(XMLServerStylesheetTest, request_standsBetweenItsTwoLabels) {
  script().traceOn();
  ServerHasNone();
  fetchStylesheet("");
  const std::string log = Log();
  const std::size_t asked = log.find(Asked());
  const std::size_t entered = log.find("ZEPCfgWebServices entry\n");
  const std::size_t left = log.rfind("ZEPCfgWebServices exit\nZEPCfgWebServices <\n");
  const std::size_t answered = log.find("\n" + Answered());
  ASSERT_NE(asked, std::string::npos);
  ASSERT_NE(left, std::string::npos);
  ASSERT_NE(answered, std::string::npos);
  EXPECT_LT(asked, entered);
  EXPECT_LT(entered, left);
  EXPECT_LT(left, answered);
  EXPECT_NE(script().linesWith("in_httpCommand = [GET]"), "");
  EXPECT_NE(script().linesWith("in_url = [" + servicePath + "]"), "");
  EXPECT_NE(script().linesWith("in_json = []"), "");
}

TEST_F(XMLServerStylesheetTest, server_isNotAsked_whenTheProviderHasNone) {
  script().traceOn();
  script().atstProvider = true;
  EXPECT_EQ(fetchStylesheet("as it was"), (Outcome{S_FALSE, "as it was"}));
  EXPECT_EQ(Log(), fetchEntry + "IsATSTProvider()\n" + Ending("as it was", S_FALSE));
}

TEST_F(XMLServerStylesheetTest, traceOff_writesNothing_whenTheServerAnswers) {
  EXPECT_EQ(fetchStylesheet(""), (Outcome{S_OK, "server stylesheet"}));
  EXPECT_EQ(script().trace(), "");
}

// ---- failures ----

TEST_F(XMLServerStylesheetTest, failedRequest_isTheResult_andNothingIsKept) {
  struct Row {
    int line;
    void (*prepare)();
    long result;
  };
  const Row rows[] = {
      Row{__LINE__, [] { script().fail(Op::Execute, E_ABORT); }, E_ABORT},
      Row{__LINE__, [] { script().fail(Op::Execute, -123456); }, -123456},
      Row{__LINE__, [] { script().context = ""; }, E_FAIL},
      Row{__LINE__, [] { script().argUrl = ""; }, E_FAIL},
      Row{__LINE__, [] { script().answer(404, "{}"); }, ZEP_E_HTTP_NOT_FOUND},
      Row{__LINE__, [] { script().answer(403, "{}"); }, ZEP_E_HTTP_STATUS},
      Row{__LINE__, [] { script().fail(Op::GetContent, E_HANDLE); }, E_HANDLE},
      Row{__LINE__,
          [] {
            script().answer(500, "{}");
            script().fail(Op::OpenRequest, 5);
          },
          E_FAIL},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE("row at line " + std::to_string(row.line));
    startRow();
    script().traceOn();
    row.prepare();
    EXPECT_EQ(fetchStylesheet("as it was"), (Outcome{row.result, "as it was"}));
    EXPECT_EQ(Trace(), fetchEntry + Asked() + errorLines("ERROR: CallWebService failed") +
                           Ending("as it was", row.result));
    EXPECT_EQ(script().count(Op::JsonParse), 0);
    endRow();

    startRow();
    row.prepare();
    EXPECT_EQ(fetchStylesheet("as it was"), (Outcome{row.result, "as it was"}));
    EXPECT_EQ(Trace(), errorLines("ERROR: CallWebService failed"));
    endRow();
  }
  // Had anything been kept, the server would not be asked now.
  startRow();
  EXPECT_EQ(fetchStylesheet(""), (Outcome{S_OK, "server stylesheet"}));
  EXPECT_EQ(Requests(), 1);
}

TEST_F(XMLServerStylesheetTest, emptyAnswer_isSOk_andTheServerIsAskedAgain) {
  struct Row {
    int line;
    void (*prepare)();
  };
  const Row rows[] = {
      Row{__LINE__, [] { script().answer(200, ""); }},
      Row{__LINE__, [] { script().answerWithoutBody(204); }},
      Row{__LINE__, [] { script().answer(302, ""); }},
      // A request that ends with another success than S_OK.
      Row{__LINE__,
          [] {
            script().fail(Op::QRLSysTSGetArg, E_FAIL).at(1);
            script().returns(Op::QRLSysTSGetArg, S_FALSE).at(2);
          }},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE("row at line " + std::to_string(row.line));
    startRow();
    script().traceOn();
    row.prepare();
    EXPECT_EQ(fetchStylesheet("as it was"), (Outcome{S_OK, "as it was"}));
    EXPECT_EQ(Trace(),
              fetchEntry + Asked() + Answered() + "| outJson is empty\n" + Ending("as it was", S_OK));
    EXPECT_EQ(script().count(Op::JsonParse), 0);
    endRow();
  }
  startRow();
  EXPECT_EQ(fetchStylesheet(""), (Outcome{S_OK, "server stylesheet"}));
  EXPECT_EQ(Requests(), 1);
}

TEST_F(XMLServerStylesheetTest, answer_reachesTheParserAsUTF8) {
  ServerHasNone();
  script().answer(200, "\xC3\xA9\xF0\x9F\x98\x80\xFF");
  EXPECT_EQ(fetchStylesheet("").result, S_OK);
  EXPECT_EQ(script().linesWith("ZEPOmxJson::parse"),
            "ZEPOmxJson::parse(\xC3\xA9\xF0\x9F\x98\x80\xEF\xBF\xBD)\n");
}

// The caller passes an empty text, so there is nothing to keep, and the server is asked each time.
TEST_F(XMLServerStylesheetTest, answer_isTheResult_withTheCodeOfTheLastStep) {
  struct Row {
    int line;
    void (*prepare)();
    std::string parsed; // the trace of picking the stylesheet out, when it came to that
    long result;
  };
  const Row rows[] = {
      Row{__LINE__, [] { script().fail(Op::JsonParse, E_INVALIDARG); }, "", E_INVALIDARG},
      Row{__LINE__, [] { script().returns(Op::JsonParse, -123456); }, "", -123456},
      Row{__LINE__,
          [] {
            ServerHasNone();
            script().returns(Op::JsonParse, S_FALSE);
          },
          parseEntry + resultLines(S_OK), S_OK},
      Row{__LINE__,
          [] {
            script().json = jsonObject({{"other", jsonText("1")}});
          },
          parseEntry + resultLines(S_OK), S_OK},
      Row{__LINE__, [] { script().json = jsonOther(); }, parseEntry + resultLines(S_OK), S_OK},
      Row{__LINE__,
          [] {
            script().json = jsonObject({{"xslt", jsonObject({})}});
          },
          parseEntry + resultLines(E_FAIL), E_FAIL},
      Row{__LINE__, [] { script().fail(Op::GetValue, E_ABORT); }, parseEntry + resultLines(E_ABORT), E_ABORT},
      Row{__LINE__,
          [] {
            ServerHasNone();
            script().returns(Op::GetValue, S_FALSE);
          },
          parseEntry + resultLines(S_FALSE), S_FALSE},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE("row at line " + std::to_string(row.line));
    startRow();
    script().traceOn();
    row.prepare();
    EXPECT_EQ(fetchStylesheet(""), (Outcome{row.result, ""}));
    EXPECT_EQ(Trace(), fetchEntry + Asked() + Answered() + Parsing() + row.parsed + Ending("", row.result));
    EXPECT_EQ(Requests(), 1);
    endRow();

    // None of these writes an error.
    startRow();
    row.prepare();
    EXPECT_EQ(fetchStylesheet(""), (Outcome{row.result, ""}));
    EXPECT_EQ(script().trace(), "");
    endRow();
  }
}

// ---- what is kept ----

TEST_F(XMLServerStylesheetTest, kept_isWhatTheServerSupplied) {
  script().json = xsltAnswer("X");
  EXPECT_EQ(fetchStylesheet("as it was"), (Outcome{S_OK, "X"}));
  startRow();
  script().json = xsltAnswer("Y");
  script().traceOn();
  for (int call = 0; call < 2; ++call) {
    EXPECT_EQ(fetchStylesheet("of the caller"), (Outcome{S_OK, "X"}));
    EXPECT_EQ(Log(), fetchEntry + "IsATSTProvider()\n" + Ending("X", S_OK));
    script().clearLog();
  }
}

TEST_F(XMLServerStylesheetTest, kept_isNotGivenOut_whenTheProviderHasNone) {
  script().json = xsltAnswer("X");
  EXPECT_EQ(fetchStylesheet(""), (Outcome{S_OK, "X"}));
  startRow();
  script().atstProvider = true;
  script().traceOn();
  EXPECT_EQ(fetchStylesheet("as it was"), (Outcome{S_FALSE, "as it was"}));
  EXPECT_EQ(Log(), fetchEntry + "IsATSTProvider()\n" + Ending("as it was", S_FALSE));
  script().atstProvider = false;
  EXPECT_EQ(fetchStylesheet(""), (Outcome{S_OK, "X"}));
  EXPECT_EQ(Requests(), 0);
}

TEST_F(XMLServerStylesheetTest, kept_isTheCallersText_whenTheAnswerIsNotJson) {
  script().fail(Op::JsonParse, E_INVALIDARG);
  EXPECT_EQ(fetchStylesheet("of the caller"), (Outcome{E_INVALIDARG, "of the caller"}));
  EXPECT_EQ(fetchStylesheet("another"), (Outcome{S_OK, "of the caller"}));
  EXPECT_EQ(Requests(), 1);
}

TEST_F(XMLServerStylesheetTest, kept_isTheCallersText_whenTheAnswerHasNoStylesheet) {
  script().json = jsonObject({{"other", jsonText("1")}});
  EXPECT_EQ(fetchStylesheet("of the caller"), (Outcome{S_OK, "of the caller"}));
  EXPECT_EQ(fetchStylesheet("another"), (Outcome{S_OK, "of the caller"}));
  EXPECT_EQ(Requests(), 1);
}

TEST_F(XMLServerStylesheetTest, kept_isTheCallersText_whenTheAnswerIsNotAnObject) {
  script().json = jsonText("text");
  EXPECT_EQ(fetchStylesheet("of the caller"), (Outcome{S_OK, "of the caller"}));
  EXPECT_EQ(fetchStylesheet("another"), (Outcome{S_OK, "of the caller"}));
  EXPECT_EQ(Requests(), 1);
}

TEST_F(XMLServerStylesheetTest, kept_isNothing_whenTheStylesheetHasNoContent) {
  script().json = jsonObject({{"xslt", jsonObject({})}});
  EXPECT_EQ(fetchStylesheet("of the caller"), (Outcome{E_FAIL, ""}));
  EXPECT_EQ(fetchStylesheet("another"), (Outcome{E_FAIL, ""}));
  EXPECT_EQ(Requests(), 2);
  script().json = xsltAnswer("X");
  EXPECT_EQ(fetchStylesheet("another"), (Outcome{S_OK, "X"}));
  EXPECT_EQ(Requests(), 3);
}

TEST_F(XMLServerStylesheetTest, kept_isTheText_evenWhenItsReadingFailed) {
  script().json = xsltAnswer("X");
  script().returns(Op::GetValue, E_ABORT);
  EXPECT_EQ(fetchStylesheet("of the caller"), (Outcome{E_ABORT, "X"}));
  EXPECT_EQ(fetchStylesheet("another"), (Outcome{S_OK, "X"}));
  EXPECT_EQ(Requests(), 1);
}

TEST_F(XMLServerStylesheetTest, kept_isNothing_afterAnEmptyAnswer_untilTheServerHasOne) {
  script().answer(200, "");
  script().answer(503, "busy");
  script().fail(Op::OpenRequest, 5);
  script().json = xsltAnswer("X");
  EXPECT_EQ(fetchStylesheet("1"), (Outcome{S_OK, "1"}));
  EXPECT_EQ(fetchStylesheet("2"), (Outcome{E_FAIL, "2"}));
  EXPECT_EQ(fetchStylesheet("3"), (Outcome{S_OK, "X"}));
  EXPECT_EQ(fetchStylesheet("4"), (Outcome{S_OK, "X"}));
  EXPECT_EQ(Requests(), 3);
}

TEST_F(XMLServerStylesheetTest, kept_isWhatTheLegacyClientFetched_whenTheServerIsInTrouble) {
  script().answer(503, "busy");
  script().legacy.body = "{}";
  script().json = xsltAnswer("X");
  EXPECT_EQ(fetchStylesheet(""), (Outcome{S_OK, "X"}));
  EXPECT_EQ(script().linesWith("ZEPOmxJson::parse"), "ZEPOmxJson::parse({})\n");
  EXPECT_EQ(fetchStylesheet(""), (Outcome{S_OK, "X"}));
  EXPECT_EQ(Requests(), 1);
}

TEST_F(XMLServerStylesheetTest, kept_isNotTouched_byPickingAStylesheetOutOfAnotherAnswer) {
  script().json = xsltAnswer("X");
  EXPECT_EQ(fetchStylesheet(""), (Outcome{S_OK, "X"}));
  EXPECT_EQ(parseResponse(xsltAnswer("Y"), ""), (Outcome{S_OK, "Y"}));
  EXPECT_EQ(fetchStylesheet(""), (Outcome{S_OK, "X"}));
}

TEST_F(XMLServerStylesheetTest, pickingAStylesheetOutOfAnAnswer_keepsNothing) {
  EXPECT_EQ(parseResponse(xsltAnswer("Y"), ""), (Outcome{S_OK, "Y"}));
  script().json = xsltAnswer("X");
  EXPECT_EQ(fetchStylesheet(""), (Outcome{S_OK, "X"}));
  EXPECT_EQ(Requests(), 1);
}

TEST_F(XMLServerStylesheetTest, exception_passesThrough_andNothingIsKept) {
  const Op operations[] = {Op::IsATSTProvider, Op::GetCurrentContext, Op::Execute, Op::IOUtilsToString,
                           Op::JsonParse,      Op::Extract,           Op::GetValue};
  for (const Op operation : operations) {
    SCOPED_TRACE(nameOf(operation));
    startRow();
    script().traceOn();
    script().throwIn(operation);
    ZEPUnicodeString text = "as it was";
    EXPECT_THROW(ZEPCfgXMLExpressionServices::GetConfigExpressionXSLT(text), ScriptedException);
    EXPECT_EQ(text, "as it was");
    EXPECT_TRUE(Trace().ends_with("\nexit\n<\n")) << Trace();
    EXPECT_EQ(Trace().find("rc = "), std::string::npos) << Trace();
    endRow();
  }
  startRow();
  EXPECT_EQ(fetchStylesheet(""), (Outcome{S_OK, "server stylesheet"}));
  EXPECT_EQ(Requests(), 1);
}

// ---- picking the stylesheet out of the answer ----

TEST_F(XMLServerStylesheetTest, response_givesTheContentOfItsLastStylesheet) {
  struct Row {
    int line;
    ZEPOmxAny response;
    std::string calls;
    Outcome outcome;
  };
  const std::string pick = "Extract()\nGetValue(content)\n";
  const ZEPOmxAny x = jsonObject({{"content", jsonText("X")}});
  const ZEPOmxAny y = jsonObject({{"content", jsonText("Y")}});
  const ZEPOmxAny none = jsonObject({});
  const Row rows[] = {
      Row{__LINE__, jsonObject({{"xslt", x}}), pick, {S_OK, "X"}},
      Row{__LINE__, jsonObject({{"a", y}, {"xslt", x}, {"b", y}}), pick, {S_OK, "X"}},
      Row{__LINE__,
          jsonObject({{"xslt", jsonObject({{"a", jsonText("A")}, {"content", jsonText("X")}})}}),
          pick,
          {S_OK, "X"}},
      Row{__LINE__, xsltAnswer("\xC3\xA9\n\xF0\x9F\x98\x80"), pick, {S_OK, "\xC3\xA9\n\xF0\x9F\x98\x80"}},
      Row{__LINE__, xsltAnswer(""), pick, {S_OK, ""}},
      // several of them
      Row{__LINE__, jsonObject({{"xslt", x}, {"xslt", y}}), pick + pick, {S_OK, "Y"}},
      Row{__LINE__, jsonObject({{"xslt", x}, {"a", none}, {"xslt", none}}), pick + pick, {E_FAIL, ""}},
      Row{__LINE__, jsonObject({{"xslt", none}, {"xslt", y}}), pick + pick, {S_OK, "Y"}},
      Row{__LINE__,
          jsonObject({{"xslt", jsonObject({{"content", jsonText("X")}, {"content", jsonText("Y")}})}}),
          pick,
          {S_OK, "Y"}},
      // none of them
      Row{__LINE__, jsonObject({}), "", {S_OK, "as it was"}},
      Row{__LINE__, jsonObject({{"other", jsonText("1")}}), "", {S_OK, "as it was"}},
      Row{__LINE__, jsonObject({{"a", jsonObject({{"xslt", x}})}}), "", {S_OK, "as it was"}},
      Row{__LINE__, jsonObject({{"XSLT", x}, {"Xslt", x}, {"xslT", x}}), "", {S_OK, "as it was"}},
      Row{__LINE__, jsonObject({{"xslt ", x}, {" xslt", x}, {"xsl", x}, {"", x}}), "", {S_OK, "as it was"}},
      Row{__LINE__, jsonObject({{"content", jsonText("X")}}), "", {S_OK, "as it was"}},
      // the response is no object
      Row{__LINE__, jsonText("xslt"), "", {S_OK, "as it was"}},
      Row{__LINE__, jsonOther(), "", {S_OK, "as it was"}},
      Row{__LINE__, ZEPOmxAny(), "", {S_OK, "as it was"}},
      // the member is no object, or has no content
      Row{__LINE__, jsonObject({{"xslt", jsonText("X")}}), pick, {E_FAIL, ""}},
      Row{__LINE__, jsonObject({{"xslt", jsonOther()}}), pick, {E_FAIL, ""}},
      Row{__LINE__, jsonObject({{"xslt", ZEPOmxAny()}}), pick, {E_FAIL, ""}},
      Row{__LINE__, jsonObject({{"xslt", none}}), pick, {E_FAIL, ""}},
      Row{__LINE__, jsonObject({{"xslt", jsonObject({{"Content", jsonText("X")}})}}), pick, {E_FAIL, ""}},
      // the content is no text
      Row{__LINE__, jsonObject({{"xslt", jsonObject({{"content", jsonOther()}})}}), pick, {S_OK, ""}},
      Row{__LINE__, jsonObject({{"xslt", jsonObject({{"content", x}})}}), pick, {S_OK, ""}},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE("row at line " + std::to_string(row.line));
    startRow();
    script().traceOn();
    EXPECT_EQ(parseResponse(row.response, "as it was"), row.outcome);
    EXPECT_EQ(Log(), parseEntry + row.calls + resultLines(row.outcome.result));
    endRow();

    startRow();
    EXPECT_EQ(parseResponse(row.response, "as it was"), row.outcome);
    EXPECT_EQ(script().log(), row.calls);
    endRow();
  }
}

TEST_F(XMLServerStylesheetTest, response_givesTheCodeOfReadingTheContent) {
  struct Row {
    int line;
    void (*inject)();
    Outcome outcome;
  };
  const Row rows[] = {
      Row{__LINE__, [] { script().fail(Op::GetValue, E_ABORT); }, {E_ABORT, ""}},
      Row{__LINE__, [] { script().fail(Op::GetValue, -123456); }, {-123456, ""}},
      Row{__LINE__, [] { script().fail(Op::GetValue, S_FALSE); }, {S_FALSE, ""}},
      Row{__LINE__, [] { script().giveEmpty(Op::GetValue); }, {S_OK, ""}},
      // a text that comes with a failure is stored all the same
      Row{__LINE__, [] { script().returns(Op::GetValue, E_ABORT); }, {E_ABORT, "X"}},
      Row{__LINE__, [] { script().returns(Op::GetValue, S_FALSE); }, {S_FALSE, "X"}},
      // the code of the extraction says nothing
      Row{__LINE__, [] { script().returns(Op::Extract, E_ABORT); }, {S_OK, "X"}},
      Row{__LINE__, [] { script().fail(Op::Extract, E_ABORT); }, {E_FAIL, ""}},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE("row at line " + std::to_string(row.line));
    startRow();
    script().traceOn();
    row.inject();
    EXPECT_EQ(parseResponse(xsltAnswer("X"), "as it was"), row.outcome);
    EXPECT_EQ(Log(), parseEntry + "Extract()\nGetValue(content)\n" + resultLines(row.outcome.result));
    endRow();
  }
}

// Each member's value is read into a fresh one: nothing of an earlier member is left in it.
TEST_F(XMLServerStylesheetTest, response_readsEachContentAfresh) {
  script().fail(Op::GetValue, E_ABORT).at(2);
  const ZEPOmxAny x = jsonObject({{"content", jsonText("X")}});
  EXPECT_EQ(parseResponse(jsonObject({{"xslt", x}, {"xslt", x}}), "as it was"), (Outcome{E_ABORT, ""}));
}

} // namespace
