#include "ConformanceTest.h"
#include "ProcessView.h"

#include "PLMCfgInTraceClass.h"
#include "QRLSysTSGetArg.h"
#include "ZEPCfgBasicInfraServices.h"
#include "ZEPCfgDictionaryServices.h"
#include "ZEPCfgExpressionComparisonServices.h"
#include "ZEPCfgInfraServices.h"
#include "ZEPCfgTracePerfo.h"
#include "ZEPEnvironment.h"
#include "ZEPError.h"
#include "ZEPFile.h"
#include "ZEPHttpClient.h"
#include "ZEPIXMLPPFactory.h"
#include "ZEPIXMLSAX2Factory.h"
#include "ZEPIXMLXSLFactory.h"
#include "ZEPListValZEPBinary.h"
#include "ZEPListValZEPBoolean.h"
#include "ZEPOmxDefaultHttpClient.h"
#include "ZEPOmxHttpGet.h"
#include "ZEPOmxHttpPost.h"
#include "ZEPOmxHttpPut.h"
#include "ZEPOmxHttpStringEntity.h"
#include "ZEPOmxIOUtils.h"
#include "ZEPOmxJson.h"
#include "ZEPOmxKeyValueBlock.h"
#include "ZEPPLMID.h"
#include "ZEPSysSettingRepository.h"
#include "ZEPXMLPPMemoryBuffer.h"
#include "ZEPXMLXSLTransformerOptions.h"

#include <gmock/gmock.h>

#include <cstdlib>
#include <fstream>
#include <new>
#include <set>
#include <string>
#include <thread>

using namespace scripted;

namespace {

// The double itself under test: what it reports is looked at, then forgotten.
class ScriptTest : public ConformanceTest {
protected:
  std::string TakeProblems() {
    std::string problems = script().problems();
    script().reset();
    return problems;
  }
};

// ---- the program ----

TEST_F(ScriptTest, loader_bindsTheLibraryToTheScriptedPlatform_alone) {
#if !defined(_WIN32) // a program that calls nothing of a library does not load it there
  EXPECT_EQ(loadedFiles("/libZEPCfgCommonServices.").size(), 1U);
#endif
  EXPECT_THAT(loadedFiles("/libZEPPlatform."),
              ::testing::ElementsAre(::testing::HasSubstr("/scripted/libZEPPlatform.")));
}

// ---- injections ----

TEST_F(ScriptTest, fail_answersTheCode_onEveryCall) {
  script().fail(Op::ZEPExpandString, E_ABORT);
  ZEPUnicodeString text = "x";
  EXPECT_EQ(ZEPExpandString(&text), E_ABORT);
  EXPECT_EQ(ZEPExpandString(&text), E_ABORT);
}

TEST_F(ScriptTest, fail_answersTheCode_onTheCallsThatItIsFor) {
  script().fail(Op::GetCurrentContext, E_ABORT).once();
  script().fail(Op::ZEPExpandString, E_FAIL).at(2);
  script().fail(Op::ZEPFileStat, E_HANDLE).from(2);
  script().files["f"] = "";
  ZEPUnicodeString text = "f";
  struct stat info {};
  EXPECT_EQ(ZEPCfgInfraServices::GetCurrentContext(text), E_ABORT);
  EXPECT_EQ(ZEPCfgInfraServices::GetCurrentContext(text), S_OK);
  EXPECT_EQ(ZEPExpandString(&text), S_OK);
  EXPECT_EQ(ZEPExpandString(&text), E_FAIL);
  EXPECT_EQ(ZEPExpandString(&text), S_OK);
  text = "f";
  EXPECT_EQ(ZEPFileStat(&text, &info, 0), S_OK);
  EXPECT_EQ(ZEPFileStat(&text, &info, 0), E_HANDLE);
  EXPECT_EQ(ZEPFileStat(&text, &info, 0), E_HANDLE);
}

TEST_F(ScriptTest, fail_leavesOutputsUntouched) {
  script().fail(Op::GetCurrentContext, E_FAIL);
  ZEPUnicodeString text = "as it was";
  EXPECT_EQ(ZEPCfgInfraServices::GetCurrentContext(text), E_FAIL);
  EXPECT_EQ(text, "as it was");
}

TEST_F(ScriptTest, returns_actsAndAnswersTheCode) {
  script().returns(Op::GetCurrentContext, E_FAIL);
  ZEPUnicodeString text;
  EXPECT_EQ(ZEPCfgInfraServices::GetCurrentContext(text), E_FAIL);
  EXPECT_EQ(text, "ctx");
}

TEST_F(ScriptTest, giveEmpty_isSuccessWithoutAnObject) {
  script().giveEmpty(Op::CreateZEPIXMLSAX2Factory);
  ZEPIXMLSAX2Factory_var factory;
  EXPECT_EQ(CreateZEPIXMLSAX2Factory(factory, CLSID_XML4C_SAX), S_OK);
  EXPECT_TRUE(!factory);
}

TEST_F(ScriptTest, throwIn_raisesTheException_onceTheCallIsRecorded) {
  script().throwIn(Op::GetCurrentContext).once();
  script().throwIn(Op::ZEPExpandString, std::make_exception_ptr(std::bad_alloc()));
  ZEPUnicodeString text;
  EXPECT_THROW(ZEPCfgInfraServices::GetCurrentContext(text), ScriptedException);
  EXPECT_THROW(ZEPExpandString(&text), std::bad_alloc);
  EXPECT_EQ(script().calls(), "GetCurrentContext()\nZEPExpandString(\"\")\n");
}

TEST_F(ScriptTest, injection_isUsed_thatWasInjectedLast) {
  script().fail(Op::ZEPExpandString, E_FAIL);
  script().fail(Op::ZEPExpandString, E_ABORT).at(2);
  ZEPUnicodeString text;
  EXPECT_EQ(ZEPExpandString(&text), E_FAIL);
  EXPECT_EQ(ZEPExpandString(&text), E_ABORT);
}

TEST_F(ScriptTest, onCall_runsBeforeTheOperationActs) {
  script().onCall(Op::GetCurrentContext, [] { script().context = "changed"; });
  ZEPUnicodeString text;
  ZEPCfgInfraServices::GetCurrentContext(text);
  EXPECT_EQ(text, "changed");
}

// ---- what a test leaves behind ----

TEST_F(ScriptTest, problems_nameInjectionsThatNoCallConsumed) {
  script().fail(Op::Transform, E_ABORT);
  script().returns(Op::Execute, S_FALSE);
  script().giveEmpty(Op::CreateTransformer);
  script().throwIn(Op::Download).at(2);
  EXPECT_EQ(TakeProblems(), "no call consumed fail(Transform)\n"
                            "no call consumed returns(Execute)\n"
                            "no call consumed giveEmpty(CreateTransformer)\n"
                            "no call consumed throwIn(Download)\n");
}

TEST_F(ScriptTest, problems_nameAnInjection_whoseCallDidNotCome) {
  script().fail(Op::ZEPExpandString, E_FAIL).at(2);
  ZEPUnicodeString text;
  ZEPExpandString(&text);
  EXPECT_EQ(TakeProblems(), "no call consumed fail(ZEPExpandString)\n");
}

TEST_F(ScriptTest, problems_leaveOutInjectionsAndAnswers_whenUnusedOnesAreAllowed) {
  script().allowUnused();
  script().answer(200, "");
  script().fail(Op::Transform, E_ABORT);
  EXPECT_EQ(TakeProblems(), "");
}

TEST_F(ScriptTest, problems_nameAnswersThatNoRequestFetched) {
  script().answer(404, "gone");
  EXPECT_EQ(TakeProblems(), "no request fetched the answer 404\n");
}

TEST_F(ScriptTest, problems_nameLiveObjects_inTheOrderOfTheirMaking) {
  ZEPIXMLSAX2Factory_var factory;
  ZEPISAXInputSource_var source;
  CreateZEPIXMLSAX2Factory(factory, CLSID_XML4C_SAX);
  factory->CreateInputSourceFromMemoryBuffer("<x/>", "sourceId", source);
  const ZEPCfgTracePerfo perfo("label");
  EXPECT_EQ(script().liveObjects(), "sax2Factory\nsourceId\ntracePerfo\n");
  EXPECT_EQ(script().problems(), "alive: sax2Factory\nalive: sourceId\nalive: tracePerfo\n");
  script().allowLiveObjects();
  EXPECT_EQ(script().problems(), "");
}

TEST_F(ScriptTest, problems_nameObjectsThatAreReleasedByHand) {
  script().settings["group"];
  script().lastError = "message";
  ZEPSysSettingRepository* const repository = ZEPSysSettingRepository::GetRepository("group", 0);
  ZEPError* const error = ZEPError::ZEPGetLastError(E_FAIL, nullptr);
  EXPECT_EQ(script().problems(), "alive: repository\nalive: error\n");
  repository->Release();
  error->Release();
}

TEST_F(ScriptTest, problems_nameOpenFiles_unlessAllowed) {
  script().files["f"] = "text";
  unsigned int descriptor = 0;
  EXPECT_EQ(ZEPFOpen("f", "r", &descriptor), S_OK);
  EXPECT_EQ(script().problems(), "open file: " + std::to_string(descriptor) + "\n");
  script().allowOpenFile();
  EXPECT_EQ(script().problems(), "");
}

TEST_F(ScriptTest, problems_nameAFileUsedAfterItWasClosed) {
  script().files["f"] = "text";
  unsigned int descriptor = 0;
  ZEPFOpen("f", "r", &descriptor);
  EXPECT_EQ(ZEPFClose(descriptor), S_OK);
  EXPECT_EQ(ZEPFClose(descriptor), E_HANDLE);
  EXPECT_EQ(TakeProblems(), "ZEPFClose of a file that is not open: " + std::to_string(descriptor) + "\n");
}

TEST_F(ScriptTest, problems_nameBuffersThatWereNotFreed) {
  if (runsUnderValgrind()) {
    GTEST_SKIP() << "valgrind watches the buffers";
  }
  ZEPHttpClient client(nullptr, 1, 1);
  char* first = nullptr;
  char* second = nullptr;
  std::size_t length = 0;
  EXPECT_EQ(client.Download(&length, &first), 0);
  EXPECT_EQ(client.Download(&length, &second), 0);
  std::free(first);
  EXPECT_EQ(script().problems(), "alive: httpClient\nbuffer 2 was not freed\n");
  std::free(second);
}

#if !defined(SCRIPTED_UNDER_ASAN) // which ends the process at the second free()
TEST_F(ScriptTest, problems_nameBuffersThatWereFreedTwice) {
  if (runsUnderValgrind()) {
    GTEST_SKIP() << "valgrind watches the buffers";
  }
  std::size_t length = 0;
  char* buffer = nullptr;
  {
    ZEPHttpClient client(nullptr, 1, 1);
    EXPECT_EQ(client.Download(&length, &buffer), 0);
  }
  char* volatile sameBuffer = buffer; // so that the compiler does not see it is the same
  std::free(buffer);
  std::free(sameBuffer); // NOLINT
  EXPECT_EQ(TakeProblems(), "buffer 1 was freed 2 times\n");
}
#endif

TEST_F(ScriptTest, reset_forgetsEverything) {
  script().traceOn();
  script().perfoOn();
  script().context = "other";
  script().fail(Op::Transform, E_FAIL);
  script().answer(500, "");
  PLMCfgInTraceClass trace("Class", "");
  char method[] = "void method()";
  trace.SetMethod(method);
  trace.beginTrace(0) << "text";
  trace.endTraceWithLineNumber(0, 1, "Class.cpp");
  const ZEPCfgTracePerfo perfo("label");
  script().reset();
  EXPECT_EQ(script().problems(), "");
  EXPECT_EQ(script().log(), "");
  EXPECT_EQ(script().count(Op::ZEPCfgTracePerfo), 0);
  EXPECT_TRUE(script().records().empty());
  EXPECT_EQ(script().context, "ctx");
  EXPECT_EQ(trace.IsActivated(), 0);
  EXPECT_EQ(trace.IsPerfoActivated(), 0);
}

TEST_F(ScriptTest, reset_keepsAnObjectOfAnEarlierTestOutOfTheLog) {
  {
    const ZEPCfgTracePerfo perfo("label");
    script().reset();
  }
  EXPECT_EQ(script().log(), "");
}

// ---- texts of calls ----

TEST_F(ScriptTest, calls_showTextsAsTheyStand_orInQuotes) {
  struct Row {
    int line;
    const char* text;
    const char* shown;
  };
  const Row rows[] = {
      Row{__LINE__, "plain", "plain"},
      Row{__LINE__, "C:\\b\\x.xsl", "C:\\b\\x.xsl"},
      Row{__LINE__, "two words: yes", "two words: yes"},
      Row{__LINE__, "\xC3\xA9", "\xC3\xA9"},
      Row{__LINE__, "", "\"\""},
      Row{__LINE__, "null", "\"null\""},
      Row{__LINE__, " x", "\" x\""},
      Row{__LINE__, "x ", "\"x \""},
      Row{__LINE__, "a,b", "\"a,b\""},
      Row{__LINE__, "say \"x\"", "\"say \\\"x\\\"\""},
      Row{__LINE__, "line\r\n\t\x01", "\"line\\r\\n\\t\\x01\""},
      Row{__LINE__, "a\\,b", "\"a\\\\,b\""},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE("row at line " + std::to_string(row.line));
    startRow();
    ZEPUnicodeString text = row.text;
    ZEPExpandString(&text);
    EXPECT_EQ(script().calls(), std::string("ZEPExpandString(") + row.shown + ")\n");
  }
}

TEST_F(ScriptTest, clearLog_forgetsWhatHappened_andKeepsInputs) {
  script().context = "other";
  ZEPUnicodeString text;
  ZEPCfgInfraServices::GetCurrentContext(text);
  script().clearLog();
  EXPECT_EQ(script().log(), "");
  EXPECT_EQ(script().count(Op::GetCurrentContext), 0);
  ZEPCfgInfraServices::GetCurrentContext(text);
  EXPECT_EQ(text, "other");
}

// ---- trace ----

class ScriptTraceTest : public ScriptTest {
protected:
  void Record(int level, const char* text, int line, const char* file) {
    trace.beginTrace(level) << text;
    trace.endTraceWithLineNumber(level, line, file);
  }

  PLMCfgInTraceClass trace{"Class", "Group"};
  char method[16] = "void method()";
};

TEST_F(ScriptTraceTest, trace_isShort_forTheRecordsOfAnOperation) {
  trace.SetMethod(method);
  trace.beginTrace(1).endTraceWithLineNumber(1, 10, "Class.cpp");
  trace.beginTrace(0) << "name"
                      << " = [" << ZEPUnicodeString("\xC3\xA9") << "]";
  trace.endTraceWithLineNumber(0, 11, "Class.cpp");
  trace.beginTrace(0) << 1 << -2L << 3U;
  trace.endTraceWithLineNumber(0, 12, "Class.cpp");
  trace.beginTrace(2).endTraceWithLineNumber(2, 10, nullptr);
  trace.RemoveMethod();
  EXPECT_EQ(script().trace(), "Class > void method()\n"
                              "Class entry\n"
                              "Class | name = [\xC3\xA9]\n"
                              "Class | 1-23\n"
                              "Class exit\n"
                              "Class <\n");
  EXPECT_EQ(script().traceOf("Class"), "> void method()\nentry\n| name = [\xC3\xA9]\n| 1-23\nexit\n<\n");
  EXPECT_EQ(script().traceOf("Other"), "");
  EXPECT_EQ(script().records()[1].method, "void method()");
}

TEST_F(ScriptTraceTest, trace_dependsOnTheText_notOnThePieces) {
  trace.beginTrace(0) << "a"
                      << "b"
                      << "c";
  trace.endTraceWithLineNumber(0, 1, "Class.cpp");
  Record(0, "abc", 1, "Class.cpp");
  EXPECT_EQ(script().trace(), "Class | abc\nClass | abc\n");
}

TEST_F(ScriptTraceTest, trace_showsWhatDeviates) {
  script().allowUnbalancedMethods();
  Record(0, "two\nlines", 1, "Class.cpp");
  Record(0, "x", 1, nullptr);
  Record(0, "x", 1, "Other.cpp");
  Record(0, "x", 0, "Class.cpp");
  Record(1, "x", 1, "Class.cpp");
  Record(1, "", 1, nullptr);
  Record(2, "", 1, "Class.cpp");
  Record(3, "", 1, "Class.cpp");
  trace.beginTrace(0).endTraceWithLineNumber(2, 1, "Class.cpp");
  EXPECT_EQ(script().trace(), "Class | two\\nlines\n"
                              "Class | x {file null}\n"
                              "Class | x {file Other.cpp}\n"
                              "Class | x {line 0}\n"
                              "Class level 1 | x\n"
                              "Class entry {file null}\n"
                              "Class exit {file Class.cpp}\n"
                              "Class level 3 | \n"
                              "Class |  {ended with level 2}\n");
  EXPECT_EQ(script().records()[0].text, "two\nlines");
  EXPECT_EQ(script().records()[1].file, std::nullopt);
  EXPECT_EQ(script().records()[2].file, "Other.cpp");
}

TEST_F(ScriptTraceTest, log_interleavesCallsAndTrace) {
  ZEPUnicodeString text;
  Record(0, "before", 1, "Class.cpp");
  ZEPCfgInfraServices::GetCurrentContext(text);
  Record(0, "behind", 2, "Class.cpp");
  EXPECT_EQ(script().log(), "Class | before\nGetCurrentContext()\nClass | behind\n");
  EXPECT_EQ(script().calls(), "GetCurrentContext()\n");
  EXPECT_EQ(script().linesWith("behind"), "Class | behind\n");
}

TEST_F(ScriptTraceTest, isActivated_answersWhatIsWanted_andCounts) {
  EXPECT_EQ(trace.IsActivated(), 0);
  script().traceOn();
  EXPECT_NE(trace.IsActivated(), 0);
  script().traceWhen([](int query) { return query == 4; });
  EXPECT_EQ(trace.IsActivated(), 0);
  EXPECT_NE(trace.IsActivated(), 0);
  EXPECT_EQ(trace.IsActivated(), 0);
  EXPECT_EQ(script().activatedQueries(), 5);
  Record(0, "x", 1, "Class.cpp");
  Record(0, "y", 1, "Class.cpp");
  EXPECT_EQ(script().records()[0].asked, 5);
  EXPECT_EQ(script().records()[1].asked, 0);
}

TEST_F(ScriptTraceTest, perfo_givesItsTexts_andIsSeenToEnd) {
  EXPECT_EQ(trace.IsPerfoActivated(), 0);
  script().perfoOn();
  EXPECT_NE(trace.IsPerfoActivated(), 0);
  {
    ZEPCfgTracePerfo perfo("label");
    EXPECT_STREQ(perfo.beginPerfo(), "<BEGIN label>");
    EXPECT_STREQ(perfo.endPerfo(), "<END label>");
  }
  EXPECT_EQ(script().calls(), "ZEPCfgTracePerfo(label)\nbeginPerfo()\nendPerfo()\n~tracePerfo\n");
}

TEST_F(ScriptTraceTest, problems_nameAnUnbalancedMethod) {
  trace.SetMethod(method);
  EXPECT_EQ(script().problems(), "Class: SetMethod less RemoveMethod is 1\n");
  script().allowUnbalancedMethods();
  EXPECT_EQ(script().problems(), "");
  EXPECT_EQ(TakeProblems(), "");
  trace.RemoveMethod();
  EXPECT_EQ(TakeProblems(), "Class: SetMethod less RemoveMethod is -1\n");
}

TEST_F(ScriptTraceTest, problems_nameAnExitThatDoesNotBelongToItsEntry) {
  Record(1, "", 10, "Class.cpp");
  Record(2, "", 11, nullptr);
  EXPECT_EQ(TakeProblems(), "Class exit at line 11 for an entry at line 10\n");
  Record(1, "", 10, "Class.cpp");
  EXPECT_EQ(TakeProblems(), "Class entry at line 10 without an exit\n");
  Record(2, "", 10, nullptr);
  EXPECT_EQ(TakeProblems(), "Class exit at line 10 without an entry\n");
}

TEST_F(ScriptTraceTest, problems_acceptNestedOperations) {
  Record(1, "", 10, "Class.cpp");
  Record(1, "", 20, "Class.cpp");
  Record(2, "", 20, nullptr);
  Record(2, "", 10, nullptr);
  EXPECT_EQ(script().problems(), "");
}

TEST_F(ScriptTraceTest, problems_nameErrorRecordsThatDoNotBelongTogether) {
  Record(0, "<ERROR>", 5, "Class.cpp");
  Record(0, "<INDENT> message", 5, "Class.cpp");
  EXPECT_EQ(TakeProblems(), "");
  Record(0, "<ERROR>", 5, "Class.cpp");
  Record(0, "<INDENT> message", 6, "Class.cpp");
  EXPECT_EQ(TakeProblems(), "Class | <INDENT> message at line 6 does not belong to the prefix at line 5\n");
  Record(0, "<ERROR>", 5, "Class.cpp");
  Record(0, "message", 5, "Class.cpp");
  EXPECT_EQ(TakeProblems(), "Class | <ERROR> at line 5 without a message behind it\n");
  Record(0, "<ERROR>", 5, "Class.cpp");
  EXPECT_EQ(TakeProblems(), "Class | <ERROR> at line 5 without a message behind it\n");
  Record(0, "<INDENT> message", 5, "Class.cpp");
  EXPECT_EQ(TakeProblems(), "Class | <INDENT> message at line 5 without the prefix before it\n");
}

TEST_F(ScriptTraceTest, problems_surviveAClearedLog) {
  Record(0, "<ERROR>", 5, "Class.cpp");
  script().clearLog();
  EXPECT_NE(TakeProblems(), "");
}

TEST_F(ScriptTraceTest, problems_nameRecordsThatAreNotOpenedAndClosedInTurn) {
  trace << "text";
  EXPECT_EQ(TakeProblems(), "Class: text without an open record: text\n");
  trace.endTraceWithLineNumber(0, 1, "Class.cpp");
  EXPECT_EQ(TakeProblems(), "Class: a record ended that was not begun\n");
  trace.beginTrace(0);
  trace.beginTrace(0).endTraceWithLineNumber(0, 1, "Class.cpp");
  EXPECT_EQ(TakeProblems(), "Class: a record begun before the last one was ended\n");
}

TEST_F(ScriptTraceTest, problems_nameARecordLeftOpen) {
  trace.beginTrace(0) << "text";
  EXPECT_EQ(script().problems(), "Class: a record left open: text\n");
  trace.endTraceWithLineNumber(0, 1, "Class.cpp");
  EXPECT_EQ(script().problems(), "");
}

TEST_F(ScriptTraceTest, records_ofSeveralThreads_areKeptApart) {
  trace.beginTrace(0) << "one ";
  std::thread([this] { Record(0, "other", 1, "Class.cpp"); }).join();
  trace << "text";
  trace.endTraceWithLineNumber(0, 2, "Class.cpp");
  EXPECT_EQ(script().trace(), "Class | other\nClass | one text\n");
}

TEST_F(ScriptTest, traceObjects_areSeenToBeBuiltAndDestroyed_acrossResets) {
  script().forgetTraceObjects();
  {
    const PLMCfgInTraceClass first("First", "Group");
    const PLMCfgInTraceClass second("Second", "");
    script().reset();
  }
  EXPECT_EQ(script().traceObjects(), "+First(Group)\n+Second()\n-Second()\n-First(Group)\n");
  script().forgetTraceObjects();
  EXPECT_EQ(script().traceObjects(), "");
}

// ---- files, environment, settings, errors ----

TEST_F(ScriptTest, file_isReadLineByLine) {
  script().files["C:\\f"] = "one\ntwo";
  struct stat info {};
  ZEPUnicodeString path = "C:\\f";
  EXPECT_EQ(ZEPGetFileInfo(path, &info), 0);
  EXPECT_EQ(info.st_size, 7);
  EXPECT_NE(ZEPGetFileInfo("C:/f", &info), 0);
  EXPECT_EQ(ZEPFileStat(&path, &info, 0), S_OK);
  unsigned int descriptor = 0;
  char line[64] = "";
  ASSERT_EQ(ZEPFOpen(path, "r", &descriptor), S_OK);
  EXPECT_NE(ZEPFEof(descriptor), 0);
  EXPECT_EQ(ZEPFGets(line, 64, descriptor), S_OK);
  EXPECT_STREQ(line, "one\n");
  EXPECT_EQ(ZEPFGets(line, 3, descriptor), S_OK);
  EXPECT_STREQ(line, "tw");
  EXPECT_EQ(ZEPFGets(line, 3, descriptor), S_OK);
  EXPECT_STREQ(line, "o");
  EXPECT_EQ(ZEPFEof(descriptor), 0);
  EXPECT_EQ(ZEPFGets(line, 3, descriptor), E_FAIL);
  EXPECT_STREQ(line, "");
  EXPECT_EQ(ZEPFClose(descriptor), S_OK);
  EXPECT_EQ(script().linesWith("ZEPFGets(64"), "ZEPFGets(64, " + std::to_string(descriptor) + ")\n");
  EXPECT_EQ(script().linesWith("ZEPFOpen"), "ZEPFOpen(C:\\f, r)\n");
}

TEST_F(ScriptTest, file_thatDoesNotExist_cannotBeOpened) {
  unsigned int descriptor = 77;
  EXPECT_EQ(ZEPFOpen("f", "r", &descriptor), E_FAIL);
  EXPECT_EQ(descriptor, 77U);
}

TEST_F(ScriptTest, surroundings_answerWhatIsScripted) {
  script().environment["NAME"] = "value";
  script().expansions["$NAME/x"] = "value/x";
  script().argUrl = "http://other";
  script().branching = true;
  script().atstProvider = true;
  EXPECT_STREQ(ZEPGetEnv("NAME"), "value");
  EXPECT_EQ(ZEPGetEnv("OTHER"), nullptr);
  ZEPUnicodeString text = "$NAME/x";
  EXPECT_EQ(ZEPExpandString(&text), S_OK);
  EXPECT_EQ(text, "value/x");
  int kind = 0;
  int rank = 0;
  EXPECT_EQ(QRLSysTSGetArg("Url", kind, rank, text), S_OK);
  EXPECT_EQ(text, "http://other");
  EXPECT_EQ(ZEPCfgInfraServices::GetBranchingVar(), 1);
  EXPECT_TRUE(ZEPCfgInfraServices::IsATSTProvider());
  EXPECT_EQ(script().calls(), "ZEPGetEnv(NAME)\nZEPGetEnv(OTHER)\nZEPExpandString($NAME/x)\n"
                              "QRLSysTSGetArg(Url, 0, 0)\nGetBranchingVar()\nIsATSTProvider()\n");
}

TEST_F(ScriptTest, settings_areReadFromTheirRepository) {
  script().settings["group"]["key"] = "value";
  EXPECT_EQ(ZEPSysSettingRepository::GetRepository("other", 0), nullptr);
  ZEPSysSettingRepository* const repository = ZEPSysSettingRepository::GetRepository("group", 0);
  ASSERT_NE(repository, nullptr);
  ZEPUnicodeString text = "as it was";
  EXPECT_EQ(repository->ReadAttr("none", &text), 0);
  EXPECT_EQ(text, "as it was");
  EXPECT_EQ(repository->ReadAttr("key", &text), 1);
  EXPECT_EQ(text, "value");
  script().returns(Op::ReadAttr, 2);
  EXPECT_EQ(repository->ReadAttr("key", &text), 2);
  repository->Release();
  EXPECT_EQ(script().linesWith("epository"), "GetRepository(other, 0)\nGetRepository(group, 0)\n"
                                             "ReleaseRepository()\n~repository\n");
}

TEST_F(ScriptTest, lastError_isGivenOut_untilItIsCleaned) {
  script().lastError = "message";
  ZEPError* const error = ZEPError::ZEPGetLastError(E_FAIL, nullptr);
  ASSERT_NE(error, nullptr);
  EXPECT_EQ(error->GetMessageText(), "message");
  error->Release();
  ZEPError::ZEPCleanLastError();
  EXPECT_EQ(ZEPError::ZEPGetLastError(-7, nullptr), nullptr);
  EXPECT_EQ(script().calls(), "ZEPGetLastError(E_FAIL, null)\nGetMessageText()\nReleaseError()\n~error\n"
                              "ZEPCleanLastError()\nZEPGetLastError(-7, null)\n");
}

// ---- XML ----

class ScriptXMLTest : public ScriptTest {
protected:
  void BuildTransformer() {
    CreateZEPIXMLSAX2Factory(sax2Factory, CLSID_XML4C_SAX);
    CreateZEPIXMLXSLFactory(xslFactory, CLSID_XSLT_JAVA);
    CreateZEPIXMLPPFactory(ppFactory, CLSID_XML4C5_PP);
    sax2Factory->CreateInputSourceFromFile("C:\\x.xsl", "stylesheet", stylesheet);
    sax2Factory->CreateInputSourceFromMemoryBuffer("<x/>", "document", document);
    xslFactory->CreateTransformer(stylesheet, transformer);
  }

  void ReleaseAll() {
    ppFactory = NULL_var;
    transformer = NULL_var;
    xslFactory = NULL_var;
    document = NULL_var;
    stylesheet = NULL_var;
    sax2Factory = NULL_var;
  }

  // The bytes that a transformation leaves in a new buffer; none for null.
  std::optional<std::string> Transformed() {
    ZEPXMLPPMemoryBuffer buffer(1024);
    ZEPIXMLPPOutputSource_var output;
    ppFactory->CreateOutputSource(buffer, output);
    transformer->SetInputSource(document);
    transformer->SetOutputSource(output);
    transformer->Transform();
    transformer->SetOutputSource(ZEPIXMLPPOutputSource_var());
    unsigned char* bytes = nullptr;
    unsigned int count = 77;
    EXPECT_EQ(buffer.GetBuffer(bytes, count), S_OK);
    if (bytes == nullptr) {
      EXPECT_EQ(count, 0U);
      return std::nullopt;
    }
    return std::string(reinterpret_cast<const char*>(bytes), count);
  }

  void TearDown() override {
    ReleaseAll();
    ScriptTest::TearDown();
  }

  ZEPIXMLSAX2Factory_var sax2Factory;
  ZEPIXMLXSLFactory_var xslFactory;
  ZEPIXMLPPFactory_var ppFactory;
  ZEPISAXInputSource_var stylesheet;
  ZEPISAXInputSource_var document;
  ZEPIXMLXSLTransformer_var transformer;
};

TEST_F(ScriptXMLTest, transform_writesTheScriptedBytes) {
  BuildTransformer();
  EXPECT_EQ(Transformed(), utf16WithMark("formatted"));
  script().transformBytes = std::string("odd", 3);
  EXPECT_EQ(Transformed(), "odd");
  script().transformBytes = "";
  EXPECT_EQ(Transformed(), "");
  script().transformBytes = std::nullopt;
  EXPECT_EQ(Transformed(), std::nullopt);
}

TEST_F(ScriptXMLTest, utf16WithMark_isInTheMachinesByteOrder) {
  const char16_t units[] = {0xFEFF, u'a', 0xD83D, 0xDE00};
  EXPECT_EQ(utf16WithMark("a\xF0\x9F\x98\x80"),
            std::string(reinterpret_cast<const char*>(units), sizeof(units)));
}

TEST_F(ScriptXMLTest, calls_nameObjectsAndTheirEnd) {
  BuildTransformer();
  transformer->SetOption(ZEPXMLXSLTransformerOptions::OutputFormat, "text");
  transformer->SetParameter("CompactView", "", "TRUE");
  Transformed();
  ReleaseAll();
  EXPECT_EQ(script().calls(), "CreateZEPIXMLSAX2Factory(CLSID_XML4C_SAX)\n"
                              "CreateZEPIXMLXSLFactory(CLSID_XSLT_JAVA)\n"
                              "CreateZEPIXMLPPFactory(CLSID_XML4C5_PP)\n"
                              "CreateInputSourceFromFile(C:\\x.xsl, stylesheet)\n"
                              "CreateInputSourceFromMemoryBuffer(<x/>, document)\n"
                              "CreateTransformer(stylesheet)\n"
                              "SetOption(OutputFormat, text)\n"
                              "SetParameter(CompactView, \"\", TRUE)\n"
                              "ZEPXMLPPMemoryBuffer(1024)\n"
                              "CreateOutputSource()\n"
                              "SetInputSource(document)\n"
                              "SetOutputSource(outputSource)\n"
                              "Transform()\n"
                              "SetOutputSource(null)\n"
                              "GetBuffer()\n"
                              "~outputSource\n"
                              "~memoryBuffer\n"
                              "~ppFactory\n"
                              "~transformer\n"
                              "~xslFactory\n"
                              "~document\n"
                              "~stylesheet\n"
                              "~sax2Factory\n");
}

TEST_F(ScriptXMLTest, factory_isRefused_forAnotherClassId) {
  EXPECT_EQ(CreateZEPIXMLSAX2Factory(sax2Factory, CLSID_XSLT_JAVA), REGDB_E_CLASSNOTREG);
  EXPECT_TRUE(!sax2Factory);
  EXPECT_EQ(CreateZEPIXMLPPFactory(ppFactory, GUID{}), REGDB_E_CLASSNOTREG);
  EXPECT_EQ(script().calls(), "CreateZEPIXMLSAX2Factory(CLSID_XSLT_JAVA)\n"
                              "CreateZEPIXMLPPFactory(unknown class id)\n");
}

TEST_F(ScriptXMLTest, failingCreation_emptiesTheHandle) {
  BuildTransformer();
  script().fail(Op::CreateTransformer, E_ABORT);
  EXPECT_EQ(xslFactory->CreateTransformer(stylesheet, transformer), E_ABORT);
  EXPECT_TRUE(!transformer);
}

TEST_F(ScriptXMLTest, transform_isAProblem_withoutSources) {
  BuildTransformer();
  EXPECT_EQ(transformer->Transform(), E_UNEXPECTED);
  ReleaseAll();
  EXPECT_EQ(TakeProblems(), "Transform without an input or an output source\n");
}

TEST_F(ScriptXMLTest, outputSource_mayOutliveItsBuffer) {
  BuildTransformer();
  {
    ZEPXMLPPMemoryBuffer buffer(1024);
    ZEPIXMLPPOutputSource_var output;
    ppFactory->CreateOutputSource(buffer, output);
    transformer->SetOutputSource(output);
    transformer->SetInputSource(document);
  }
  EXPECT_EQ(transformer->Transform(), S_OK);
}

// ---- HTTP ----

TEST_F(ScriptTest, legacyClient_answersWhatIsScripted) {
  script().legacy.status = "404";
  script().legacy.headerText = "Transfer-Encoding: chunked";
  script().legacy.body = "body";
  script().legacy.pieces = {"one", "", "two"};
  script().legacy.lastPiece = "unread";
  ZEPHttpClient client(nullptr, 1, 1);
  EXPECT_EQ(client.OpenRequest("GET", "http://server/x", 0x400000, nullptr), 0);
  EXPECT_EQ(client.AddRequestHeaders("Name: value\r\n", 0x40000000), 0);
  EXPECT_EQ(client.SendRequest("a\0b", 3), 0);
  EXPECT_EQ(client.CloseRequest(), 0);
  char* buffer = nullptr;
  std::size_t length = 0;
  std::size_t secondLength = 0;
  EXPECT_EQ(client.GetResponseHeaders(&buffer, &length, &secondLength, 19, nullptr), 0);
  EXPECT_STREQ(buffer, "404Transfer-Encoding: chunked");
  EXPECT_EQ(length, 3U);
  EXPECT_EQ(secondLength, 29U);
  std::free(buffer);
  EXPECT_EQ(client.Download(&length, &buffer), 0);
  EXPECT_EQ(std::string(buffer, length), "body");
  std::free(buffer);
  std::string pieces;
  int finished = 0;
  for (int i = 0; i < 4; ++i) {
    EXPECT_EQ(client.DownloadEx(4096, &length, &buffer, &finished), 0);
    EXPECT_EQ(finished, i < 3 ? 0 : 1);
    pieces += "[" + (buffer == nullptr ? "null" : std::string(buffer, length)) + "]";
    std::free(buffer);
  }
  EXPECT_EQ(pieces, "[one][null][two][unread]");
  EXPECT_EQ(script().calls(), "ZEPHttpClient(null, 1, 1)\n"
                              "OpenRequest(GET, http://server/x, 0x400000, null)\n"
                              "AddRequestHeaders(\"Name: value\\r\\n\", 0x40000000)\n"
                              "SendRequest(\"a\\x00b\", 3)\n"
                              "CloseRequest()\n"
                              "GetResponseHeaders(19, null)\n"
                              "Download()\n"
                              "DownloadEx(4096)\nDownloadEx(4096)\nDownloadEx(4096)\nDownloadEx(4096)\n");
}

TEST_F(ScriptTest, legacyClient_handsOutNull_whereItIsScripted) {
  script().legacy.nullHeader = true;
  script().legacy.nullBody = true;
  script().legacy.body = "four";
  ZEPHttpClient client(nullptr, 1, 1);
  char sentinel = 0;
  char* buffer = &sentinel;
  std::size_t length = 77;
  std::size_t secondLength = 77;
  EXPECT_EQ(client.GetResponseHeaders(&buffer, &length, &secondLength, 19, nullptr), 0);
  EXPECT_EQ(buffer, nullptr);
  EXPECT_EQ(length, 0U);
  buffer = &sentinel;
  EXPECT_EQ(client.Download(&length, &buffer), 0);
  EXPECT_EQ(buffer, nullptr);
  EXPECT_EQ(length, 4U);
}

// What a server's answer looks like to the object client: "<status> <status line> <body>".
std::string fetch(const char* url) {
  const ZEPOmxSP<ZEPOmxHttpGet> request = ZEPOmxHttpGet::Create(url);
  const ZEPOmxSP<ZEPOmxDefaultHttpClient> client = ZEPOmxDefaultHttpClient::Create(0);
  ZEPOmxSP<ZEPOmxHttpResponse> response;
  EXPECT_EQ(client->Execute(request, response), S_OK);
  const ZEPOmxSP<ZEPOmxHttpStatusLine> line = response->GetStatusLine();
  std::string text = std::to_string(line->GetStatusCode()) + " " + line->ToString().ConvertToChar() + " ";
  const ZEPOmxSP<ZEPOmxHttpEntity> entity = response->GetEntity();
  if (entity.IsNull()) {
    return text + "null";
  }
  ZEPOmxSP<ZEPIOmxInputStream> stream;
  ZEPOmxUTF8String body;
  EXPECT_EQ(entity->GetContent(stream), S_OK);
  EXPECT_EQ(ZEPOmxIOUtils::ToString(stream, body), S_OK);
  return text + std::string(body.asChar(), body.length());
}

TEST_F(ScriptTest, objectClient_givesTheQueuedAnswers_thenTheUsualOne) {
  script().answer(404, "gone", "HTTP/1.0 404 Gone");
  script().answerWithoutBody(204);
  script().defaultBody = "usual";
  EXPECT_EQ(fetch("http://server/1"), "404 HTTP/1.0 404 Gone gone");
  EXPECT_EQ(fetch("http://server/2"), "204 HTTP/1.1 204 Scripted null");
  EXPECT_EQ(fetch("http://server/3"), "200 HTTP/1.1 200 Scripted usual");
  EXPECT_EQ(script().linesWith("Execute"),
            "Execute(httpGet http://server/1)\nExecute(httpGet http://server/2)\n"
            "Execute(httpGet http://server/3)\n");
}

TEST_F(ScriptTest, objectClient_recordsWhatARequestCarries) {
  {
    const ZEPOmxSP<ZEPOmxHttpStringEntity> entity = ZEPOmxHttpStringEntity::Create("{}");
    const ZEPOmxSP<ZEPOmxHttpPut> put = ZEPOmxHttpPut::Create("http://server/put");
    put->SetServiceName("service");
    put->SetEntity(entity);
    put->AddHeader(ZEPOmxKeyString("Accept"), "application/json\r\n");
    const ZEPOmxSP<ZEPOmxHttpPost> post = ZEPOmxHttpPost::Create("http://server/post");
    post->SetEntity(nullptr);
  }
  EXPECT_EQ(script().calls(), "ZEPOmxHttpStringEntity::Create({})\n"
                              "ZEPOmxHttpPut::Create(http://server/put)\n"
                              "SetServiceName(service)\n"
                              "SetEntity(stringEntity)\n"
                              "AddHeader(Accept, \"application/json\\r\\n\")\n"
                              "ZEPOmxHttpPost::Create(http://server/post)\n"
                              "SetEntity(null)\n"
                              "~httpPost\n~httpPut\n~stringEntity\n");
}

TEST_F(ScriptTest, objectClient_givesNull_whereItIsScripted) {
  script().giveEmpty(Op::CreateStringEntity);
  script().giveEmpty(Op::CreateHttpGet);
  script().giveEmpty(Op::CreateHttpPut);
  script().giveEmpty(Op::CreateHttpPost);
  script().giveEmpty(Op::CreateHttpClient);
  EXPECT_TRUE(ZEPOmxHttpStringEntity::Create("").IsNull());
  EXPECT_TRUE(ZEPOmxHttpGet::Create("").IsNull());
  EXPECT_TRUE(ZEPOmxHttpPut::Create("").IsNull());
  EXPECT_TRUE(ZEPOmxHttpPost::Create("").IsNull());
  EXPECT_TRUE(ZEPOmxDefaultHttpClient::Create(0).IsNull());
}

TEST_F(ScriptTest, execute_givesNoResponse_whenItFailsOrIsToBeEmpty) {
  script().fail(Op::Execute, E_ABORT).at(1);
  script().giveEmpty(Op::Execute).at(2);
  const ZEPOmxSP<ZEPOmxHttpGet> request = ZEPOmxHttpGet::Create("http://server");
  const ZEPOmxSP<ZEPOmxDefaultHttpClient> client = ZEPOmxDefaultHttpClient::Create(0);
  ZEPOmxSP<ZEPOmxHttpResponse> response;
  EXPECT_EQ(client->Execute(request, response), E_ABORT);
  EXPECT_TRUE(response.IsNull());
  EXPECT_EQ(client->Execute(request, response), S_OK);
  EXPECT_TRUE(response.IsNull());
}

TEST_F(ScriptTest, execute_endsTheProcess_whenThereIsAResponseAlready) {
  const ZEPOmxSP<ZEPOmxHttpGet> request = ZEPOmxHttpGet::Create("http://server");
  const ZEPOmxSP<ZEPOmxDefaultHttpClient> client = ZEPOmxDefaultHttpClient::Create(0);
  ZEPOmxSP<ZEPOmxHttpResponse> response;
  client->Execute(request, response);
  EXPECT_DEATH(client->Execute(request, response), "not null");
}

// ---- filters and identifiers ----

TEST_F(ScriptTest, isIncluding_recordsWhatItIsGiven_andFillsTheList) {
  script().inclusions = {0, 2};
  ZEPListValZEPBinary candidates;
  candidates.Append(ZEPBinary("a", 1));
  candidates.Append(ZEPBinary());
  ZEPListValZEPBoolean results;
  results.Append(1);
  const auto compare = [&] {
    return ZEPCfgExpressionComparisonServices::IsIncluding(
        ZEPBinary("r\0f", 3), candidates, PLMCfgExpressionViewCurrent, results, PLMCfgComparisonModeExact,
        PLMCfgComparisonModeUnset);
  };
  EXPECT_EQ(compare(), S_OK);
  ASSERT_EQ(results.Size(), 2);
  EXPECT_EQ(results[1], 0);
  EXPECT_EQ(results[2], 2);
  EXPECT_EQ(script().calls(), "IsIncluding(\"r\\x00f\", [a, \"\"], 1, [1], 1, 0)\n");
  script().fail(Op::IsIncluding, E_ABORT).once();
  EXPECT_EQ(compare(), E_ABORT);
  EXPECT_EQ(results.Size(), 2);
  script().giveEmpty(Op::IsIncluding).once();
  EXPECT_EQ(compare(), S_OK);
  EXPECT_EQ(results.Size(), 0);
}

TEST_F(ScriptTest, identifiers_areAnsweredByTheirText) {
  script().objects["F"] = {2, "logical", "physical"};
  unsigned char isOfType = 7;
  ZEPUnicodeString text = "before";
  const ZEPPLMID feature("F");
  EXPECT_EQ(ZEPCfgDictionaryServices::IsPLMIDOfType(feature, "T", 0, isOfType), S_OK);
  EXPECT_EQ(isOfType, 2);
  EXPECT_EQ(ZEPCfgBasicInfraServices::GetLogicalID(feature, text), S_OK);
  EXPECT_EQ(text, "logical");
  EXPECT_EQ(ZEPCfgBasicInfraServices::GetPhysicalID(feature, text), S_OK);
  EXPECT_EQ(text, "physical");
  EXPECT_EQ(feature.ToString(0), "F");
  EXPECT_EQ(ZEPCfgDictionaryServices::IsPLMIDOfType(ZEPPLMID(), "T", 1, isOfType), S_OK);
  EXPECT_EQ(isOfType, 0);
  script().fail(Op::GetLogicalID, E_ABORT);
  EXPECT_EQ(ZEPCfgBasicInfraServices::GetLogicalID(feature, text), E_ABORT);
  EXPECT_EQ(text, "physical");
  EXPECT_EQ(script().calls(),
            "IsPLMIDOfType(F, T, 0, 7)\nGetLogicalID(F, before)\nGetPhysicalID(F, logical)\n"
            "ZEPPLMID::ToString(F, 0)\nIsPLMIDOfType(null, T, 1, 2)\n"
            "GetLogicalID(F, physical)\n");
}

// ---- JSON ----

TEST_F(ScriptTest, json_isTheScriptedTree_whateverTheText) {
  script().json = jsonObject({{"a", jsonText("one")}, {"b", jsonOther()}, {"a", jsonText("two")}});
  ZEPOmxAny value;
  EXPECT_EQ(ZEPOmxJson::parse(ZEPOmxUTF8String("{,}", 3), value), S_OK);
  EXPECT_EQ(value.MapItems().size(), 3U);
  ZEPOmxKeyValueBlock block;
  EXPECT_EQ(value.Extract(block), S_OK);
  ZEPOmxAny member;
  EXPECT_EQ(block.GetValue(ZEPOmxKeyString("a"), member), S_OK);
  EXPECT_EQ(member.ToUnicodeString(), "two");
  EXPECT_EQ(block.GetValue(ZEPOmxKeyString("c"), member), E_FAIL);
  EXPECT_EQ(member.ToUnicodeString(), "two");
  EXPECT_EQ(jsonOther().Extract(block), E_FAIL);
  EXPECT_EQ(block.GetValue(ZEPOmxKeyString("a"), member), E_FAIL);
  EXPECT_EQ(script().calls(), "ZEPOmxJson::parse(\"{,}\")\nExtract()\nGetValue(a)\nGetValue(c)\n"
                              "Extract()\nGetValue(a)\n");
}

} // namespace
