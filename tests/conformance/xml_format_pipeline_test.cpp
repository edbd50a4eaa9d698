#include "XMLFormatTest.h"

#include <thread>
#include <vector>

// One formatting, call by call: what the platform is asked in which order, what each failure leads
// to, and when objects are released.

using namespace scripted;

namespace {

using XMLFormatPipelineTest = XMLFormatTest;

const Outcome formatted{S_OK, "formatted"};

TEST_F(XMLFormatPipelineTest, format_callsThePlatform_inThisOrder) {
  script().traceOn();
  EXPECT_EQ(Format(), formatted);
  EXPECT_EQ(Log(), UsualLog());
}

TEST_F(XMLFormatPipelineTest, traceOff_changesNoCall_andWritesNothing) {
  EXPECT_EQ(Format(), formatted);
  EXPECT_EQ(script().log(), CallsOf(UsualLog()));
}

TEST_F(XMLFormatPipelineTest, emptyExpression_isSFalse_andAsksThePlatformNothing) {
  script().traceOn();
  EXPECT_EQ(formatExpression("", path, 1), (Outcome{S_FALSE, "as it was"}));
  EXPECT_EQ(Log(), formatEntry +
                       "| in_xmlExpression = []\n"
                       "| in_customXSLFile = [C:\\x.xsl]\n"
                       "| the XML expression is empty\n" +
                       Ending("as it was", S_FALSE));
}

TEST_F(XMLFormatPipelineTest, emptyExpression_writesNothing_whenTheTraceIsOff) {
  EXPECT_EQ(formatExpression("", "", 0), (Outcome{S_FALSE, "as it was"}));
  EXPECT_EQ(script().log(), "");
}

// ---- failures ----

TEST_F(XMLFormatPipelineTest, failure_isReported_andIsTheResult) {
  struct Row {
    int line;
    void (*inject)();
    const char* lastCall;
    std::string log; // from there to the report
    long result;
  };
  const Row rows[] = {
      Row{__LINE__, [] { script().fail(Op::CreateZEPIXMLSAX2Factory, E_ABORT); },
          "CreateZEPIXMLSAX2Factory(CLSID_XML4C_SAX)", errorLines("ERROR: CreateZEPIXMLSAX2Factory failed"),
          E_ABORT},
      Row{__LINE__, [] { script().returns(Op::CreateZEPIXMLSAX2Factory, -123456); },
          "CreateZEPIXMLSAX2Factory(CLSID_XML4C_SAX)",
          errorLines("ERROR: CreateZEPIXMLSAX2Factory failed") + ReleaseSAX2Factory(), -123456},
      Row{__LINE__, [] { script().giveEmpty(Op::CreateZEPIXMLSAX2Factory); },
          "CreateZEPIXMLSAX2Factory(CLSID_XML4C_SAX)", errorLines("ERRROR sax2Factory is null_var"), E_FAIL},

      Row{__LINE__, [] { script().fail(Op::CreateInputSourceFromFile, E_HANDLE); },
          "CreateInputSourceFromFile(C:\\x.xsl, xslSourceId1)",
          errorLines("ERROR: CreateInputSourceFromFile failed") + ReleaseSAX2Factory(), E_HANDLE},
      Row{__LINE__, [] { script().returns(Op::CreateInputSourceFromFile, E_ABORT); },
          "CreateInputSourceFromFile(C:\\x.xsl, xslSourceId1)",
          errorLines("ERROR: CreateInputSourceFromFile failed") + ReleaseXSLSource(), E_ABORT},
      Row{__LINE__, [] { script().giveEmpty(Op::CreateInputSourceFromFile); },
          "CreateInputSourceFromFile(C:\\x.xsl, xslSourceId1)",
          errorLines("ERROR: xslSource is NULL_var") + ReleaseSAX2Factory(), E_FAIL},

      Row{__LINE__, [] { script().fail(Op::CreateInputSourceFromMemoryBuffer, E_OUTOFMEMORY); },
          "CreateInputSourceFromMemoryBuffer(<x/>, inputSourceId1)",
          errorLines("ERROR: CreateInputSourceFromMemoryBuffer failed") + ReleaseXSLSource(), E_OUTOFMEMORY},
      Row{__LINE__, [] { script().returns(Op::CreateInputSourceFromMemoryBuffer, E_ABORT); },
          "CreateInputSourceFromMemoryBuffer(<x/>, inputSourceId1)",
          errorLines("ERROR: CreateInputSourceFromMemoryBuffer failed") + ReleaseInputSource(), E_ABORT},

      Row{__LINE__, [] { script().fail(Op::CreateZEPIXMLXSLFactory, E_NOINTERFACE); },
          "CreateZEPIXMLXSLFactory(CLSID_XSLT_JAVA)",
          errorLines("ERROR: CreateZEPIXMLXSLFactory failed") + ReleaseInputSource(), E_NOINTERFACE},
      Row{__LINE__, [] { script().returns(Op::CreateZEPIXMLXSLFactory, E_ABORT); },
          "CreateZEPIXMLXSLFactory(CLSID_XSLT_JAVA)",
          errorLines("ERROR: CreateZEPIXMLXSLFactory failed") + ReleaseXSLFactory(), E_ABORT},
      Row{__LINE__, [] { script().giveEmpty(Op::CreateZEPIXMLXSLFactory); },
          "CreateZEPIXMLXSLFactory(CLSID_XSLT_JAVA)",
          errorLines("ERROR: xslFactory is NULL_var") + ReleaseInputSource(), E_FAIL},

      Row{__LINE__, [] { script().fail(Op::CreateTransformer, E_ABORT); }, "CreateTransformer(xslSourceId1)",
          errorLines("ERROR: CreateTransformer failed") + ReleaseXSLFactory(), E_ABORT},
      Row{__LINE__, [] { script().returns(Op::CreateTransformer, E_HANDLE); },
          "CreateTransformer(xslSourceId1)",
          errorLines("ERROR: CreateTransformer failed") + ReleaseTransformer(), E_HANDLE},
      Row{__LINE__, [] { script().giveEmpty(Op::CreateTransformer); }, "CreateTransformer(xslSourceId1)",
          errorLines("ERROR: transformer is NULL_var") + ReleaseXSLFactory(), E_FAIL},

      Row{__LINE__, [] { script().fail(Op::CreateZEPIXMLPPFactory, E_ABORT); },
          "CreateZEPIXMLPPFactory(CLSID_XML4C5_PP)",
          errorLines("ERROR: CreateZEPIXMLPPFactory failed") + ReleaseTransformer(), E_ABORT},
      Row{__LINE__, [] { script().returns(Op::CreateZEPIXMLPPFactory, E_UNEXPECTED); },
          "CreateZEPIXMLPPFactory(CLSID_XML4C5_PP)",
          errorLines("ERROR: CreateZEPIXMLPPFactory failed") + ReleasePPFactory(), E_UNEXPECTED},
      Row{__LINE__, [] { script().giveEmpty(Op::CreateZEPIXMLPPFactory); },
          "CreateZEPIXMLPPFactory(CLSID_XML4C5_PP)",
          errorLines("ERROR: ppFactory is NULL_var") + ReleaseTransformer(), E_FAIL},

      Row{__LINE__, [] { script().fail(Op::SetInputSource, E_INVALIDARG); }, "SetInputSource(inputSourceId1)",
          errorLines("ERROR: SetInputSource failed") + ReleasePPFactory(), E_INVALIDARG},
      Row{__LINE__, [] { script().fail(Op::SetOption, E_NOTIMPL); }, "SetOption(OutputFormat, text)",
          errorLines("ERROR: SetOption failed") + ReleasePPFactory(), E_NOTIMPL},

      // The local handle is emptied before the failure is written.
      Row{__LINE__, [] { script().fail(Op::SetOutputSource, E_ABORT); }, "SetOutputSource(outputSource)",
          "~outputSource\n" + errorLines("SetOutputSource failed") + ReleaseBuffer(), E_ABORT},
      Row{__LINE__, [] { script().returns(Op::SetOutputSource, E_POINTER); }, "SetOutputSource(outputSource)",
          errorLines("SetOutputSource failed") + ReleaseBufferAndHeldOutput(), E_POINTER},

      // The output is detached before the failure is written.
      Row{__LINE__, [] { script().fail(Op::Transform, E_ABORT); }, "~outputSource",
          errorLines("Transform failed") + ReleaseBuffer(), E_ABORT},
      Row{__LINE__, [] { script().returns(Op::Transform, E_FAIL); }, "~outputSource",
          errorLines("Transform failed") + ReleaseBuffer(), E_FAIL},
      Row{__LINE__,
          [] {
            script().fail(Op::Transform, E_ABORT);
            script().fail(Op::SetOutputSource, E_HANDLE).at(2);
          },
          "SetOutputSource(null)", errorLines("Transform failed") + ReleaseBufferAndHeldOutput(), E_ABORT},

      Row{__LINE__, [] { script().fail(Op::GetBuffer, E_ABORT); }, "GetBuffer()",
          errorLines("GetBuffer failed") + ReleaseBuffer(), E_ABORT},
      Row{__LINE__, [] { script().returns(Op::GetBuffer, E_OUTOFMEMORY); }, "GetBuffer()",
          errorLines("GetBuffer failed") + ReleaseBuffer(), E_OUTOFMEMORY},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE("row at line " + std::to_string(row.line));
    const std::string log =
        UsualUntil(row.lastCall) + row.log + reportLines(row.result) + Ending("as it was", row.result);
    const Outcome expected{row.result, "as it was"};
    StartTraced();
    row.inject();
    EXPECT_EQ(Format(), expected);
    EXPECT_EQ(Log(), log);
    endRow();

    StartTraced(false);
    row.inject();
    EXPECT_EQ(Format(), expected);
    EXPECT_EQ(script().calls(), CallsOf(log));
    EXPECT_EQ(Trace(), ErrorsOf(log));
    endRow();
  }
}

// Whether there is a source of the expression is the transformer's business.
TEST_F(XMLFormatPipelineTest, emptySourceOfTheExpression_isHandedOn) {
  script().traceOn();
  script().giveEmpty(Op::CreateInputSourceFromMemoryBuffer);
  script().fail(Op::SetInputSource, E_INVALIDARG);
  EXPECT_EQ(Format(), (Outcome{E_INVALIDARG, "as it was"}));
  EXPECT_EQ(Log(), UsualUntil("CreateZEPIXMLPPFactory(CLSID_XML4C5_PP)") + "SetInputSource(null)\n" +
                       errorLines("ERROR: SetInputSource failed") +
                       "~ppFactory\n~transformer\n~xslFactory\n~xslSourceId1\n~sax2Factory\n" +
                       reportLines(E_INVALIDARG) + Ending("as it was", E_INVALIDARG));
}

// ---- quiet ends ----

TEST_F(XMLFormatPipelineTest, missingOutputSource_endsQuietly_withTheCodeOfTheStepBefore) {
  struct Row {
    int line;
    void (*inject)();
    std::string releases;
    long result;
  };
  const Row rows[] = {
      Row{__LINE__, [] { script().fail(Op::CreateOutputSource, E_ABORT); }, ReleaseBuffer(), S_OK},
      Row{__LINE__, [] { script().giveEmpty(Op::CreateOutputSource); }, ReleaseBuffer(), S_OK},
      Row{__LINE__, [] { script().returns(Op::CreateOutputSource, E_FAIL); },
          "~memoryBuffer\n~outputSource\n" + ReleasePPFactory(), S_OK},
      Row{__LINE__,
          [] {
            script().returns(Op::SetOption, S_FALSE);
            script().fail(Op::CreateOutputSource, E_ABORT);
          },
          ReleaseBuffer(), S_FALSE},
      Row{__LINE__,
          [] {
            script().returns(Op::SetOption, 7);
            script().giveEmpty(Op::CreateOutputSource);
          },
          ReleaseBuffer(), 7},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE("row at line " + std::to_string(row.line));
    StartTraced();
    row.inject();
    EXPECT_EQ(Format(), (Outcome{row.result, "as it was"}));
    EXPECT_EQ(Log(), UsualUntil("CreateOutputSource()") + row.releases + Ending("as it was", row.result));
    endRow();
  }
}

// ---- codes that do not count ----

TEST_F(XMLFormatPipelineTest, positiveCodes_areSuccesses_andThatOfGetBufferIsTheResult) {
  struct Row {
    int line;
    Op operation;
    long code;
    long result;
  };
  const Row rows[] = {
      Row{__LINE__, Op::CreateZEPIXMLSAX2Factory, S_FALSE, S_OK},
      Row{__LINE__, Op::CreateInputSourceFromFile, S_FALSE, S_OK},
      Row{__LINE__, Op::CreateInputSourceFromMemoryBuffer, S_FALSE, S_OK},
      Row{__LINE__, Op::CreateZEPIXMLXSLFactory, S_FALSE, S_OK},
      Row{__LINE__, Op::CreateTransformer, S_FALSE, S_OK},
      Row{__LINE__, Op::CreateZEPIXMLPPFactory, S_FALSE, S_OK},
      Row{__LINE__, Op::SetInputSource, S_FALSE, S_OK},
      Row{__LINE__, Op::SetOption, S_FALSE, S_OK},
      Row{__LINE__, Op::CreateOutputSource, S_FALSE, S_OK},
      Row{__LINE__, Op::SetOutputSource, S_FALSE, S_OK},
      Row{__LINE__, Op::SetParameter, S_FALSE, S_OK},
      Row{__LINE__, Op::Transform, S_FALSE, S_OK},
      Row{__LINE__, Op::GetBuffer, S_FALSE, S_FALSE},
      Row{__LINE__, Op::GetBuffer, 7, 7},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE("row at line " + std::to_string(row.line));
    StartTraced();
    script().returns(row.operation, row.code);
    EXPECT_EQ(Format(), (Outcome{row.result, "formatted"}));
    EXPECT_EQ(Log(), Until(UsualLog(), "| out_formattedExpression = [formatted]") + resultLines(row.result));
    endRow();
  }
}

TEST_F(XMLFormatPipelineTest, positiveCodeWithoutAnObject_isAMissingObject) {
  script().fail(Op::CreateTransformer, S_FALSE); // answers the code and makes nothing
  EXPECT_EQ(Format(), (Outcome{E_FAIL, "as it was"}));
  EXPECT_EQ(Trace(), errorLines("ERROR: transformer is NULL_var"));
}

TEST_F(XMLFormatPipelineTest, codesOfParameterAndDetachment_areIgnored) {
  struct Row {
    int line;
    void (*inject)();
    bool outputIsHeld;
  };
  const Row rows[] = {
      Row{__LINE__, [] { script().fail(Op::SetParameter, E_FAIL); }, false},
      Row{__LINE__, [] { script().returns(Op::SetParameter, E_ABORT); }, false},
      Row{__LINE__, [] { script().returns(Op::SetOutputSource, E_FAIL).at(2); }, false},
      Row{__LINE__, [] { script().fail(Op::SetOutputSource, E_ABORT).at(2); }, true},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE("row at line " + std::to_string(row.line));
    StartTraced();
    row.inject();
    EXPECT_EQ(Format(), formatted);
    if (row.outputIsHeld) {
      EXPECT_EQ(Log(), UsualUntil("SetOutputSource(null)") +
                           "GetBuffer()\n| byteArraySize = 20\n| result = [formatted]\n" +
                           ReleaseBufferAndHeldOutput() + Ending("formatted", S_OK));
    } else {
      EXPECT_EQ(Log(), UsualLog());
    }
    endRow();
  }
}

// ---- inputs ----

TEST_F(XMLFormatPipelineTest, compactView_isAParameter_whenItIsNotZero) {
  struct Row {
    int line;
    unsigned char compactView;
    const char* calls;
  };
  const Row rows[] = {
      Row{__LINE__, 0, ""},
      Row{__LINE__, 1, "SetParameter(CompactView, \"\", TRUE)\n"},
      Row{__LINE__, 2, "SetParameter(CompactView, \"\", TRUE)\n"},
      Row{__LINE__, 255, "SetParameter(CompactView, \"\", TRUE)\n"},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE("row at line " + std::to_string(row.line));
    Start();
    EXPECT_EQ(formatExpression("<x/>", path, row.compactView), formatted);
    EXPECT_EQ(script().linesWith("SetParameter"), row.calls);
    EXPECT_EQ(Until(script().calls(), "Transform()"),
              Until(script().calls(), "SetOutputSource(outputSource)") + row.calls + "Transform()\n");
    endRow();
  }
}

TEST_F(XMLFormatPipelineTest, expression_reachesTheParserAsItIs) {
  const char* const expressions[] = {" ", "not XML", "<\xC3\xA9>\xE6\x97\xA5\xF0\x9F\x98\x80</\xC3\xA9>"};
  for (const char* const expression : expressions) {
    SCOPED_TRACE(expression);
    Start();
    EXPECT_EQ(formatExpression(expression, path), formatted);
    const std::string shownExpression = *expression == ' ' ? "\" \"" : expression;
    EXPECT_EQ(script().linesWith("CreateInputSourceFromMemoryBuffer"),
              "CreateInputSourceFromMemoryBuffer(" + shownExpression + ", inputSourceId1)\n");
    endRow();
  }
}

TEST_F(XMLFormatPipelineTest, output_mayBeTheSameObjectAsAnInput) {
  ZEPUnicodeString text = "<x/>";
  EXPECT_EQ(ZEPCfgXMLExpressionServices::FormatExpression(text, text, path, 0), S_OK);
  EXPECT_EQ(text, "formatted");
  text = path;
  EXPECT_EQ(ZEPCfgXMLExpressionServices::FormatExpression("<x/>", text, text, 0), S_OK);
  EXPECT_EQ(text, "formatted");
}

TEST_F(XMLFormatPipelineTest, chain_isBuiltAnew_forEveryCall) {
  script().traceOn();
  for (int call = 0; call < 3; ++call) {
    EXPECT_EQ(Format(), formatted);
    EXPECT_EQ(Log(), UsualLog());
    EXPECT_EQ(script().liveObjects(), "");
    script().clearLog();
  }
}

TEST_F(XMLFormatPipelineTest, calls_mayRunOnSeveralThreads) {
  constexpr int threadCount = 4;
  constexpr int callsPerThread = 50;
  std::vector<int> good(threadCount);
  std::vector<std::thread> threads;
  for (int i = 0; i < threadCount; ++i) {
    threads.emplace_back([&count = good[static_cast<std::size_t>(i)]] {
      for (int call = 0; call < callsPerThread; ++call) {
        count += Format() == formatted ? 1 : 0;
      }
    });
  }
  for (std::thread& thread : threads) {
    thread.join();
  }
  EXPECT_EQ(good, std::vector<int>(threadCount, callsPerThread));
}

// After a nested operation no method is named, until the next operation.
TEST_F(XMLFormatPipelineTest, methodName_isGone_afterANestedOperation) {
  script().traceOn();
  Format();
  std::string methods;
  for (const TraceRecord& record : script().records()) {
    const std::size_t colons = record.method.find("::");
    const std::string name = record.method.empty()
                                 ? "none"
                                 : record.method.substr(colons + 2, record.method.find('(') - colons - 2);
    methods += name + ": " + (record.level == 0 ? record.text : record.level == 1 ? "entry" : "exit") + "\n";
  }
  EXPECT_EQ(methods, "FormatExpression: entry\n"
                     "FormatExpression: in_xmlExpression = [<x/>]\n"
                     "FormatExpression: in_customXSLFile = [C:\\x.xsl]\n"
                     "FormatExpression: XSLTFilePath = [C:\\x.xsl]\n"
                     "FormatExpression: XSLTFilePath = [C:\\x.xsl]\n"
                     "IsEncodingUTF16: entry\n"
                     "IsEncodingUTF16: in_XSLFilePath = [C:\\x.xsl]\n"
                     "IsEncodingUTF16: rc = S_OK\n"
                     "IsEncodingUTF16: exit\n"
                     "none: byteArraySize = 20\n"
                     "none: result = [formatted]\n"
                     "none: out_formattedExpression = [formatted]\n"
                     "none: rc = S_OK\n"
                     "none: exit\n");
}

} // namespace
