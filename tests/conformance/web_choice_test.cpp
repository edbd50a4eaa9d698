#include "WebCallTest.h"

#include <atomic>
#include <exception>
#include <new>
#include <optional>
#include <thread>
#include <vector>

// Which stack a web-service call takes. The setting is read once for the life of the process, so
// that each test is about one setting and needs a process of its own.

using namespace scripted;

namespace {

const char readSetting[] = "ZEPGetEnv(CFG_OldCallWebService)\n";

class WebChoiceTest : public WebCallTest {
protected:
  static WebCall Call(const std::string& verb) {
    return {ZEPCfgWebServices::CallWebService, verb, "/path", "{}"};
  }

  // The first call of the process, which alone reads the setting.
  void ExpectFirstCall(const std::optional<std::string>& setting, const std::string& inner) {
    script().traceOn();
    if (setting) {
      script().environment["CFG_OldCallWebService"] = *setting;
    }
    ExpectCall("POST", S_OK,
               entered("CallWebService") + readSetting +
                   detail("CFG_OldCallWebService = " + setting.value_or("")) + inner + left("S_OK"));
  }

  static void ExpectCall(const std::string& verb, long result, const std::string& steps) {
    ZEPUnicodeString answer = "left from before";
    EXPECT_EQ(codeName(Run(Call(verb), answer)), codeName(result));
    EXPECT_EQ(answer, ZEPFailed(result) ? "" : "answer");
    EXPECT_EQ(StepsTaken(), ShownWithTrace(steps));
  }

  static void SetSetting(const char* value) { script().environment["CFG_OldCallWebService"] = value; }
};

std::string settled(const std::string& setting, const std::string& inner, const std::string& result) {
  return entered("CallWebService") + detail("CFG_OldCallWebService = " + setting) + inner + left(result);
}

TEST_F(WebChoiceTest, stack_isLegacy_whenTheSettingIs1) {
  ExpectFirstCall("1", legacySteps("POST"));
}

TEST_F(WebChoiceTest, stack_isCurrent_whenTheSettingIs01) {
  ExpectFirstCall("01", currentSteps("POST"));
}

TEST_F(WebChoiceTest, stack_isCurrent_whenTheSettingIs1WithABlankBehind) {
  ExpectFirstCall("1 ", currentSteps("POST"));
}

TEST_F(WebChoiceTest, stack_isCurrent_whenTheSettingIs1WithABlankBefore) {
  ExpectFirstCall(" 1", currentSteps("POST"));
}

TEST_F(WebChoiceTest, stack_isCurrent_whenTheSettingIs11) {
  ExpectFirstCall("11", currentSteps("POST"));
}

TEST_F(WebChoiceTest, stack_isCurrent_whenTheSettingIsYes) {
  ExpectFirstCall("yes", currentSteps("POST"));
}

TEST_F(WebChoiceTest, stack_isCurrent_whenTheSettingIsTrue) {
  ExpectFirstCall("true", currentSteps("POST"));
}

TEST_F(WebChoiceTest, stack_isCurrent_whenTheSettingIs0) {
  ExpectFirstCall("0", currentSteps("POST"));
}

TEST_F(WebChoiceTest, stack_isCurrent_whenTheSettingIsEmpty) {
  ExpectFirstCall("", currentSteps("POST"));
}

TEST_F(WebChoiceTest, stack_isCurrent_whenTheSettingIsTheWideDigit1) {
  ExpectFirstCall("\xEF\xBC\x91", currentSteps("POST"));
}

TEST_F(WebChoiceTest, stack_isCurrent_whenThereIsNoSetting) {
  ExpectFirstCall(std::nullopt, currentSteps("POST"));
}

TEST_F(WebChoiceTest, laterSettings_changeNothing_onceTheLegacyStackIsChosen) {
  ExpectFirstCall("1", legacySteps("POST"));
  for (const char* const later : {"0", ""}) {
    SCOPED_TRACE(later);
    SetSetting(later);
    script().clearLog();
    ExpectCall("PUT", S_OK, settled("1", legacySteps("PUT"), "S_OK"));
  }
  script().environment.clear();
  script().clearLog();
  ExpectCall("GET", S_OK, settled("1", legacySteps("GET"), "S_OK"));
}

TEST_F(WebChoiceTest, laterSettings_changeNothing_onceTheCurrentStackIsChosen) {
  ExpectFirstCall(std::nullopt, currentSteps("POST"));
  SetSetting("1");
  for (const char* const verb : {"GET", "PUT", "POST"}) {
    SCOPED_TRACE(verb);
    script().clearLog();
    ExpectCall(verb, S_OK, settled("", currentSteps(verb), "S_OK"));
  }
}

TEST_F(WebChoiceTest, setting_isReadByTheFirstChoice_notByTheStacksThemselves) {
  ZEPUnicodeString answer;
  EXPECT_EQ(ZEPCfgWebServices::NewCallWebService("GET", "/path", "{}", answer), S_OK);
  EXPECT_EQ(ZEPCfgWebServices::OldCallWebService("GET", "/path", "{}", answer), S_OK);
  EXPECT_EQ(script().count(Op::ZEPGetEnv), 0);
  script().clearLog();
  ExpectFirstCall("1", legacySteps("POST"));
}

TEST_F(WebChoiceTest, setting_isReadWithTheTraceOff_andNothingElseIsWritten) {
  SetSetting("1");
  ZEPUnicodeString answer;
  EXPECT_EQ(Run(Call("POST"), answer), S_OK);
  EXPECT_EQ(script().trace(), "");
  EXPECT_EQ(script().count(Op::ZEPGetEnv), 1);
  EXPECT_EQ(script().count(Op::SendRequest), 1);
  EXPECT_EQ(script().count(Op::Execute), 0);
}

TEST_F(WebChoiceTest, setting_isReadOnce_whenThreadsCallAtOnce) {
  SetSetting("1");
  std::atomic<int> successes = 0;
  std::vector<std::thread> threads;
  threads.reserve(8);
  for (int i = 0; i < 8; ++i) {
    threads.emplace_back([&successes] {
      for (int call = 0; call < 10; ++call) {
        ZEPUnicodeString answer;
        const bool isGood = Run(Call("POST"), answer) == S_OK && answer == "answer";
        successes += isGood ? 1 : 0;
      }
    });
  }
  for (std::thread& thread : threads) {
    thread.join();
  }
  EXPECT_EQ(successes, 80);
  EXPECT_EQ(script().count(Op::ZEPGetEnv), 1);
  EXPECT_EQ(script().count(Op::SendRequest), 80);
  EXPECT_EQ(script().count(Op::Execute), 0);
}

TEST_F(WebChoiceTest, setting_isReadAgain_whenReadingItRaisedAnException) {
  script().traceOn();
  script().throwIn(Op::ZEPGetEnv).at(1);
  SetSetting("1");
  ZEPUnicodeString answer = "left from before";
  EXPECT_THROW(Run(Call("POST"), answer), ScriptedException);
  EXPECT_EQ(answer, "left from before");
  EXPECT_EQ(StepsTaken(), ShownWithTrace(entered("CallWebService") + readSetting + exitAlone));
  script().clearLog();
  ExpectFirstCall("1", legacySteps("POST"));
}

// ---- what becomes of the chosen stack's result ----

TEST_F(WebChoiceTest, result_isPassedOn_fromTheCurrentStack) {
  struct Row {
    int line;
    const char* verb;
    Preparation prepare;
    long result;
    const char* answer;
  };
  const Row rows[] = {
      Row{__LINE__, "POST", [] {}, S_OK, "answer"},
      Row{__LINE__, "get", [] {}, E_INVALIDARG, ""},
      Row{__LINE__, "GET", [] { script().context = ""; }, E_FAIL, ""},
      Row{__LINE__, "GET", [] { script().fail(Op::Execute, E_ABORT); }, E_ABORT, ""},
      Row{__LINE__, "GET", [] { script().fail(Op::Execute, -123456); }, -123456, ""},
      Row{__LINE__, "GET", [] { script().answer(404, ""); }, ZEP_E_HTTP_NOT_FOUND, ""},
      Row{__LINE__, "GET", [] { script().answer(403, "denied"); }, ZEP_E_HTTP_STATUS, "denied"},
      Row{__LINE__, "GET", [] { script().answer(503, "busy"); }, S_OK, "answer"},
      Row{__LINE__, "GET",
          [] {
            script().fail(Op::QRLSysTSGetArg, E_ABORT).at(1);
            script().returns(Op::QRLSysTSGetArg, S_FALSE).at(2);
          },
          S_FALSE, ""},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE("row at line " + std::to_string(row.line));
    std::string inner;
    for (const WebOperation operation :
         {ZEPCfgWebServices::NewCallWebService, ZEPCfgWebServices::CallWebService}) {
      Prepare();
      script().traceOn();
      row.prepare();
      ZEPUnicodeString answer = "left from before";
      EXPECT_EQ(codeName(Run({operation, row.verb, "/path", "{}"}, answer)), codeName(row.result));
      EXPECT_EQ(answer, row.answer);
      if (inner.empty()) {
        inner = StepsTaken();
      } else {
        // The first row's call is the first of the process.
        std::string steps = entered("CallWebService");
        steps += script().count(Op::ZEPGetEnv) == 0 ? "" : readSetting;
        steps += detail("CFG_OldCallWebService = ") + inner + left(codeName(row.result));
        EXPECT_EQ(StepsTaken(), steps);
      }
      endRow();
    }
  }
}

TEST_F(WebChoiceTest, result_isPassedOn_fromTheLegacyStack) {
  ExpectFirstCall("1", legacySteps("POST"));
  struct Row {
    int line;
    Preparation prepare;
    long result;
    const char* answer;
  };
  const Row rows[] = {
      Row{__LINE__, [] { script().fail(Op::OpenRequest, E_ABORT); }, E_FAIL, ""},
      Row{__LINE__, [] { script().legacy.status = "404"; }, ZEP_E_HTTP_NOT_FOUND, ""},
      Row{__LINE__, [] { script().legacy.status = "500"; }, ZEP_E_HTTP_STATUS, "answer"},
      Row{__LINE__, [] { script().fail(Op::QRLSysTSGetArg, -123456); }, -123456, ""},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE("row at line " + std::to_string(row.line));
    Prepare();
    script().traceOn();
    row.prepare();
    ZEPUnicodeString answer = "left from before";
    EXPECT_EQ(codeName(Run(Call("DELETE"), answer)), codeName(row.result));
    EXPECT_EQ(answer, row.answer);
    const std::string rc = "| rc = " + codeName(row.result) + "\nexit\n<\n";
    EXPECT_TRUE(StepsTaken().ends_with(rc + rc)) << StepsTaken();
    endRow();
  }
}

TEST_F(WebChoiceTest, trace_isAskedForEachRecord_andMayChangeItsAnswer) {
  ZEPUnicodeString answer;
  Run(Call("POST"), answer);
  ExpectRecordsOfQuestions(
      Call("POST"), [] {}, settled("", currentSteps("POST"), "S_OK"));
}

TEST_F(WebChoiceTest, exception_passesThroughBothOperations) {
  ExpectFirstCall(std::nullopt, currentSteps("POST"));
  ExpectExceptionInEveryMode(Call("POST"), [] { script().throwIn(Op::Execute); },
                             {S_OK, "",
                              entered("CallWebService") + detail("CFG_OldCallWebService = ") +
                                  upTo(currentSteps("POST"), "Execute(httpPost http://server/path)") +
                                  exitAlone + exitAlone});
}

TEST_F(WebChoiceTest, body_isSent_whenTheAnswerIsTheSameObject) {
  script().traceOn();
  ZEPUnicodeString both = "{}";
  EXPECT_EQ(ZEPCfgWebServices::CallWebService("POST", "/path", both, both), S_OK);
  EXPECT_EQ(both, "answer");
  const std::string inner = replaced(currentSteps("POST"), "in_json = [{}]", "in_json = []");
  EXPECT_EQ(StepsTaken(), ShownWithTrace(entered("CallWebService") + readSetting +
                                         detail("CFG_OldCallWebService = ") + inner + left("S_OK")));
}

// The first question is that of the entry, the second that of the first input.
TEST_F(WebChoiceTest, answer_isEmptied_beforeAnInputIsTraced) {
  for (const WebOperation operation :
       {ZEPCfgWebServices::NewCallWebService, ZEPCfgWebServices::OldCallWebService}) {
    Prepare();
    ZEPUnicodeString answer = "before";
    bool isEmpty = false;
    script().traceWhen([&](int query) {
      isEmpty = query == 2 ? answer.IsEmpty() : isEmpty;
      return true;
    });
    EXPECT_EQ(Run({operation}, answer), S_OK);
    EXPECT_TRUE(isEmpty);
    endRow();
  }
}

} // namespace
