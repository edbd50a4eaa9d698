#include "SequenceTest.h"

// A list of expressions through one sequence.

using namespace scripted;

namespace {

const std::string batchEntry = entryLines(
    "FormatExpressions(const class ZEPListValZEPUnicodeString &,class ZEPListValZEPUnicodeString &,"
    "const class ZEPUnicodeString &,const unsigned char &)");
const char endCall[] = "ZEPCfgXMLExpressionServices::EndExpressionFormatting(void)";

class BatchTest : public SequenceTest {
protected:
  // The texts that were appended come behind one that was there before.
  static Outcome FormatAll(std::initializer_list<const char*> expressions, const char* customFile = path,
                           unsigned char compactView = 0) {
    ZEPListValZEPUnicodeString out = listOf({"before"});
    const long result =
        ZEPCfgXMLExpressionServices::FormatExpressions(listOf(expressions), out, customFile, compactView);
    return {result, shownList(out)};
  }

  static std::string CountLine(int count) { return "| nbExp = " + std::to_string(count) + "\n"; }

  // The second and every later expression takes the place of the one before.
  static std::string LaterElement() {
    std::string log = UsualElement(false);
    log.insert(Until(log, "SetInputSource(inputSourceId1)").size(), "~inputSourceId1\n");
    return log;
  }

  static std::string End() {
    return UsualEnd("~ppFactory\n~sax2Factory\n~transformer\n~inputSourceId1\n~xslFactory\n~xslSourceId1\n");
  }
};

TEST_F(BatchTest, batch_isOneSequence_andItsResultIsThatOfTheEnd) {
  StartTraced();
  EXPECT_EQ(FormatAll({"<x/>", "<x/>", "<x/>"}),
            (Outcome{S_OK, "<before><formatted><formatted><formatted>"}));
  EXPECT_EQ(Log(), batchEntry + CountLine(3) + UsualOpening() + UsualElement(false) + LaterElement() +
                       LaterElement() + End() + resultLines(S_OK));
  EXPECT_EQ(script().liveObjects(), "");
}

TEST_F(BatchTest, traceOff_changesNoCall_andWritesNothing) {
  EXPECT_EQ(FormatAll({"<x/>", "<x/>"}), (Outcome{S_OK, "<before><formatted><formatted>"}));
  EXPECT_EQ(script().log(), CallsOf(UsualOpening() + UsualElement(false) + LaterElement() + End()));
}

TEST_F(BatchTest, emptyList_isSFalse_andStartsNothing) {
  StartTraced();
  EXPECT_EQ(FormatAll({}), (Outcome{S_FALSE, "<before>"}));
  EXPECT_EQ(Log(), batchEntry + CountLine(0) + "| no expressions\n" + resultLines(S_FALSE));
}

TEST_F(BatchTest, emptyList_leavesAnOpenSequenceAsItIs) {
  Open(false);
  EXPECT_EQ(FormatAll({}), (Outcome{S_FALSE, "<before>"}));
  EXPECT_EQ(script().log(), "");
  EXPECT_EQ(script().liveObjects(), KeptObjects());
}

TEST_F(BatchTest, texts_comeInTheOrderOfTheExpressions) {
  int transformations = 0;
  script().onCall(Op::Transform, [&transformations] {
    script().transformBytes = utf16WithMark("text " + std::to_string(++transformations));
  });
  EXPECT_EQ(FormatAll({"<a/>", "<b/>", "<c/>"}), (Outcome{S_OK, "<before><text 1><text 2><text 3>"}));
  EXPECT_EQ(script().linesWith("CreateInputSourceFromMemoryBuffer"),
            "CreateInputSourceFromMemoryBuffer(<a/>, inputSourceId1)\n"
            "CreateInputSourceFromMemoryBuffer(<b/>, inputSourceId1)\n"
            "CreateInputSourceFromMemoryBuffer(<c/>, inputSourceId1)\n");
}

TEST_F(BatchTest, emptyElement_givesAnEmptyText_andIsNoFailure) {
  struct Row {
    int line;
    std::initializer_list<const char*> expressions;
    const char* texts;
  };
  const Row rows[] = {
      Row{__LINE__, {"<x/>", "", "<x/>"}, "<before><formatted><><formatted>"},
      Row{__LINE__, {""}, "<before><>"},
      Row{__LINE__, {"<x/>", ""}, "<before><formatted><>"},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE("row at line " + std::to_string(row.line));
    Start();
    EXPECT_EQ(FormatAll(row.expressions), (Outcome{S_OK, row.texts}));
    CloseRow();
  }
}

// Each element starts from an empty text, so nothing of the one before is repeated.
TEST_F(BatchTest, elementWithoutAResult_givesAnEmptyText) {
  script().giveEmpty(Op::GetBuffer).at(2);
  EXPECT_EQ(FormatAll({"<x/>", "<x/>", "<x/>"}), (Outcome{S_OK, "<before><formatted><><formatted>"}));
}

TEST_F(BatchTest, positiveCodes_ofStartAndElements_areNotTheResult) {
  struct Row {
    int line;
    Op operation;
  };
  const Row rows[] = {Row{__LINE__, Op::SetOption}, Row{__LINE__, Op::GetBuffer}};
  for (const Row& row : rows) {
    SCOPED_TRACE("row at line " + std::to_string(row.line));
    Start();
    script().returns(row.operation, S_FALSE);
    EXPECT_EQ(FormatAll({"<x/>"}), (Outcome{S_OK, "<before><formatted>"}));
    CloseRow();
  }
}

TEST_F(BatchTest, compactView_isNeverAskedFor) {
  constexpr unsigned char wishes[] = {0, 1, 255};
  for (const unsigned char compactView : wishes) {
    SCOPED_TRACE(static_cast<int>(compactView));
    Start();
    EXPECT_EQ(FormatAll({"<x/>", "<x/>"}, path, compactView),
              (Outcome{S_OK, "<before><formatted><formatted>"}));
    EXPECT_EQ(script().count(Op::Transform), 2);
    EXPECT_EQ(script().count(Op::SetParameter), 0);
    CloseRow();
  }
}

// ---- failures ----

TEST_F(BatchTest, failedStart_isTheResult_andNothingIsEnded) {
  for (const bool traced : {true, false}) {
    StartTraced(traced);
    script().fail(Op::CreateTransformer, E_ABORT);
    EXPECT_EQ(FormatAll({"<x/>", "<x/>"}), (Outcome{E_ABORT, "<before>"}));
    const std::string log =
        batchEntry + CountLine(2) + Until(UsualOpening(), "CreateTransformer(xslSourceId1)") +
        errorLines("ERROR: CreateTransformer failed") + reportLines(E_ABORT) + resultLines(E_ABORT) +
        errorLines("ERROR: StartExpressionFormatting failed") + resultLines(E_ABORT);
    if (traced) {
      EXPECT_EQ(Log(), log);
    } else {
      EXPECT_EQ(script().calls(), CallsOf(log));
      EXPECT_EQ(Trace(), ErrorsOf(log));
    }
    EXPECT_EQ(script().liveObjects(), "sax2Factory\nxslSourceId1\nxslFactory\n");
    CloseRow();
  }
}

TEST_F(BatchTest, failedElement_leavesTheOnesBeforeIt_andTheSequenceOpen) {
  struct Row {
    int line;
    int failing;
    const char* texts;
  };
  const Row rows[] = {
      Row{__LINE__, 1, "<before>"},
      Row{__LINE__, 3, "<before><formatted><formatted>"},
      Row{__LINE__, 5, "<before><formatted><formatted><formatted><formatted>"},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE("row at line " + std::to_string(row.line));
    for (const bool traced : {true, false}) {
      StartTraced(traced);
      script().fail(Op::Transform, E_ABORT).at(row.failing);
      EXPECT_EQ(FormatAll({"<x/>", "<x/>", "<x/>", "<x/>", "<x/>"}), (Outcome{E_ABORT, row.texts}));
      std::string log = batchEntry + CountLine(5) + UsualOpening();
      for (int i = 1; i <= row.failing; ++i) {
        const std::string element = i == 1 ? UsualElement(false) : LaterElement();
        log += i < row.failing ? element
                               : Until(element, "~outputSource") + errorLines("Transform failed") +
                                     reportLines(E_ABORT) + ElementEnding("", E_ABORT);
      }
      log += errorLines("ERROR: ExpressionFormatting failed") + resultLines(E_ABORT);
      if (traced) {
        EXPECT_EQ(Log(), log);
      } else {
        EXPECT_EQ(script().calls(), CallsOf(log));
        EXPECT_EQ(Trace(), ErrorsOf(log));
      }
      EXPECT_EQ(script().linesWith(endCall), "");
      EXPECT_EQ(script().liveObjects(), KeptObjects() + "inputSourceId1\n");
      EXPECT_EQ(formatNext("<x/>"), (Outcome{S_OK, "formatted"})) << "the sequence is open";
      CloseRow();
    }
  }
}

TEST_F(BatchTest, batchAfterAFailedOne_replacesWhatThatOneLeft) {
  script().fail(Op::Transform, E_ABORT).at(1);
  EXPECT_EQ(FormatAll({"<x/>"}), (Outcome{E_ABORT, "<before>"}));
  EXPECT_EQ(FormatAll({"<x/>"}), (Outcome{S_OK, "<before><formatted>"}));
  EXPECT_EQ(script().liveObjects(), "");
}

// A start that found no stylesheet is a success, so the first element meets empty handles.
TEST_F(BatchTest, noStylesheet_raisesTheNullHandleError_unlessEveryElementIsEmpty) {
  StartTraced();
  script().atstProvider = true;
  ZEPListValZEPUnicodeString out = listOf({"before"});
  EXPECT_THROW(ZEPCfgXMLExpressionServices::FormatExpressions(listOf({"", "<x/>"}), out, "", 0),
               ZEPErrorNullVar);
  EXPECT_EQ(shownList(out), "<before><>");
  EXPECT_TRUE(Log().ends_with("| in_xmlExpression = [<x/>]\n~memoryBuffer\nexit\n<\nexit\n<\n")) << Log();
  CloseRow();
  script().atstProvider = true;
  EXPECT_EQ(FormatAll({"", ""}, ""), (Outcome{S_OK, "<before><><>"}));
}

TEST_F(BatchTest, callersFile_isGivenToTheStart) {
  script().files["C:\\own.xsl"] = "<xsl:output/>";
  EXPECT_EQ(FormatAll({"<x/>"}, "C:\\own.xsl"), (Outcome{S_OK, "<before><formatted>"}));
  EXPECT_EQ(script().linesWith("CreateInputSourceFromFile"),
            "CreateInputSourceFromFile(C:\\own.xsl, xslSourceId1)\n");
}

// ---- exceptions ----

TEST_F(BatchTest, exception_passesThrough_whicheverCallRaises) {
  EXPECT_EQ(FormatAll({"<x/>", "<x/>"}), (Outcome{S_OK, "<before><formatted><formatted>"}));
  std::set<Op> called = CalledOperations();
  called.erase(Op::ZEPFClose); // gives something back, where nothing may be raised
  ASSERT_GE(called.size(), 17U);
  for (const Op operation : called) {
    for (const int nth : {1, 2}) {
      CloseRow();
      FormatAll({"<x/>", "<x/>"});
      const bool isCalledThatOften = script().count(operation) >= nth;
      if (!isCalledThatOften) {
        continue;
      }
      SCOPED_TRACE(std::string(nameOf(operation)) + ", call " + std::to_string(nth));
      StartTraced();
      script().throwIn(operation).at(nth);
      ZEPListValZEPUnicodeString out = listOf({"before"});
      EXPECT_THROW(ZEPCfgXMLExpressionServices::FormatExpressions(listOf({"<x/>", "<x/>"}), out, path, 0),
                   ScriptedException);
      EXPECT_EQ(script().linesWith(endCall), "");
      EXPECT_TRUE(Log().starts_with(batchEntry)) << Log();
      EXPECT_TRUE(Log().ends_with("exit\n<\nexit\n<\n")) << Log();
      EXPECT_EQ(script().records().back().line, script().records().front().line);
      EXPECT_EQ(script().liveObjects().find("memoryBuffer"), std::string::npos);
      EXPECT_EQ(endSequence(), S_OK);
      EXPECT_EQ(script().liveObjects(), "");
      EXPECT_EQ(FormatAll({"<x/>"}), (Outcome{S_OK, "<before><formatted>"})) << "the next batch";
    }
  }
}

} // namespace
