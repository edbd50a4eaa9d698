#include "XMLFormatTest.h"

// Formatting with the server's stylesheet, a text in memory. The text is kept for the life of the
// process, so each test has the server supply its own.

using namespace scripted;

namespace {

class XMLFormatServerTextTest : public XMLFormatTest {
protected:
  static Outcome FormatWithServersText() { return formatExpression("<x/>", "", 1); }

  static std::string StartOfLog() {
    return formatEntry +
           "| in_xmlExpression = [<x/>]\n"
           "| in_customXSLFile = []\n"
           "| XSLTFilePath = []\n" +
           fetchEntry + "IsATSTProvider()\n";
  }

  // Once the text is kept; `text` as the trace and the calls show it.
  static std::string KeptLog(const std::string& text = "server stylesheet") {
    return StartOfLog() + "| ioUstrXSLTFileContents = [" + text + "]\n" + resultLines(S_OK) +
           "CreateZEPIXMLSAX2Factory(CLSID_XML4C_SAX)\n"
           "CreateInputSourceFromMemoryBuffer(" +
           text + ", xslSourceId1)\n" + UsualPipeline() +
           "GetBuffer()\n"
           "| byteArraySize = 20\n"
           "| result = [formatted]\n" +
           ReleaseBuffer() + Ending("formatted", S_OK);
  }
};

const Outcome formatted{S_OK, "formatted"};

TEST_F(XMLFormatServerTextTest, serversText_isParsedFromMemory_andIsNotChecked) {
  script().traceOn();
  EXPECT_EQ(FormatWithServersText(), formatted);
  EXPECT_EQ(Trace(), formatEntry +
                         "| in_xmlExpression = [<x/>]\n"
                         "| in_customXSLFile = []\n"
                         "| XSLTFilePath = []\n" +
                         fetchEntry +
                         "| call the webservice "
                         "/resources/modeler/configuration/navigationServices/getConfiguredExpressionXSLT/\n"
                         "| If the outJson is empty, then return S_OK\n"
                         "| Read the Json and assert it's valid\n" +
                         parseEntry + resultLines(S_OK) + "| ioUstrXSLTFileContents = [server stylesheet]\n" +
                         resultLines(S_OK) +
                         "| byteArraySize = 20\n"
                         "| result = [formatted]\n" +
                         Ending("formatted", S_OK));
  EXPECT_EQ(script().count(Op::ZEPFOpen), 0);
  script().clearLog();
  EXPECT_EQ(FormatWithServersText(), formatted);
  EXPECT_EQ(Log(), KeptLog());
}

TEST_F(XMLFormatServerTextTest, output_isUTF16_whateverTheTextSays) {
  const std::string text = "<xsl:output encoding='UTF-8'/>";
  script().json = jsonObject({{"xslt", jsonObject({{"content", jsonText(text)}})}});
  EXPECT_EQ(FormatWithServersText(), formatted);
  StartTraced();
  EXPECT_EQ(FormatWithServersText(), formatted);
  EXPECT_EQ(Log(), KeptLog(text));
  script().transformBytes = "xyab";
  EXPECT_EQ(FormatWithServersText(), (Outcome{S_OK, "\xE6\x89\xA1"}));
}

TEST_F(XMLFormatServerTextTest, failureOfItsSource_isReported_andIsTheResult) {
  struct Row {
    int line;
    void (*inject)();
    const char* lastCall;
    std::string log; // from there to the report
    long result;
  };
  const char* const stylesheet = "CreateInputSourceFromMemoryBuffer(server stylesheet, xslSourceId1)";
  const char* const expression = "CreateInputSourceFromMemoryBuffer(<x/>, inputSourceId1)";
  const Row rows[] = {
      Row{__LINE__, [] { script().fail(Op::CreateInputSourceFromMemoryBuffer, E_ABORT).at(1); }, stylesheet,
          errorLines("ERROR: CreateInputSourceFromMemoryBuffer failed") + ReleaseSAX2Factory(), E_ABORT},
      Row{__LINE__, [] { script().returns(Op::CreateInputSourceFromMemoryBuffer, -123456).at(1); },
          stylesheet, errorLines("ERROR: CreateInputSourceFromMemoryBuffer failed") + ReleaseXSLSource(),
          -123456},
      Row{__LINE__, [] { script().giveEmpty(Op::CreateInputSourceFromMemoryBuffer).at(1); }, stylesheet,
          errorLines("ERROR: xslSource is NULL_var") + ReleaseSAX2Factory(), E_FAIL},
      Row{__LINE__, [] { script().fail(Op::CreateInputSourceFromMemoryBuffer, E_HANDLE).at(2); }, expression,
          errorLines("ERROR: CreateInputSourceFromMemoryBuffer failed") + ReleaseXSLSource(), E_HANDLE},
  };
  EXPECT_EQ(FormatWithServersText(), formatted);
  for (const Row& row : rows) {
    SCOPED_TRACE("row at line " + std::to_string(row.line));
    const std::string log =
        Until(KeptLog(), row.lastCall) + row.log + reportLines(row.result) + Ending("as it was", row.result);
    StartTraced();
    row.inject();
    EXPECT_EQ(FormatWithServersText(), (Outcome{row.result, "as it was"}));
    EXPECT_EQ(Log(), log);
    endRow();

    StartTraced(false);
    row.inject();
    EXPECT_EQ(FormatWithServersText(), (Outcome{row.result, "as it was"}));
    EXPECT_EQ(script().calls(), CallsOf(log));
    EXPECT_EQ(Trace(), ErrorsOf(log));
    endRow();
  }
}

TEST_F(XMLFormatServerTextTest, positiveCodeOfItsSource_isASuccess) {
  EXPECT_EQ(FormatWithServersText(), formatted);
  StartTraced();
  script().returns(Op::CreateInputSourceFromMemoryBuffer, S_FALSE).at(1);
  EXPECT_EQ(FormatWithServersText(), formatted);
  EXPECT_EQ(Log(), KeptLog());
}

} // namespace
