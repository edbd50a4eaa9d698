#include "ConformanceTest.h"
#include "ZEPBinary.h"
#include "ZEPCfgFilterBasicServices.h"
#include "ZEPCfgWebServices.h"
#include "ZEPCfgXMLExpressionServices.h"
#include "ZEPListValZEPPLMID.h"

#include <gmock/gmock.h>

#include <algorithm>
#include <functional>
#include <string>
#include <vector>

// The frame that every operation follows: what is traced around its own records, in which
// circumstances, and what holds when an exception passes through.

extern "C" int VORTELLA_LABS_PXR4_INTERNAL_ZEPCfgCommonServices();

using namespace scripted;
using ::testing::HasSubstr;
using ::testing::Not;

namespace {

const char stylesheetPath[] = "C:\\x.xsl";

// One way through an operation on which nothing fails.
struct Operation {
  int line;
  const char* name;
  const char* className;
  const char* signature;
  std::function<long()> call;
  long result;
};

long callWeb(long (*operation)(const ZEPUnicodeString&, const ZEPUnicodeString&, const ZEPUnicodeString&,
                               ZEPUnicodeString&),
             const char* verb) {
  ZEPUnicodeString answer;
  return operation(verb, "/path", "{}", answer);
}

long buildJsonList() {
  ZEPListValZEPPLMID ids;
  ids.Append(ZEPPLMID("feature"));
  ids.Append(ZEPPLMID("part"));
  ids.Append(ZEPPLMID());
  std::vector<ZEPUnicodeString> texts;
  return ZEPCfgWebServices::BuildJsonList(ids, texts);
}

long compareFilters() {
  unsigned char isIncluded = 0;
  return ZEPCfgFilterBasicServices::IsAIncludedInB(ZEPBinary("a", 1), ZEPBinary("b", 1), isIncluded);
}

long format(const char* customFile, unsigned char compactView) {
  ZEPUnicodeString formatted;
  return ZEPCfgXMLExpressionServices::FormatExpression("<x/>", formatted, customFile, compactView);
}

long parseAnswer() {
  ZEPUnicodeString stylesheet;
  return ZEPCfgXMLExpressionServices::ParseQueryResponse(script().json, stylesheet);
}

long fetchStylesheet() {
  ZEPUnicodeString stylesheet;
  return ZEPCfgXMLExpressionServices::GetConfigExpressionXSLT(stylesheet);
}

#define WEB_SIGNATURE(operation)                                                                             \
  "long __cdecl ZEPCfgWebServices::" operation                                                               \
  "(const class ZEPUnicodeString &,const class ZEPUnicodeString &,const class ZEPUnicodeString &,"           \
  "class ZEPUnicodeString &)"
#define XML_SIGNATURE(operation) "long __cdecl ZEPCfgXMLExpressionServices::" operation

const std::vector<Operation>& operations() {
  static const std::vector<Operation> all = {
      Operation{__LINE__, "CallWebService", "ZEPCfgWebServices", WEB_SIGNATURE("CallWebService"),
                [] { return callWeb(ZEPCfgWebServices::CallWebService, "GET"); }, S_OK},
      Operation{__LINE__, "NewCallWebService", "ZEPCfgWebServices", WEB_SIGNATURE("NewCallWebService"),
                [] { return callWeb(ZEPCfgWebServices::NewCallWebService, "POST"); }, S_OK},
      Operation{__LINE__, "OldCallWebService", "ZEPCfgWebServices", WEB_SIGNATURE("OldCallWebService"),
                [] { return callWeb(ZEPCfgWebServices::OldCallWebService, "PUT"); }, S_OK},
      Operation{__LINE__, "BuildJsonList", "ZEPCfgWebServices",
                "long __cdecl ZEPCfgWebServices::BuildJsonList(const class ZEPListValZEPPLMID &,"
                "class std::vector<class ZEPUnicodeString,class std::allocator<class ZEPUnicodeString> > &)",
                buildJsonList, S_OK},
      Operation{__LINE__, "IsEncodingUTF16", "ZEPCfgXMLExpressionServices",
                XML_SIGNATURE("IsEncodingUTF16(class ZEPUnicodeString)"),
                [] { return ZEPCfgXMLExpressionServices::IsEncodingUTF16(stylesheetPath); }, S_FALSE},
      Operation{__LINE__, "FormatExpression", "ZEPCfgXMLExpressionServices",
                XML_SIGNATURE("FormatExpression(const class ZEPUnicodeString &,class ZEPUnicodeString &,"
                              "const class ZEPUnicodeString &,const unsigned char &)"),
                [] { return format(stylesheetPath, 1); }, S_OK},
      Operation{__LINE__, "ParseQueryResponse", "ZEPCfgXMLExpressionServices",
                XML_SIGNATURE("ParseQueryResponse(const class ZEPOmxAny &,class ZEPUnicodeString &)"),
                parseAnswer, S_OK},
      Operation{__LINE__, "GetConfigExpressionXSLT", "ZEPCfgXMLExpressionServices",
                XML_SIGNATURE("GetConfigExpressionXSLT(class ZEPUnicodeString &)"), fetchStylesheet, S_OK},
  };
  return all;
}

class FrameRecordsTest : public ConformanceTest {
protected:
  void SetUp() override {
    ConformanceTest::SetUp();
    Prepare();
  }

  // A stylesheet file, a setting that names another, and a server without a stylesheet, which the
  // library therefore asks each time.
  static void Prepare() {
    script().reset();
    script().files[stylesheetPath] = "<x/>\n<xsl:output encoding=\"UTF-8\"/>\n";
    script().files["C:\\setting.xsl"] = "<xsl:output/>";
    script().settings["EffeCustoFilePathSetting"]["EffCustoPath"] = "C:\\setting.xsl";
    script().json = jsonObject({{"xslt", jsonObject({{"content", jsonText("")}})}});
    script().objects["feature"] = {1, "logical", "physical"};
  }

  static std::string LinesBetween(const std::string& lines, int first, int last) {
    std::string result;
    int line = 0;
    for (const char character : lines) {
      result += line >= first && line < last ? std::string(1, character) : "";
      line += character == '\n' ? 1 : 0;
    }
    return result;
  }

  static int LineCount(const std::string& lines) {
    return static_cast<int>(std::count(lines.begin(), lines.end(), '\n'));
  }
};

TEST_F(FrameRecordsTest, marker_isOne_beforeAndAfterCalls) {
  EXPECT_EQ(VORTELLA_LABS_PXR4_INTERNAL_ZEPCfgCommonServices(), 1);
  callWeb(ZEPCfgWebServices::NewCallWebService, "GET");
  EXPECT_EQ(VORTELLA_LABS_PXR4_INTERNAL_ZEPCfgCommonServices(), 1);
}

TEST_F(FrameRecordsTest, records_standAroundEveryOperation) {
  for (const Operation& operation : operations()) {
    SCOPED_TRACE("row at line " + std::to_string(operation.line) + ": " + operation.name);
    Prepare();
    script().traceOn();
    EXPECT_EQ(operation.call(), operation.result);
    const std::string trace = script().traceOf(operation.className);
    const int count = LineCount(trace);
    EXPECT_EQ(LinesBetween(trace, 0, 2), std::string("> ") + operation.signature + "\nentry\n");
    EXPECT_EQ(LinesBetween(trace, count - 3, count), "| rc = " + codeName(operation.result) + "\nexit\n<\n");
    endRow();
  }
}

TEST_F(FrameRecordsTest, trace_isAskedAnew_forEveryRecord) {
  for (const Operation& operation : operations()) {
    SCOPED_TRACE("row at line " + std::to_string(operation.line) + ": " + operation.name);
    Prepare();
    script().traceOn();
    operation.call();
    for (const TraceRecord& record : script().records()) {
      // The question for an entry record comes before the method is named.
      EXPECT_EQ(record.asked, record.level == 1 ? 0 : 1) << record.text << " at line " << record.line;
    }
    EXPECT_EQ(script().activatedQueries(), static_cast<int>(script().records().size()));
    endRow();
  }
}

TEST_F(FrameRecordsTest, traceOff_writesNothing_whenNothingFails) {
  for (const Operation& operation : operations()) {
    SCOPED_TRACE("row at line " + std::to_string(operation.line) + ": " + operation.name);
    Prepare();
    EXPECT_EQ(operation.call(), operation.result);
    EXPECT_EQ(script().trace(), "");
    endRow();
  }
}

TEST_F(FrameRecordsTest, traceOff_writesErrorRecords_allTheSame) {
  script().context = "";
  EXPECT_EQ(callWeb(ZEPCfgWebServices::NewCallWebService, "GET"), E_FAIL);
  EXPECT_EQ(script().trace(), "ZEPCfgWebServices | <ERROR>\n"
                              "ZEPCfgWebServices | <INDENT> ERROR: Orvana Context is empty\n");
  script().clearLog();
  EXPECT_EQ(ZEPCfgXMLExpressionServices::IsEncodingUTF16(""), E_FAIL);
  EXPECT_EQ(script().trace(), "ZEPCfgXMLExpressionServices | <ERROR>\n"
                              "ZEPCfgXMLExpressionServices | <INDENT> ERROR: in_XSLFilePath is empty\n");
}

TEST_F(FrameRecordsTest, errorRecords_neverAskWhetherTheTraceIsOn) {
  script().traceOn();
  script().context = "";
  callWeb(ZEPCfgWebServices::NewCallWebService, "GET");
  int errorRecords = 0;
  for (const TraceRecord& record : script().records()) {
    if (record.text == "<ERROR>" || record.text.starts_with("<INDENT>")) {
      ++errorRecords;
      EXPECT_EQ(record.asked, 0) << record.text;
    }
  }
  EXPECT_EQ(errorRecords, 2);
}

// Records between the first and the last question that was answered with yes are there, others not.
TEST_F(FrameRecordsTest, trace_canBeSwitchedInsideAnOperation) {
  script().traceOn();
  EXPECT_EQ(ZEPCfgXMLExpressionServices::IsEncodingUTF16(stylesheetPath), S_FALSE);
  ASSERT_EQ(script().traceOf("ZEPCfgXMLExpressionServices"),
            "> long __cdecl ZEPCfgXMLExpressionServices::IsEncodingUTF16(class ZEPUnicodeString)\n"
            "entry\n"
            "| in_XSLFilePath = [C:\\x.xsl]\n"
            "| rc = S_FALSE\n"
            "exit\n"
            "<\n");
  struct Row {
    int line;
    int query; // the only one answered with yes
    const char* trace;
  };
  const Row rows[] = {
      Row{__LINE__, 1,
          "> long __cdecl ZEPCfgXMLExpressionServices::IsEncodingUTF16(class ZEPUnicodeString)\nentry\n"},
      Row{__LINE__, 2, "| in_XSLFilePath = [C:\\x.xsl]\n"},
      Row{__LINE__, 3, "| rc = S_FALSE\n"},
      Row{__LINE__, 4, "exit\n<\n"},
      Row{__LINE__, 5, ""},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE("row at line " + std::to_string(row.line));
    Prepare();
    script().allowUnbalancedMethods();
    script().traceWhen([&row](int query) { return query == row.query; });
    EXPECT_EQ(ZEPCfgXMLExpressionServices::IsEncodingUTF16(stylesheetPath), S_FALSE);
    EXPECT_EQ(script().traceOf("ZEPCfgXMLExpressionServices"), row.trace);
    EXPECT_EQ(script().activatedQueries(), 4);
    endRow();
  }
}

TEST_F(FrameRecordsTest, exit_hasTheEntrysLineAndNoFile_alsoThroughAnException) {
  script().traceOn();
  script().throwIn(Op::GetCurrentContext);
  EXPECT_THROW(callWeb(ZEPCfgWebServices::NewCallWebService, "GET"), ScriptedException);
  const std::vector<TraceRecord>& records = script().records();
  ASSERT_GE(records.size(), 2U);
  EXPECT_EQ(records.front().level, 1);
  EXPECT_EQ(records.front().file, "ZEPCfgWebServices.cpp");
  EXPECT_GT(records.front().line, 0);
  EXPECT_EQ(records.back().level, 2);
  EXPECT_EQ(records.back().line, records.front().line);
  EXPECT_EQ(records.back().file, std::nullopt);
  const std::string trace = script().trace();
  EXPECT_EQ(LinesBetween(trace, LineCount(trace) - 2, LineCount(trace)),
            "ZEPCfgWebServices exit\nZEPCfgWebServices <\n");
  EXPECT_THAT(trace, Not(HasSubstr("rc = ")));
}

// The example in ScriptedPlatform.h.
TEST_F(ConformanceTest, webCall_givesExecutesCode_whenExecuteFails) {
  script().traceOn();
  script().fail(Op::Execute, E_ABORT);
  ZEPUnicodeString answer;
  EXPECT_EQ(ZEPCfgWebServices::NewCallWebService("GET", "/path", "", answer), E_ABORT);
  EXPECT_EQ(script().count(Op::Execute), 1);
  EXPECT_EQ(script().linesWith("Execute failed"), "ZEPCfgWebServices | <INDENT> ERROR: Execute failed\n");
}

TEST_F(FrameRecordsTest, result_isShownAsANumber_whenItHasNoName) {
  script().traceOn();
  script().fail(Op::Execute, -123456);
  EXPECT_EQ(callWeb(ZEPCfgWebServices::NewCallWebService, "GET"), -123456);
  EXPECT_EQ(script().linesWith("rc = "), "ZEPCfgWebServices | rc = -123456\n");
}

TEST_F(FrameRecordsTest, positiveCode_isASuccess_andIsPassedOn) {
  script().traceOn();
  script().returns(Op::GetBuffer, S_FALSE);
  ZEPUnicodeString formatted;
  script().transformBytes = "text";
  EXPECT_EQ(ZEPCfgXMLExpressionServices::FormatExpression("<x/>", formatted, stylesheetPath, 0), S_FALSE);
  EXPECT_EQ(formatted, "text");
  EXPECT_EQ(script().linesWith("<ERROR>"), "");
  EXPECT_EQ(script().linesWith("rc = "), "ZEPCfgXMLExpressionServices | rc = S_FALSE\n"
                                         "ZEPCfgXMLExpressionServices | rc = S_FALSE\n");
}

TEST_F(FrameRecordsTest, perfoTexts_areTraced_whenTimingIsOn_whateverTheTrace) {
  script().perfoOn();
  callWeb(ZEPCfgWebServices::OldCallWebService, "GET");
  EXPECT_EQ(script().trace(), "ZEPCfgWebServices | <BEGIN WebService>\n"
                              "ZEPCfgWebServices | <END WebService>\n");
  EXPECT_EQ(script().linesWith("erfo"),
            "ZEPCfgTracePerfo(WebService)\nbeginPerfo()\nendPerfo()\n~tracePerfo\n");
}

TEST_F(FrameRecordsTest, perfoTexts_areNotAskedFor_whenTimingIsOff) {
  script().traceOn();
  callWeb(ZEPCfgWebServices::NewCallWebService, "GET");
  EXPECT_EQ(script().linesWith("racePerfo"), "ZEPCfgTracePerfo(WebService)\n~tracePerfo\n");
  EXPECT_EQ(script().count(Op::beginPerfo), 0);
  EXPECT_EQ(script().count(Op::endPerfo), 0);
}

// ---- every platform call fails once by an exception ----

// A call that gives something back stands at the end of a scope, where nothing may be raised.
bool givesBack(Op operation) {
  return operation == Op::ZEPFClose || operation == Op::ReleaseRepository || operation == Op::ReleaseError;
}

const std::vector<Op>& allOperations() {
  static const std::vector<Op> all = {
#define FRAME_OPERATION(name, text) Op::name,
      SCRIPTED_OPERATIONS(FRAME_OPERATION)
#undef FRAME_OPERATION
  };
  return all;
}

TEST_F(FrameRecordsTest, exception_passesThrough_whicheverCallRaisesIt) {
  struct Row {
    int line;
    std::function<void()> prepare;
    std::function<long()> call;
  };
  const auto nothing = [] {};
  const Row rows[] = {
      Row{__LINE__, nothing, [] { return format(stylesheetPath, 1); }},
      Row{__LINE__, nothing, [] { return format("", 0); }},
      Row{__LINE__, [] { script().settings.clear(); }, [] { return format("", 0); }},
      Row{__LINE__, [] { script().fail(Op::Transform, E_ABORT); }, [] { return format(stylesheetPath, 1); }},
      Row{__LINE__, nothing, [] { return callWeb(ZEPCfgWebServices::NewCallWebService, "POST"); }},
      Row{__LINE__, [] { script().answer(503, "busy"); },
          [] { return callWeb(ZEPCfgWebServices::NewCallWebService, "PUT"); }},
      Row{__LINE__,
          [] {
            script().legacy =
                LegacyAnswer{"200", "Transfer-Encoding: chunked", false, "", false, {"one", "two"}, ""};
          },
          [] { return callWeb(ZEPCfgWebServices::OldCallWebService, "GET"); }},
      Row{__LINE__, nothing, buildJsonList},
      Row{__LINE__, nothing, compareFilters},
  };
  // Read once for the process, so that it does not differ between the runs below.
  callWeb(ZEPCfgWebServices::CallWebService, "GET");

  int raised = 0;
  for (const Row& row : rows) {
    SCOPED_TRACE("row at line " + std::to_string(row.line));
    const auto start = [&row] {
      Prepare();
      script().environment["ZEPInstallPath"] = "C:\\a";
      script().lastError = "message";
      script().traceOn();
      script().perfoOn();
      row.prepare();
    };
    start();
    row.call();
    std::vector<int> counts;
    for (const Op operation : allOperations()) {
      counts.push_back(givesBack(operation) ? 0 : script().count(operation));
    }
    endRow();
    for (std::size_t i = 0; i < counts.size(); ++i) {
      for (int nth = 1; nth <= counts[i]; ++nth) {
        SCOPED_TRACE(std::string(nameOf(allOperations()[i])) + ", call " + std::to_string(nth));
        start();
        script().allowUnused(); // what the row injects, when the exception comes first
        script().throwIn(allOperations()[i]).at(nth);
        EXPECT_THROW(row.call(), ScriptedException);
        ++raised;
        EXPECT_THAT(script().trace(), ::testing::EndsWith(" <\n"));
        EXPECT_EQ(script().problems(), "");
      }
    }
  }
  EXPECT_GT(raised, 100);
}

} // namespace
