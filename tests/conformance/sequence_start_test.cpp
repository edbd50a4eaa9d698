#include "SequenceTest.h"

// The start and the end of a formatting sequence: what is made, kept and given back.

using namespace scripted;

namespace {

using SequenceStartTest = SequenceTest;

TEST_F(SequenceStartTest, start_callsThePlatform_inThisOrder) {
  script().traceOn();
  EXPECT_EQ(startSequence(path), S_OK);
  EXPECT_EQ(Log(), UsualOpening());
  EXPECT_EQ(script().liveObjects(), KeptObjects());
}

TEST_F(SequenceStartTest, traceOff_changesNoCall_andWritesNothing) {
  EXPECT_EQ(startSequence(path), S_OK);
  EXPECT_EQ(script().log(), CallsOf(UsualOpening()));
  script().clearLog();
  EXPECT_EQ(endSequence(), S_OK);
  EXPECT_EQ(script().log(), "~ppFactory\n~sax2Factory\n~transformer\n~xslFactory\n~xslSourceId1\n");
}

// ---- the end ----

TEST_F(SequenceStartTest, end_releasesInThisOrder_andMayBeRepeated) {
  Open();
  EXPECT_EQ(endSequence(), S_OK);
  EXPECT_EQ(Log(), UsualEnd("~ppFactory\n~sax2Factory\n~transformer\n~xslFactory\n~xslSourceId1\n"));
  EXPECT_EQ(script().liveObjects(), "");
  script().clearLog();
  EXPECT_EQ(endSequence(), S_OK);
  EXPECT_EQ(Log(), UsualEnd(""));
}

TEST_F(SequenceStartTest, end_isHarmless_withoutAStart) {
  script().traceOn();
  EXPECT_EQ(endSequence(), S_OK);
  EXPECT_EQ(Log(), UsualEnd(""));
}

TEST_F(SequenceStartTest, transformer_holdsTheLastExpression_untilTheEnd) {
  Open();
  EXPECT_EQ(formatNext("<x/>"), (Outcome{S_OK, "formatted"}));
  script().clearLog();
  EXPECT_EQ(endSequence(), S_OK);
  EXPECT_EQ(Log(), UsualEnd("~ppFactory\n~sax2Factory\n~transformer\n~inputSourceId1\n~xslFactory\n"
                            "~xslSourceId1\n"));
}

TEST_F(SequenceStartTest, secondStart_makesEverythingAnew_andTheOldObjectsDie) {
  Open();
  EXPECT_EQ(startSequence(path), S_OK);
  std::string expected = UsualOpening();
  const auto dies = [&expected](const std::string& call, const std::string& object) {
    const std::size_t at = expected.find(call + "\n");
    ASSERT_NE(at, std::string::npos) << call;
    expected.insert(at + call.size() + 1, "~" + object + "\n");
  };
  dies("CreateZEPIXMLSAX2Factory(CLSID_XML4C_SAX)", "sax2Factory");
  dies("CreateInputSourceFromFile(C:\\x.xsl, xslSourceId1)", "xslSourceId1");
  dies("CreateZEPIXMLXSLFactory(CLSID_XSLT_JAVA)", "xslFactory");
  dies("CreateTransformer(xslSourceId1)", "transformer");
  dies("CreateZEPIXMLPPFactory(CLSID_XML4C5_PP)", "ppFactory");
  EXPECT_EQ(Log(), expected);
  EXPECT_EQ(script().liveObjects(), KeptObjects());
  EXPECT_EQ(formatNext("<x/>"), (Outcome{S_OK, "formatted"}));
}

TEST_F(SequenceStartTest, oneShotFormatting_neverTouchesTheKeptObjects) {
  Open();
  EXPECT_EQ(Format(), (Outcome{S_OK, "formatted"}));
  EXPECT_EQ(Log(), UsualLog());
  EXPECT_EQ(script().liveObjects(), KeptObjects());
  EXPECT_EQ(formatNext("<x/>"), (Outcome{S_OK, "formatted"}));
}

// ---- failures ----

struct FailureRow {
  int line;
  void (*inject)();
  const char* lastCall;
  const char* error;
  long result;
  const char* kept;
};

TEST_F(SequenceStartTest, failure_isReported_andWhatWasMadeStays) {
  const char* const sax2 = "CreateZEPIXMLSAX2Factory(CLSID_XML4C_SAX)";
  const char* const file = "CreateInputSourceFromFile(C:\\x.xsl, xslSourceId1)";
  const char* const xsl = "CreateZEPIXMLXSLFactory(CLSID_XSLT_JAVA)";
  const char* const transformer = "CreateTransformer(xslSourceId1)";
  const char* const pp = "CreateZEPIXMLPPFactory(CLSID_XML4C5_PP)";
  const char* const option = "SetOption(OutputFormat, text)";
  const std::string all = KeptObjects();
  const FailureRow rows[] = {
      FailureRow{__LINE__, [] { script().fail(Op::CreateZEPIXMLSAX2Factory, E_ABORT); }, sax2,
                 "ERROR: CreateZEPIXMLSAX2Factory failed", E_ABORT, ""},
      FailureRow{__LINE__, [] { script().returns(Op::CreateZEPIXMLSAX2Factory, -123456); }, sax2,
                 "ERROR: CreateZEPIXMLSAX2Factory failed", -123456, "sax2Factory\n"},
      FailureRow{__LINE__, [] { script().giveEmpty(Op::CreateZEPIXMLSAX2Factory); }, sax2,
                 "ERRROR m_sax2Factory is null_var", E_FAIL, ""},

      FailureRow{__LINE__, [] { script().fail(Op::CreateInputSourceFromFile, E_HANDLE); }, file,
                 "ERROR: CreateInputSourceFromFile failed", E_HANDLE, "sax2Factory\n"},
      FailureRow{__LINE__, [] { script().returns(Op::CreateInputSourceFromFile, E_ABORT); }, file,
                 "ERROR: CreateInputSourceFromFile failed", E_ABORT, "sax2Factory\nxslSourceId1\n"},
      FailureRow{__LINE__, [] { script().giveEmpty(Op::CreateInputSourceFromFile); }, file,
                 "ERROR: m_xslSource is NULL_var", E_FAIL, "sax2Factory\n"},

      FailureRow{__LINE__, [] { script().fail(Op::CreateZEPIXMLXSLFactory, E_NOINTERFACE); }, xsl,
                 "ERROR: CreateZEPIXMLXSLFactory failed", E_NOINTERFACE, "sax2Factory\nxslSourceId1\n"},
      FailureRow{__LINE__, [] { script().returns(Op::CreateZEPIXMLXSLFactory, E_ABORT); }, xsl,
                 "ERROR: CreateZEPIXMLXSLFactory failed", E_ABORT, "sax2Factory\nxslSourceId1\nxslFactory\n"},
      FailureRow{__LINE__, [] { script().giveEmpty(Op::CreateZEPIXMLXSLFactory); }, xsl,
                 "ERROR: m_xslFactory is NULL_var", E_FAIL, "sax2Factory\nxslSourceId1\n"},

      FailureRow{__LINE__, [] { script().fail(Op::CreateTransformer, E_ABORT); }, transformer,
                 "ERROR: CreateTransformer failed", E_ABORT, "sax2Factory\nxslSourceId1\nxslFactory\n"},
      FailureRow{__LINE__, [] { script().returns(Op::CreateTransformer, E_HANDLE); }, transformer,
                 "ERROR: CreateTransformer failed", E_HANDLE,
                 "sax2Factory\nxslSourceId1\nxslFactory\ntransformer\n"},
      FailureRow{__LINE__, [] { script().giveEmpty(Op::CreateTransformer); }, transformer,
                 "ERROR: m_transformer is NULL_var", E_FAIL, "sax2Factory\nxslSourceId1\nxslFactory\n"},

      FailureRow{__LINE__, [] { script().fail(Op::CreateZEPIXMLPPFactory, E_ABORT); }, pp,
                 "ERROR: CreateZEPIXMLPPFactory failed", E_ABORT,
                 "sax2Factory\nxslSourceId1\nxslFactory\ntransformer\n"},
      FailureRow{__LINE__, [] { script().returns(Op::CreateZEPIXMLPPFactory, E_UNEXPECTED); }, pp,
                 "ERROR: CreateZEPIXMLPPFactory failed", E_UNEXPECTED, all.c_str()},
      FailureRow{__LINE__, [] { script().giveEmpty(Op::CreateZEPIXMLPPFactory); }, pp,
                 "ERROR: m_ppFactory is NULL_var", E_FAIL,
                 "sax2Factory\nxslSourceId1\nxslFactory\ntransformer\n"},

      FailureRow{__LINE__, [] { script().fail(Op::SetOption, E_NOTIMPL); }, option, "ERROR: SetOption failed",
                 E_NOTIMPL, all.c_str()},
      FailureRow{__LINE__, [] { script().returns(Op::SetOption, E_FAIL); }, option, "ERROR: SetOption failed",
                 E_FAIL, all.c_str()},
  };
  for (const FailureRow& row : rows) {
    SCOPED_TRACE("row at line " + std::to_string(row.line));
    const std::string log = Until(UsualOpening(), row.lastCall) + errorLines(row.error) +
                            reportLines(row.result) + resultLines(row.result);
    for (const bool traced : {true, false}) {
      StartTraced(traced);
      row.inject();
      EXPECT_EQ(startSequence(path), row.result);
      if (traced) {
        EXPECT_EQ(Log(), log);
      } else {
        EXPECT_EQ(script().calls(), CallsOf(log));
        EXPECT_EQ(Trace(), ErrorsOf(log));
      }
      EXPECT_EQ(script().liveObjects(), row.kept);
      EXPECT_EQ(endSequence(), S_OK);
      EXPECT_EQ(script().liveObjects(), "");
      CloseRow();
    }
  }
}

TEST_F(SequenceStartTest, failedStart_onAnOpenSequence_keepsTheRestOfTheOldOne) {
  Open();
  script().fail(Op::CreateTransformer, E_ABORT);
  EXPECT_EQ(startSequence(path), E_ABORT);
  EXPECT_EQ(script().liveObjects(), "ppFactory\nsax2Factory\nxslSourceId1\nxslFactory\n");
}

// What stands in the handles by then is all that an expression can use.
TEST_F(SequenceStartTest, expression_afterAFailedStart_usesWhatThereIs) {
  struct Row {
    int line;
    Op failing;
    const char* calls;
    bool raises;
  };
  const Row rows[] = {
      Row{__LINE__, Op::CreateZEPIXMLSAX2Factory, "ZEPXMLPPMemoryBuffer(1024)\n~memoryBuffer\n", true},
      Row{__LINE__, Op::CreateTransformer,
          "ZEPXMLPPMemoryBuffer(1024)\nCreateInputSourceFromMemoryBuffer(<x/>, inputSourceId1)\n"
          "~memoryBuffer\n~inputSourceId1\n",
          true},
      Row{__LINE__, Op::CreateZEPIXMLPPFactory,
          "ZEPXMLPPMemoryBuffer(1024)\nCreateInputSourceFromMemoryBuffer(<x/>, inputSourceId1)\n"
          "SetInputSource(inputSourceId1)\n~memoryBuffer\n",
          true},
      Row{__LINE__, Op::SetOption, nullptr, false},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE("row at line " + std::to_string(row.line));
    Start();
    script().fail(row.failing, E_ABORT);
    EXPECT_EQ(startSequence(path), E_ABORT);
    script().clearLog();
    if (row.raises) {
      EXPECT_THROW(formatNext("<x/>"), ZEPErrorNullVar);
      EXPECT_EQ(script().calls(), row.calls);
    } else {
      EXPECT_EQ(formatNext("<x/>"), (Outcome{S_OK, "formatted"}));
    }
    CloseRow();
  }
}

TEST_F(SequenceStartTest, positiveCodes_areSuccesses_andThatOfTheOptionIsTheResult) {
  struct Row {
    int line;
    Op operation;
    long code;
    long result;
  };
  const Row rows[] = {
      Row{__LINE__, Op::CreateZEPIXMLSAX2Factory, S_FALSE, S_OK},
      Row{__LINE__, Op::CreateInputSourceFromFile, 7, S_OK},
      Row{__LINE__, Op::CreateZEPIXMLXSLFactory, S_FALSE, S_OK},
      Row{__LINE__, Op::CreateTransformer, S_FALSE, S_OK},
      Row{__LINE__, Op::CreateZEPIXMLPPFactory, S_FALSE, S_OK},
      Row{__LINE__, Op::SetOption, S_FALSE, S_FALSE},
      Row{__LINE__, Op::SetOption, 7, 7},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE("row at line " + std::to_string(row.line));
    StartTraced();
    script().returns(row.operation, row.code);
    EXPECT_EQ(startSequence(path), row.result);
    EXPECT_EQ(Log(), Until(UsualOpening(), "SetOption(OutputFormat, text)") + resultLines(row.result));
    CloseRow();
  }
}

TEST_F(SequenceStartTest, report_showsWhatThePlatformSays_andHasItForgotten) {
  StartTraced();
  script().fail(Op::SetOption, E_ABORT);
  script().lastError = "why";
  EXPECT_EQ(startSequence(path), E_ABORT);
  EXPECT_EQ(Log(), Until(UsualOpening(), "SetOption(OutputFormat, text)") +
                       errorLines("ERROR: SetOption failed") +
                       "ZEPGetLastError(E_ABORT, null)\nGetMessageText()\nReleaseError()\n~error\n"
                       "ZEPCleanLastError()\n| message = [XSLTProcessor has failed:\\nwhy]\n" +
                       resultLines(E_ABORT));
  EXPECT_EQ(script().lastError, std::nullopt);
}

// ---- choice of the stylesheet ----

const std::string openingWithoutFile = startEntry + "| in_customXSLFile = []\n"
                                                    "| XSLTFilePath = []\n";

TEST_F(SequenceStartTest, noStylesheet_isASuccess_withoutObjects) {
  struct Row {
    int line;
    void (*prepare)();
    long result;
  };
  const Row rows[] = {
      Row{__LINE__, [] { script().atstProvider = true; }, S_FALSE},
      Row{__LINE__, [] { script().answer(200, ""); }, S_OK},
      Row{__LINE__, [] { script().json = jsonObject({}); }, S_OK},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE("row at line " + std::to_string(row.line));
    StartTraced();
    row.prepare();
    EXPECT_EQ(startSequence(""), row.result);
    const std::string end = "| ioUstrXSLTFileContents = []\n" + resultLines(row.result) +
                            "GetRepository(EffeCustoFilePathSetting, 0)\nZEPGetEnv(ZEPInstallPath)\n" +
                            resultLines(row.result);
    EXPECT_TRUE(Log().starts_with(openingWithoutFile + fetchEntry + "IsATSTProvider()\n")) << Log();
    EXPECT_TRUE(Log().ends_with(end)) << Log();
    EXPECT_EQ(script().linesWith("CreateZEP"), "");
    EXPECT_EQ(script().linesWith("LastError"), "");
    EXPECT_EQ(script().liveObjects(), "");
    EXPECT_THROW(formatNext("<x/>"), ZEPErrorNullVar);
    CloseRow();
  }
}

TEST_F(SequenceStartTest, noStylesheet_leavesAnOpenSequenceAsItIs) {
  Open();
  script().atstProvider = true;
  EXPECT_EQ(startSequence(""), S_FALSE);
  EXPECT_EQ(script().liveObjects(), KeptObjects());
  EXPECT_EQ(formatNext("<x/>"), (Outcome{S_OK, "formatted"}));
}

TEST_F(SequenceStartTest, serversFailure_endsTheStart_whateverElseThereIs) {
  struct Row {
    int line;
    void (*prepare)();
    long code;
    std::string errors;
  };
  const std::string callFailed = errorLines("ERROR: CallWebService failed");
  const Row rows[] = {
      Row{__LINE__, [] { script().fail(Op::Execute, E_ABORT); }, E_ABORT, callFailed},
      Row{__LINE__, [] { script().answer(404, ""); }, ZEP_E_HTTP_NOT_FOUND, callFailed},
      Row{__LINE__, [] { script().fail(Op::JsonParse, E_INVALIDARG); }, E_INVALIDARG, ""},
      Row{__LINE__, [] { script().fail(Op::GetValue, E_ABORT); }, E_ABORT, ""},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE("row at line " + std::to_string(row.line));
    for (const bool traced : {true, false}) {
      StartTraced(traced);
      script().settings["EffeCustoFilePathSetting"]["EffCustoPath"] = "C:\\s.xsl";
      script().files["C:\\s.xsl"] = "<xsl:output/>";
      row.prepare();
      EXPECT_EQ(startSequence("C:\\none.xsl"), row.code);
      if (traced) {
        const std::string end = "| ioUstrXSLTFileContents = []\n" + resultLines(row.code) +
                                errorLines("ERROR: GetConfigExpressionXSLT failed") + reportLines(row.code) +
                                resultLines(row.code);
        EXPECT_TRUE(Log().ends_with(end)) << Log();
      } else {
        EXPECT_EQ(Trace(), row.errors + errorLines("ERROR: GetConfigExpressionXSLT failed"));
      }
      EXPECT_EQ(script().count(Op::GetRepository), 0);
      EXPECT_EQ(script().linesWith("CreateZEP"), "");
      EXPECT_EQ(script().liveObjects(), "");
      CloseRow();
    }
  }
}

// A failure to read the answer ends the start even where a text was read; the text is kept then.
TEST_F(SequenceStartTest, serversFailure_counts_evenWhenThereIsAText) {
  script().returns(Op::GetValue, E_ABORT).once();
  EXPECT_EQ(startSequence(""), E_ABORT);
  EXPECT_EQ(Trace(), errorLines("ERROR: GetConfigExpressionXSLT failed"));
  EXPECT_EQ(script().liveObjects(), "");
  EXPECT_EQ(startSequence(""), S_OK);
  EXPECT_EQ(script().liveObjects(), KeptObjects());
}

TEST_F(SequenceStartTest, settingThatSaysDebug_makesTheStartFail) {
  for (const bool traced : {true, false}) {
    StartTraced(traced);
    script().atstProvider = true;
    script().settings["EffeCustoFilePathSetting"]["EffCustoPath"] = "debug";
    EXPECT_EQ(startSequence(""), E_FAIL);
    const std::string log = openingWithoutFile + fetchEntry +
                            "IsATSTProvider()\n| ioUstrXSLTFileContents = []\n" + resultLines(S_FALSE) +
                            "GetRepository(EffeCustoFilePathSetting, 0)\nReadAttr(EffCustoPath)\n"
                            "ReleaseRepository()\n~repository\nZEPExpandString(debug)\n" +
                            errorLines("no format for debug") + reportLines(E_FAIL) + resultLines(E_FAIL);
    if (traced) {
      EXPECT_EQ(Log(), log);
    } else {
      EXPECT_EQ(script().calls(), CallsOf(log));
      EXPECT_EQ(Trace(), ErrorsOf(log));
    }
    EXPECT_EQ(script().liveObjects(), "");
    CloseRow();
  }
}

TEST_F(SequenceStartTest, otherFiles_areUsed_whenThereIsNoneOfTheCaller) {
  struct Row {
    int line;
    void (*prepare)();
    const char* file;
  };
  const Row rows[] = {
      Row{__LINE__,
          [] {
            script().settings["EffeCustoFilePathSetting"]["EffCustoPath"] = "C:\\s.xsl";
            script().files["C:\\s.xsl"] = "<xsl:output/>";
          },
          "C:\\s.xsl"},
      Row{__LINE__,
          [] {
            script().environment["ZEPInstallPath"] = "C:\\a";
            script().files["C:\\a\\resources\\xsl\\CfgEffectivityDisplay.xsl"] = "<xsl:output/>";
          },
          "C:\\a\\resources\\xsl\\CfgEffectivityDisplay.xsl"},
      Row{__LINE__,
          [] {
            script().environment["ZEPInstallPath"] = "C:\\a;C:\\b";
            script().branching = true;
            script().files["C:\\b\\resources\\xsl\\CfgEffectivityDisplay_Branching.xsl"] = "<xsl:output/>";
          },
          "C:\\b\\resources\\xsl\\CfgEffectivityDisplay_Branching.xsl"},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE("row at line " + std::to_string(row.line));
    Start();
    script().atstProvider = true;
    row.prepare();
    EXPECT_EQ(startSequence(""), S_OK);
    EXPECT_EQ(script().linesWith("CreateInputSource"),
              std::string("CreateInputSourceFromFile(") + row.file + ", xslSourceId1)\n");
    EXPECT_EQ(script().liveObjects(), KeptObjects());
    CloseRow();
  }
}

TEST_F(SequenceStartTest, serversText_isParsedFromMemory_andIsNotChecked) {
  EXPECT_EQ(startSequence(""), S_OK); // from now on the text is kept
  const std::string source = "CreateInputSourceFromMemoryBuffer(server stylesheet, xslSourceId1)\n";
  const std::string opening = openingWithoutFile + fetchEntry +
                              "IsATSTProvider()\n| ioUstrXSLTFileContents = [server stylesheet]\n" +
                              resultLines(S_OK) + "CreateZEPIXMLSAX2Factory(CLSID_XML4C_SAX)\n" + source;
  CloseRow();
  StartTraced();
  EXPECT_EQ(startSequence(""), S_OK);
  EXPECT_EQ(Log(), opening +
                       "CreateZEPIXMLXSLFactory(CLSID_XSLT_JAVA)\nCreateTransformer(xslSourceId1)\n"
                       "CreateZEPIXMLPPFactory(CLSID_XML4C5_PP)\nSetOption(OutputFormat, text)\n" +
                       resultLines(S_OK));
  EXPECT_EQ(formatNext("<x/>"), (Outcome{S_OK, "formatted"}));
  CloseRow();

  const FailureRow rows[] = {
      FailureRow{__LINE__, [] { script().fail(Op::CreateInputSourceFromMemoryBuffer, E_ABORT); }, nullptr,
                 "ERROR: CreateInputSourceFromMemoryBuffer failed", E_ABORT, "sax2Factory\n"},
      FailureRow{__LINE__, [] { script().returns(Op::CreateInputSourceFromMemoryBuffer, -123456); }, nullptr,
                 "ERROR: CreateInputSourceFromMemoryBuffer failed", -123456, "sax2Factory\nxslSourceId1\n"},
      FailureRow{__LINE__, [] { script().giveEmpty(Op::CreateInputSourceFromMemoryBuffer); }, nullptr,
                 "ERROR: m_xslSource is NULL_var", E_FAIL, "sax2Factory\n"},
  };
  for (const FailureRow& row : rows) {
    SCOPED_TRACE("row at line " + std::to_string(row.line));
    StartTraced();
    row.inject();
    EXPECT_EQ(startSequence(""), row.result);
    EXPECT_EQ(Log(), opening + errorLines(row.error) + reportLines(row.result) + resultLines(row.result));
    EXPECT_EQ(script().liveObjects(), row.kept);
    CloseRow();
  }
}

// ---- how the output is decoded ----

TEST_F(SequenceStartTest, onceUTF8_staysUTF8_forEveryLaterSequence) {
  script().transformBytes = "abcdef";
  script().files["C:\\utf8.xsl"] = "<xsl:output encoding='UTF-8'/>";
  EXPECT_EQ(startSequence("C:\\utf8.xsl"), S_OK);
  EXPECT_EQ(formatNext("<x/>"), (Outcome{S_OK, "abcdef"}));
  EXPECT_EQ(endSequence(), S_OK);
  EXPECT_EQ(startSequence(path), S_OK);
  EXPECT_EQ(formatNext("<x/>"), (Outcome{S_OK, "abcdef"})) << "a file that names no encoding";
  EXPECT_EQ(endSequence(), S_OK);
  EXPECT_EQ(startSequence(""), S_OK);
  EXPECT_EQ(formatNext("<x/>"), (Outcome{S_OK, "abcdef"})) << "the server's text";
  // The one-shot formatting decides for itself.
  script().transformBytes = utf16WithMark("formatted");
  EXPECT_EQ(Format(), (Outcome{S_OK, "formatted"}));
}

TEST_F(SequenceStartTest, oneShotFormattingInUTF8_leavesTheSequencesUTF16) {
  script().files["C:\\utf8.xsl"] = "<xsl:output encoding='UTF-8'/>";
  script().transformBytes = "abcdef";
  EXPECT_EQ(formatExpression("<x/>", "C:\\utf8.xsl"), (Outcome{S_OK, "abcdef"}));
  script().transformBytes = utf16WithMark("formatted");
  EXPECT_EQ(startSequence(path), S_OK);
  EXPECT_EQ(formatNext("<x/>"), (Outcome{S_OK, "formatted"}));
}

// The check comes before the source, so it counts even where the start then fails.
TEST_F(SequenceStartTest, failedStart_withUTF8_isRememberedToo) {
  script().files["C:\\utf8.xsl"] = "<xsl:output encoding='UTF-8'/>";
  script().fail(Op::CreateInputSourceFromFile, E_ABORT).once();
  EXPECT_EQ(startSequence("C:\\utf8.xsl"), E_ABORT);
  EXPECT_EQ(startSequence(path), S_OK);
  script().transformBytes = "abcdef";
  EXPECT_EQ(formatNext("<x/>"), (Outcome{S_OK, "abcdef"}));
}

TEST_F(SequenceStartTest, serversText_isUTF16_whateverItSays) {
  ServerSays("<xsl:output encoding='UTF-8'/>");
  EXPECT_EQ(startSequence(""), S_OK);
  EXPECT_EQ(formatNext("<x/>"), (Outcome{S_OK, "formatted"}));
  EXPECT_EQ(script().count(Op::ZEPFOpen), 0);
}

// S_FALSE alone says that the output is not UTF-16.
TEST_F(SequenceStartTest, encodingCheck_neverEndsTheStart) {
  struct Row {
    int line;
    void (*prepare)();
  };
  const Row rows[] = {
      Row{__LINE__, [] { script().files[path] = ""; }},
      Row{__LINE__, [] { script().returns(Op::ZEPFGets, 7); }},
      Row{__LINE__, [] { script().fail(Op::ZEPFOpen, E_ACCESSDENIED); }},
      Row{__LINE__,
          [] {
            script().fail(Op::ZEPFGets, E_ABORT);
            script().allowOpenFile();
          }},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE("row at line " + std::to_string(row.line));
    Start();
    row.prepare();
    EXPECT_EQ(startSequence(path), S_OK);
    EXPECT_EQ(formatNext("<x/>"), (Outcome{S_OK, "formatted"}));
    CloseRow();
  }
}

// ---- exceptions ----

TEST_F(SequenceStartTest, exception_passesThrough_andWhatWasMadeStays) {
  struct Row {
    int line;
    Op operation;
    const char* lastCall;
    const char* log; // from there to the exit
    const char* kept;
  };
  const std::string all = KeptObjects();
  const char* const closeCheck = "ZEPFClose(11)\nexit\n<\n";
  const Row rows[] = {
      Row{__LINE__, Op::ZEPGetFileInfo, "ZEPGetFileInfo(C:\\x.xsl)", "", ""},
      Row{__LINE__, Op::CreateZEPIXMLSAX2Factory, "CreateZEPIXMLSAX2Factory(CLSID_XML4C_SAX)", "", ""},
      Row{__LINE__, Op::ZEPFOpen, "ZEPFOpen(C:\\x.xsl, r)", "exit\n<\n", "sax2Factory\n"},
      Row{__LINE__, Op::ZEPFEof, "ZEPFEof(11)", closeCheck, "sax2Factory\n"},
      Row{__LINE__, Op::ZEPFGets, "ZEPFGets(1024, 11)", closeCheck, "sax2Factory\n"},
      Row{__LINE__, Op::CreateInputSourceFromFile, "CreateInputSourceFromFile(C:\\x.xsl, xslSourceId1)", "",
          "sax2Factory\n"},
      Row{__LINE__, Op::CreateZEPIXMLXSLFactory, "CreateZEPIXMLXSLFactory(CLSID_XSLT_JAVA)", "",
          "sax2Factory\nxslSourceId1\n"},
      Row{__LINE__, Op::CreateTransformer, "CreateTransformer(xslSourceId1)", "",
          "sax2Factory\nxslSourceId1\nxslFactory\n"},
      Row{__LINE__, Op::CreateZEPIXMLPPFactory, "CreateZEPIXMLPPFactory(CLSID_XML4C5_PP)", "",
          "sax2Factory\nxslSourceId1\nxslFactory\ntransformer\n"},
      Row{__LINE__, Op::SetOption, "SetOption(OutputFormat, text)", "", all.c_str()},
  };
  EXPECT_EQ(startSequence(path), S_OK);
  std::set<Op> untried = CalledOperations();
  untried.erase(Op::ZEPFClose); // gives something back, where nothing may be raised
  CloseRow();
  for (const Row& row : rows) {
    SCOPED_TRACE("row at line " + std::to_string(row.line));
    StartTraced();
    script().throwIn(row.operation).once();
    EXPECT_THROW(startSequence(path), ScriptedException);
    EXPECT_EQ(Log(), Until(UsualOpening(), row.lastCall) + row.log + "exit\n<\n");
    EXPECT_EQ(script().liveObjects(), row.kept);
    EXPECT_EQ(startSequence(path), S_OK) << "the next start";
    EXPECT_EQ(formatNext("<x/>"), (Outcome{S_OK, "formatted"}));
    untried.erase(row.operation);
    CloseRow();
  }
  EXPECT_EQ(untried, std::set<Op>());
}

TEST_F(SequenceStartTest, exceptionInChoiceOrReport_passesThrough_andMakesNothing) {
  struct Row {
    int line;
    Op operation;
    int call;
  };
  const Row rows[] = {
      Row{__LINE__, Op::IsATSTProvider, 1},    Row{__LINE__, Op::GetRepository, 1},
      Row{__LINE__, Op::ReadAttr, 1},          Row{__LINE__, Op::ZEPExpandString, 1},
      Row{__LINE__, Op::ZEPFileStat, 1},       Row{__LINE__, Op::ZEPGetEnv, 1},
      Row{__LINE__, Op::GetBranchingVar, 1},   Row{__LINE__, Op::ZEPFileStat, 2},
      Row{__LINE__, Op::ZEPGetLastError, 1},   Row{__LINE__, Op::GetMessageText, 1},
      Row{__LINE__, Op::ZEPCleanLastError, 1},
  };
  // The setting's file is missing, the installation's one is there, and the first factory fails.
  const auto prepare = [] {
    StartTraced();
    script().atstProvider = true;
    script().settings["EffeCustoFilePathSetting"]["EffCustoPath"] = "C:\\s.xsl";
    script().environment["ZEPInstallPath"] = "C:\\a";
    script().files["C:\\a\\resources\\xsl\\CfgEffectivityDisplay.xsl"] = "<xsl:output/>";
    script().fail(Op::CreateZEPIXMLSAX2Factory, E_ABORT);
    script().lastError = "why";
  };
  prepare();
  EXPECT_EQ(startSequence(""), E_ABORT);
  std::set<Op> untried = CalledOperations();
  for (const Op operation : {Op::ReleaseRepository, Op::ReleaseError, Op::CreateZEPIXMLSAX2Factory}) {
    untried.erase(operation); // the first two give something back; the last one is tried above
  }
  CloseRow();
  for (const Row& row : rows) {
    SCOPED_TRACE("row at line " + std::to_string(row.line));
    prepare();
    script().allowUnused(); // the factory is not always reached
    script().throwIn(row.operation).at(row.call);
    EXPECT_THROW(startSequence(""), ScriptedException);
    EXPECT_EQ(script().count(row.operation), row.call);
    EXPECT_TRUE(Log().ends_with("exit\n<\n")) << Log();
    EXPECT_EQ(script().records().back().line, script().records().front().line);
    EXPECT_EQ(script().liveObjects(), "");
    untried.erase(row.operation);
    CloseRow();
  }
  EXPECT_EQ(untried, std::set<Op>());
}

} // namespace
