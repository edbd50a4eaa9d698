#include "XMLFormatTest.h"

// An exception from any call of a formatting: it passes through, everything that there is by then
// is released in order, and the exit record is written.

using namespace scripted;

namespace {

class XMLFormatExceptionTest : public XMLFormatTest {
protected:
  // Expects the exception that was injected; the output stays as it was.
  static void ExpectException(const char* customFile) {
    ZEPUnicodeString text = "as it was";
    EXPECT_THROW(ZEPCfgXMLExpressionServices::FormatExpression("<x/>", text, customFile, 1),
                 ScriptedException);
    EXPECT_EQ(text, "as it was");
  }
};

TEST_F(XMLFormatExceptionTest, pipeline_isReleasedInOrder_whicheverCallRaises) {
  struct Row {
    int line;
    Op operation;
    int call;
    const char* lastCall;
    std::string log; // from there to the exit
  };
  const std::string leave = "exit\n<\n"; // the encoding check, before the formatting
  const Row rows[] = {
      Row{__LINE__, Op::ZEPGetFileInfo, 1, "ZEPGetFileInfo(C:\\x.xsl)", ""},
      Row{__LINE__, Op::CreateZEPIXMLSAX2Factory, 1, "CreateZEPIXMLSAX2Factory(CLSID_XML4C_SAX)", ""},
      Row{__LINE__, Op::ZEPFOpen, 1, "ZEPFOpen(C:\\x.xsl, r)", leave + ReleaseSAX2Factory()},
      Row{__LINE__, Op::ZEPFEof, 1, "ZEPFEof(11)", "ZEPFClose(11)\n" + leave + ReleaseSAX2Factory()},
      Row{__LINE__, Op::ZEPFGets, 1, "ZEPFGets(1024, 11)", "ZEPFClose(11)\n" + leave + ReleaseSAX2Factory()},
      Row{__LINE__, Op::CreateInputSourceFromFile, 1, "CreateInputSourceFromFile(C:\\x.xsl, xslSourceId1)",
          ReleaseSAX2Factory()},
      Row{__LINE__, Op::CreateInputSourceFromMemoryBuffer, 1,
          "CreateInputSourceFromMemoryBuffer(<x/>, inputSourceId1)", ReleaseXSLSource()},
      Row{__LINE__, Op::CreateZEPIXMLXSLFactory, 1, "CreateZEPIXMLXSLFactory(CLSID_XSLT_JAVA)",
          ReleaseInputSource()},
      Row{__LINE__, Op::CreateTransformer, 1, "CreateTransformer(xslSourceId1)", ReleaseXSLFactory()},
      Row{__LINE__, Op::CreateZEPIXMLPPFactory, 1, "CreateZEPIXMLPPFactory(CLSID_XML4C5_PP)",
          ReleaseTransformer()},
      Row{__LINE__, Op::SetInputSource, 1, "SetInputSource(inputSourceId1)", ReleasePPFactory()},
      Row{__LINE__, Op::SetOption, 1, "SetOption(OutputFormat, text)", ReleasePPFactory()},
      Row{__LINE__, Op::ZEPXMLPPMemoryBuffer, 1, "ZEPXMLPPMemoryBuffer(1024)", ReleasePPFactory()},
      Row{__LINE__, Op::CreateOutputSource, 1, "CreateOutputSource()", ReleaseBuffer()},
      Row{__LINE__, Op::SetOutputSource, 1, "SetOutputSource(outputSource)",
          "~memoryBuffer\n~outputSource\n" + ReleasePPFactory()},
      Row{__LINE__, Op::SetParameter, 1, "SetParameter(CompactView, \"\", TRUE)",
          ReleaseBufferAndHeldOutput()},
      Row{__LINE__, Op::Transform, 1, "Transform()", ReleaseBufferAndHeldOutput()},
      Row{__LINE__, Op::SetOutputSource, 2, "SetOutputSource(null)", ReleaseBufferAndHeldOutput()},
      Row{__LINE__, Op::GetBuffer, 1, "GetBuffer()", ReleaseBuffer()},
  };
  Format();
  std::set<Op> untried = CalledOperations();
  untried.erase(Op::ZEPFClose); // the file is then still open: the fault matrix looks at it
  for (const Row& row : rows) {
    SCOPED_TRACE("row at line " + std::to_string(row.line));
    StartTraced();
    script().throwIn(row.operation).at(row.call);
    ExpectException(path);
    EXPECT_EQ(Log(), UsualUntil(row.lastCall) + row.log + "exit\n<\n");
    EXPECT_EQ(script().records().back().line, script().records().front().line);
    EXPECT_EQ(script().records().back().file, std::nullopt);
    untried.erase(row.operation);
    endRow();

    StartTraced(false);
    script().throwIn(row.operation).at(row.call);
    ExpectException(path);
    EXPECT_EQ(script().trace(), "");
    EXPECT_EQ(Format(), (Outcome{S_OK, "formatted"})) << "the next call";
    endRow();
  }
  EXPECT_EQ(untried, std::set<Op>());
}

TEST_F(XMLFormatExceptionTest, choiceAndReport_areLeftInOrder_whicheverCallRaises) {
  struct Row {
    int line;
    Op operation;
    int call;
    std::string log; // from the call to the exit
  };
  const std::string setting = "C:\\setting.xsl";
  const std::string release = "ReleaseRepository()\n~repository\n";
  const std::string roots = "\\resources\\xsl\\CfgEffectivityDisplay.xsl, 0)\n";
  const Row rows[] = {
      Row{__LINE__, Op::IsATSTProvider, 1, "IsATSTProvider()\nexit\n<\n"},
      Row{__LINE__, Op::JsonParse, 1, "ZEPOmxJson::parse(text)\nexit\n<\n"},
      Row{__LINE__, Op::GetRepository, 1, "GetRepository(EffeCustoFilePathSetting, 0)\n"},
      Row{__LINE__, Op::ReadAttr, 1, "ReadAttr(EffCustoPath)\n" + release},
      Row{__LINE__, Op::ZEPExpandString, 1, release + "ZEPExpandString(" + setting + ")\n"},
      Row{__LINE__, Op::ZEPFileStat, 1, "ZEPFileStat(" + setting + ", 0)\n"},
      Row{__LINE__, Op::ZEPGetEnv, 1, "ZEPGetEnv(ZEPInstallPath)\n"},
      Row{__LINE__, Op::GetBranchingVar, 1, "GetBranchingVar()\n"},
      Row{__LINE__, Op::ZEPFileStat, 2, "ZEPFileStat(C:\\a" + roots},
      Row{__LINE__, Op::ZEPFileStat, 3, "ZEPFileStat(C:\\b" + roots},
      Row{__LINE__, Op::ZEPGetLastError, 1, "ZEPGetLastError(E_ABORT, null)\n"},
      Row{__LINE__, Op::GetMessageText, 1, "GetMessageText()\nReleaseError()\n~error\n"},
      Row{__LINE__, Op::ZEPCleanLastError, 1, "~error\nZEPCleanLastError()\n"},
  };
  // The server's answer does not parse, and neither setting nor installation has a file.
  const auto start = [&setting] {
    script().reset();
    script().answer(200, "text");
    script().fail(Op::JsonParse, E_ABORT);
    script().settings["EffeCustoFilePathSetting"]["EffCustoPath"] = setting.c_str();
    script().environment["ZEPInstallPath"] = "C:\\a;C:\\b";
    script().lastError = "why";
    script().traceOn();
  };
  start();
  EXPECT_EQ(formatExpression("<x/>", ""), (Outcome{E_ABORT, "as it was"}));
  std::set<Op> untried = CalledOperations();
  endRow();
  for (const Row& row : rows) {
    SCOPED_TRACE("row at line " + std::to_string(row.line));
    start();
    script().allowUnused(); // what would have failed, had the exception not come first
    script().throwIn(row.operation).at(row.call);
    ExpectException("");
    const std::string end = row.log + "exit\n<\n";
    EXPECT_TRUE(Log().ends_with("\n" + end)) << Log() << "does not end with\n" << end;
    EXPECT_EQ(script().records().back().line, script().records().front().line);
    EXPECT_EQ(script().records().back().file, std::nullopt);
    untried.erase(row.operation);
    endRow();
  }
  // The web service's own calls are tried elsewhere, and what gives something back raises nothing.
  for (const Op operation : untried) {
    const bool isOfTheWebService =
        (operation >= Op::CreateStringEntity && operation <= Op::IOUtilsToString) ||
        operation == Op::GetCurrentContext || operation == Op::QRLSysTSGetArg ||
        operation == Op::ZEPCfgTracePerfo;
    EXPECT_TRUE(isOfTheWebService || operation == Op::ReleaseRepository || operation == Op::ReleaseError)
        << nameOf(operation);
  }
}

} // namespace
