#include "SequenceTest.h"

#include <optional>

// One expression after the other through the transformer of an open sequence.

using namespace scripted;

namespace {

using SequenceExpressionTest = SequenceTest;

const Outcome formatted{S_OK, "formatted"};

TEST_F(SequenceExpressionTest, expression_callsThePlatform_inThisOrder) {
  Open();
  EXPECT_EQ(formatNext("<x/>", 1), formatted);
  EXPECT_EQ(Log(), UsualElement());
  EXPECT_EQ(script().liveObjects(), KeptObjects() + "inputSourceId1\n");
}

TEST_F(SequenceExpressionTest, traceOff_changesNoCall_andWritesNothing) {
  Open(false);
  EXPECT_EQ(formatNext("<x/>", 1), formatted);
  EXPECT_EQ(script().log(), CallsOf(UsualElement()));
}

// The transformer lets go of one expression when it is given the next.
TEST_F(SequenceExpressionTest, nextExpression_usesTheKeptObjects) {
  Open();
  EXPECT_EQ(formatNext("<x/>"), formatted);
  std::string expected = UsualElement(false);
  expected.insert(Until(expected, "SetInputSource(inputSourceId1)").size(), "~inputSourceId1\n");
  for (int i = 0; i < 3; ++i) {
    script().clearLog();
    EXPECT_EQ(formatNext("<x/>"), formatted);
    EXPECT_EQ(Log(), expected);
    EXPECT_EQ(script().liveObjects(), KeptObjects() + "inputSourceId1\n");
  }
}

// ---- empty expression, closed sequence ----

TEST_F(SequenceExpressionTest, emptyExpression_isSFalse_evenWithoutAStart) {
  const std::string log = elementEntry +
                          "ZEPXMLPPMemoryBuffer(1024)\n"
                          "| in_xmlExpression = []\n"
                          "| the XML expression is empty\n" +
                          ElementEnding("as it was", S_FALSE);
  for (const bool isOpen : {false, true}) {
    SCOPED_TRACE(isOpen);
    if (isOpen) {
      Open();
    } else {
      StartTraced();
    }
    EXPECT_EQ(formatNext("", 1), (Outcome{S_FALSE, "as it was"}));
    EXPECT_EQ(Log(), log);
    CloseRow();
  }
  EXPECT_EQ(formatNext("", 1), (Outcome{S_FALSE, "as it was"}));
  EXPECT_EQ(script().log(), CallsOf(log));
}

TEST_F(SequenceExpressionTest, closedSequence_raisesTheNullHandleError) {
  struct Row {
    int line;
    void (*close)();
  };
  const Row rows[] = {
      Row{__LINE__, [] {}}, // never started
      Row{__LINE__,
          [] {
            EXPECT_EQ(startSequence(path), S_OK);
            EXPECT_EQ(endSequence(), S_OK);
          }},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE("row at line " + std::to_string(row.line));
    StartTraced();
    row.close();
    script().clearLog();
    ZEPUnicodeString text = "as it was";
    EXPECT_THROW(ZEPCfgXMLExpressionServices::ExpressionFormatting("<x/>", text, 1), ZEPErrorNullVar);
    EXPECT_EQ(text, "as it was");
    EXPECT_EQ(Log(), elementEntry + "ZEPXMLPPMemoryBuffer(1024)\n"
                                    "| in_xmlExpression = [<x/>]\n"
                                    "~memoryBuffer\nexit\n<\n");
    EXPECT_EQ(script().records().back().line, script().records().front().line);
    CloseRow();
  }
}

// ---- failures ----

TEST_F(SequenceExpressionTest, failure_isReported_andTheSequenceStaysUsable) {
  struct Row {
    int line;
    void (*inject)();
    const char* lastCall;
    std::string log; // from there to the report
    long result;
    std::string releases;
  };
  const std::string buffer = "~memoryBuffer\n";
  const std::string bufferAndInput = buffer + "~inputSourceId1\n";
  const std::string bufferAndOutput = buffer + "~outputSource\n";
  const char* const create = "CreateInputSourceFromMemoryBuffer(<x/>, inputSourceId1)";
  const Row rows[] = {
      Row{__LINE__, [] { script().fail(Op::CreateInputSourceFromMemoryBuffer, E_OUTOFMEMORY).once(); },
          create, errorLines("ERROR: CreateInputSourceFromMemoryBuffer failed"), E_OUTOFMEMORY, buffer},
      Row{__LINE__, [] { script().returns(Op::CreateInputSourceFromMemoryBuffer, -123456).once(); }, create,
          errorLines("ERROR: CreateInputSourceFromMemoryBuffer failed"), -123456, bufferAndInput},
      Row{__LINE__, [] { script().giveEmpty(Op::CreateInputSourceFromMemoryBuffer).once(); }, create,
          errorLines("ERROR: inputSource is null_var"), E_FAIL, buffer},
      // success that made nothing
      Row{__LINE__, [] { script().fail(Op::CreateInputSourceFromMemoryBuffer, S_FALSE).once(); }, create,
          errorLines("ERROR: inputSource is null_var"), E_FAIL, buffer},

      Row{__LINE__, [] { script().fail(Op::SetInputSource, E_INVALIDARG).once(); },
          "SetInputSource(inputSourceId1)", errorLines("ERROR: SetInputSource failed"), E_INVALIDARG,
          bufferAndInput},
      Row{__LINE__, [] { script().returns(Op::SetInputSource, E_ABORT).once(); },
          "SetInputSource(inputSourceId1)", errorLines("ERROR: SetInputSource failed"), E_ABORT, buffer},

      // The code does not count, the missing object does.
      Row{__LINE__, [] { script().fail(Op::CreateOutputSource, E_ABORT).once(); }, "CreateOutputSource()",
          errorLines("ERROR: outputSource is null_var"), E_FAIL, buffer},
      Row{__LINE__, [] { script().giveEmpty(Op::CreateOutputSource).once(); }, "CreateOutputSource()",
          errorLines("ERROR: outputSource is null_var"), E_FAIL, buffer},

      // The local handle is emptied before the failure is written.
      Row{__LINE__, [] { script().fail(Op::SetOutputSource, E_ABORT).once(); },
          "SetOutputSource(outputSource)", "~outputSource\n" + errorLines("SetOutputSource failed"), E_ABORT,
          buffer},
      // What the transformer then holds outlives the buffer, until it is given the next output.
      Row{__LINE__, [] { script().returns(Op::SetOutputSource, E_POINTER).once(); },
          "SetOutputSource(outputSource)", errorLines("SetOutputSource failed"), E_POINTER, buffer},

      // The output is detached before the failure is written.
      Row{__LINE__, [] { script().fail(Op::Transform, E_ABORT).once(); }, "~outputSource",
          errorLines("Transform failed"), E_ABORT, buffer},
      Row{__LINE__, [] { script().returns(Op::Transform, E_FAIL).once(); }, "~outputSource",
          errorLines("Transform failed"), E_FAIL, buffer},
      Row{__LINE__,
          [] {
            script().fail(Op::Transform, E_ABORT).once();
            script().fail(Op::SetOutputSource, E_HANDLE).at(2);
          },
          "SetOutputSource(null)", errorLines("Transform failed"), E_ABORT, buffer},

      Row{__LINE__, [] { script().fail(Op::GetBuffer, E_ABORT).once(); }, "GetBuffer()",
          errorLines("GetBuffer failed"), E_ABORT, buffer},
      Row{__LINE__, [] { script().returns(Op::GetBuffer, E_OUTOFMEMORY).once(); }, "GetBuffer()",
          errorLines("GetBuffer failed"), E_OUTOFMEMORY, buffer},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE("row at line " + std::to_string(row.line));
    const std::string log = Until(UsualElement(), row.lastCall) + row.log + reportLines(row.result) +
                            ElementEnding("as it was", row.result, row.releases);
    for (const bool traced : {true, false}) {
      Open(traced);
      row.inject();
      EXPECT_EQ(formatNext("<x/>", 1), (Outcome{row.result, "as it was"}));
      if (traced) {
        EXPECT_EQ(Log(), log);
      } else {
        EXPECT_EQ(script().calls(), CallsOf(log));
        EXPECT_EQ(Trace(), ErrorsOf(log));
      }
      EXPECT_TRUE(script().liveObjects().starts_with(KeptObjects())) << script().liveObjects();
      EXPECT_EQ(formatNext("<y/>", 1), formatted) << "the next expression";
      EXPECT_EQ(script().liveObjects(), KeptObjects() + "inputSourceId1\n");
      CloseRow();
    }
  }
}

TEST_F(SequenceExpressionTest, codesThatDoNotCount_areIgnored) {
  struct Row {
    int line;
    void (*inject)();
    long result;
  };
  const Row rows[] = {
      Row{__LINE__, [] { script().returns(Op::CreateOutputSource, E_FAIL); }, S_OK},
      Row{__LINE__, [] { script().returns(Op::CreateOutputSource, S_FALSE); }, S_OK},
      Row{__LINE__, [] { script().fail(Op::SetParameter, E_FAIL); }, S_OK},
      Row{__LINE__, [] { script().returns(Op::SetParameter, 7); }, S_OK},
      Row{__LINE__, [] { script().returns(Op::SetOutputSource, E_FAIL).at(2); }, S_OK},
      Row{__LINE__, [] { script().returns(Op::CreateInputSourceFromMemoryBuffer, S_FALSE); }, S_OK},
      Row{__LINE__, [] { script().returns(Op::SetInputSource, S_FALSE); }, S_OK},
      Row{__LINE__, [] { script().returns(Op::SetOutputSource, S_FALSE).at(1); }, S_OK},
      Row{__LINE__, [] { script().returns(Op::Transform, S_FALSE); }, S_OK},
      Row{__LINE__, [] { script().returns(Op::GetBuffer, S_FALSE); }, S_FALSE},
      Row{__LINE__, [] { script().returns(Op::GetBuffer, 7); }, 7},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE("row at line " + std::to_string(row.line));
    Open();
    row.inject();
    EXPECT_EQ(formatNext("<x/>", 1), (Outcome{row.result, "formatted"}));
    EXPECT_EQ(Log(),
              Until(UsualElement(), "| result = [formatted]") + ElementEnding("formatted", row.result));
    CloseRow();
  }
}

TEST_F(SequenceExpressionTest, report_showsWhatThePlatformSays_andHasItForgotten) {
  struct Row {
    int line;
    Op failing;
    const char* lastCall;
    const char* error;
  };
  const Row rows[] = {
      Row{__LINE__, Op::Transform, "~outputSource", "Transform failed"},
      Row{__LINE__, Op::GetBuffer, "GetBuffer()", "GetBuffer failed"},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE("row at line " + std::to_string(row.line));
    Open();
    script().fail(row.failing, E_ABORT);
    script().lastError = "why";
    EXPECT_EQ(formatNext("<x/>", 1), (Outcome{E_ABORT, "as it was"}));
    EXPECT_EQ(Log(), Until(UsualElement(), row.lastCall) + errorLines(row.error) +
                         "ZEPGetLastError(E_ABORT, null)\nGetMessageText()\nReleaseError()\n~error\n"
                         "ZEPCleanLastError()\n| message = [XSLTProcessor has failed:\\nwhy]\n" +
                         ElementEnding("as it was", E_ABORT));
    EXPECT_EQ(script().lastError, std::nullopt);
    CloseRow();
  }
}

// ---- compact view ----

// What the transformer was given, it keeps: nothing takes the parameter back.
TEST_F(SequenceExpressionTest, compactView_isSetPerExpression_andNeverTakenBack) {
  struct Row {
    int line;
    unsigned char compactView;
    int set;
  };
  const Row rows[] = {
      Row{__LINE__, 0, 0}, Row{__LINE__, 1, 1}, Row{__LINE__, 0, 1},
      Row{__LINE__, 2, 2}, Row{__LINE__, 0, 2}, Row{__LINE__, 255, 3},
  };
  Open(false);
  for (const Row& row : rows) {
    SCOPED_TRACE("row at line " + std::to_string(row.line));
    EXPECT_EQ(formatNext("<x/>", row.compactView), formatted);
    EXPECT_EQ(script().count(Op::SetParameter), row.set);
  }
  EXPECT_EQ(script().linesWith("SetParameter"),
            "SetParameter(CompactView, \"\", TRUE)\nSetParameter(CompactView, \"\", TRUE)\n"
            "SetParameter(CompactView, \"\", TRUE)\n");
  EXPECT_EQ(script().count(Op::CreateTransformer), 0);
}

// ---- output ----

TEST_F(SequenceExpressionTest, bytes_areDecodedAsUTF16_behindTheFirstTwo) {
  struct Row {
    int line;
    std::string bytes;
    std::string text;
  };
  const Row rows[] = {
      Row{__LINE__, "", ""},
      Row{__LINE__, "x", ""},
      Row{__LINE__, "xy", ""},
      Row{__LINE__, "xyz", ""},
      Row{__LINE__, utf16WithMark("a") + "x", "a"},
      Row{__LINE__, "xy" + utf16WithMark("a").substr(2), "a"},
      Row{__LINE__, utf16WithMark("\xC3\xA9\xF0\x9F\x98\x80"), "\xC3\xA9\xF0\x9F\x98\x80"},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE("row at line " + std::to_string(row.line));
    Open();
    script().transformBytes = row.bytes;
    EXPECT_EQ(formatNext("<x/>", 1), (Outcome{S_OK, row.text}));
    EXPECT_EQ(Log(), Until(UsualElement(), "GetBuffer()") +
                         "| byteArraySize = " + std::to_string(row.bytes.size()) + "\n| result = [" +
                         row.text + "]\n" + ElementEnding(row.text, S_OK));
    CloseRow();
  }
}

TEST_F(SequenceExpressionTest, bytes_areAllDecodedAsUTF8_whenTheFileSaysSo) {
  struct Row {
    int line;
    std::string bytes;
    std::string text;
  };
  const Row rows[] = {
      Row{__LINE__, "", ""},
      Row{__LINE__, "x", "x"},
      Row{__LINE__, "xy", "xy"},
      Row{__LINE__, "\xC3\xA9\xF0\x9F\x98\x80", "\xC3\xA9\xF0\x9F\x98\x80"},
      Row{__LINE__, "a\xFF", "a\xEF\xBF\xBD"},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE("row at line " + std::to_string(row.line));
    StartTraced();
    script().files[path] = "<xsl:output encoding='UTF-8'/>";
    EXPECT_EQ(startSequence(path), S_OK);
    script().clearLog();
    script().transformBytes = row.bytes;
    EXPECT_EQ(formatNext("<x/>", 1), (Outcome{S_OK, row.text}));
    EXPECT_EQ(Log(), Until(UsualElement(), "GetBuffer()") +
                         "| byteArraySize = " + std::to_string(row.bytes.size()) + "\n| result = [" +
                         row.text + "]\n" + ElementEnding(row.text, S_OK));
    CloseRow();
  }
}

TEST_F(SequenceExpressionTest, nullBytes_leaveTheOutput_withTheCodeOfGetBuffer) {
  struct Row {
    int line;
    void (*prepare)();
    long result;
  };
  const Row rows[] = {
      Row{__LINE__, [] { script().transformBytes = std::nullopt; }, S_OK},
      Row{__LINE__, [] { script().giveEmpty(Op::GetBuffer); }, S_OK},
      Row{__LINE__,
          [] {
            script().transformBytes = std::nullopt;
            script().returns(Op::GetBuffer, S_FALSE);
          },
          S_FALSE},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE("row at line " + std::to_string(row.line));
    Open();
    row.prepare();
    EXPECT_EQ(formatNext("<x/>", 1), (Outcome{row.result, "as it was"}));
    EXPECT_EQ(Log(), Until(UsualElement(), "GetBuffer()") + "| byteArray  is null\n" +
                         ElementEnding("as it was", row.result));
    CloseRow();
  }
}

TEST_F(SequenceExpressionTest, output_mayBeTheSameObjectAsTheInput) {
  Open();
  ZEPUnicodeString text = "<x/>";
  EXPECT_EQ(ZEPCfgXMLExpressionServices::ExpressionFormatting(text, text, 0), S_OK);
  EXPECT_EQ(text, "formatted");
}

// ---- exceptions ----

TEST_F(SequenceExpressionTest, exception_passesThrough_andOnlyTheKeptObjectsStay) {
  struct Row {
    int line;
    Op operation;
    int call;
    const char* lastCall;
    const char* releases;
    const char* held; // by the transformer
  };
  const Row rows[] = {
      Row{__LINE__, Op::ZEPXMLPPMemoryBuffer, 1, "ZEPXMLPPMemoryBuffer(1024)", "", ""},
      Row{__LINE__, Op::CreateInputSourceFromMemoryBuffer, 1,
          "CreateInputSourceFromMemoryBuffer(<x/>, inputSourceId1)", "~memoryBuffer\n", ""},
      Row{__LINE__, Op::SetInputSource, 1, "SetInputSource(inputSourceId1)",
          "~memoryBuffer\n~inputSourceId1\n", ""},
      Row{__LINE__, Op::CreateOutputSource, 1, "CreateOutputSource()", "~memoryBuffer\n", "inputSourceId1\n"},
      Row{__LINE__, Op::SetOutputSource, 1, "SetOutputSource(outputSource)", "~memoryBuffer\n~outputSource\n",
          "inputSourceId1\n"},
      Row{__LINE__, Op::SetParameter, 1, "SetParameter(CompactView, \"\", TRUE)", "~memoryBuffer\n",
          "inputSourceId1\noutputSource\n"},
      Row{__LINE__, Op::Transform, 1, "Transform()", "~memoryBuffer\n", "inputSourceId1\noutputSource\n"},
      Row{__LINE__, Op::SetOutputSource, 2, "SetOutputSource(null)", "~memoryBuffer\n",
          "inputSourceId1\noutputSource\n"},
      Row{__LINE__, Op::GetBuffer, 1, "GetBuffer()", "~memoryBuffer\n", "inputSourceId1\n"},
  };
  Open(false);
  formatNext("<x/>", 1);
  std::set<Op> untried = CalledOperations();
  CloseRow();
  for (const Row& row : rows) {
    SCOPED_TRACE("row at line " + std::to_string(row.line));
    Open();
    script().throwIn(row.operation).at(row.call);
    ZEPUnicodeString text = "as it was";
    EXPECT_THROW(ZEPCfgXMLExpressionServices::ExpressionFormatting("<x/>", text, 1), ScriptedException);
    EXPECT_EQ(text, "as it was");
    EXPECT_EQ(Log(), Until(UsualElement(), row.lastCall) + row.releases + "exit\n<\n");
    EXPECT_EQ(script().records().back().line, script().records().front().line);
    EXPECT_EQ(script().liveObjects(), KeptObjects() + row.held);
    EXPECT_EQ(formatNext("<x/>", 1), formatted) << "the next expression";
    EXPECT_EQ(script().liveObjects(), KeptObjects() + "inputSourceId1\n");
    untried.erase(row.operation);
    CloseRow();
  }
  EXPECT_EQ(untried, std::set<Op>());
}

TEST_F(SequenceExpressionTest, exceptionInTheReport_passesThrough) {
  for (const Op raising : {Op::ZEPGetLastError, Op::GetMessageText, Op::ZEPCleanLastError}) {
    SCOPED_TRACE(nameOf(raising));
    Open();
    script().lastError = "why";
    script().fail(Op::SetInputSource, E_ABORT);
    script().throwIn(raising).once();
    EXPECT_THROW(formatNext("<x/>"), ScriptedException);
    EXPECT_EQ(script().liveObjects(), KeptObjects());
    EXPECT_TRUE(Log().ends_with("~memoryBuffer\n~inputSourceId1\nexit\n<\n")) << Log();
    CloseRow();
  }
}

} // namespace
