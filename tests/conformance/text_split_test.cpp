#include "TextOperations.h"

// An expression is split into one expression for each context, with the identifiers in it.

using namespace scripted;

namespace {

class TextSplitTest : public XMLExpressionTest {};

struct Row {
  int line;
  std::string expression;
  std::vector<SplitContext> contexts;
};

void expectEach(const std::vector<Row>& rows) {
  for (const Row& row : rows) {
    SCOPED_TRACE("row at line " + std::to_string(row.line));
    EXPECT_EQ(split(row.expression), row.contexts);
  }
}

// A row whose expression is a single context and nothing else.
Row single(int line, const std::string& expression, const std::string& name,
           const std::vector<int>& inherited, const std::vector<std::string>& holders,
           const std::vector<int>& handlers) {
  return Row{line, expression, {SplitContext{name, expression, inherited, holders, handlers}}};
}

SplitContext named(const std::string& name, const std::string& expression) {
  return {name, expression, {}, {}, {}};
}

// ---- which contexts there are ------------------------------------------------------------------

TEST_F(TextSplitTest, textWithoutAContext_givesNone) {
  expectEach({
      Row{__LINE__, "", {}},
      Row{__LINE__, "<E/>", {}},
      Row{__LINE__, "Context", {}},
      Row{__LINE__, "< Context HolderName=\"A\"></Context>", {}},
      Row{__LINE__, "<context HolderName=\"A\"></context>", {}},
      Row{__LINE__, "</Context>", {}},
      Row{__LINE__, "</Context></Context></Context>", {}},
      Row{__LINE__, "<Contex HolderName=\"A\"></Context>", {}},
  });
}

TEST_F(TextSplitTest, contextWithoutItsEnd_givesNone) {
  expectEach({
      Row{__LINE__, "<Context", {}},
      Row{__LINE__, "<Context HolderName=\"A\">", {}},
      Row{__LINE__, "<Context HolderName=\"A\"/>", {}},
      Row{__LINE__, "<Context HolderName=\"A\"></Context", {}},
      Row{__LINE__, "<Context HolderName=\"A\"></Context >", {}},
      Row{__LINE__, "<Context HolderName=\"A\"></context>", {}},
      Row{__LINE__, "</Context><Context HolderName=\"A\">", {}},
  });
}

TEST_F(TextSplitTest, closingTag_countsFrom18CharactersBehindTheStart) {
  const std::string tooNear = "<Context HN=\"A\"  ";
  const std::string nearest = "<Context HN=\"A\"   ";
  ASSERT_EQ(nearest.size(), 18U);
  const std::string close = "</Context>";
  expectEach({
      Row{__LINE__, "<Context></Context>", {}},
      Row{__LINE__, tooNear + close, {}},
      Row{__LINE__, "<E>" + tooNear + close, {}},
      Row{__LINE__, nearest + close, {named("A", nearest + close)}},
      Row{__LINE__, "<E>" + nearest + close + "</E>", {named("A", "<E>" + nearest + close + "</E>")}},
      // the next one takes its place
      Row{__LINE__, tooNear + close + close, {named("A", tooNear + close + close)}},
      Row{__LINE__,
          nearest + close + "<Context>" + close,
          {named("A", nearest + close + "<Context>" + close)}},
  });
}

TEST_F(TextSplitTest, adjacentContexts_eachStandWhereTheyAllStood) {
  const std::string first = "<Context HolderName=\"A\"><x/></Context>";
  const std::string second = "<Context HolderName=\"B\"></Context>";
  const std::string third = "<Context HolderName=\"C\">text</Context>";
  expectEach({
      Row{__LINE__, first, {named("A", first)}},
      Row{__LINE__,
          "<E>" + first + second + "</E>",
          {named("A", "<E>" + first + "</E>"), named("B", "<E>" + second + "</E>")}},
      Row{__LINE__, first + second + third, {named("A", first), named("B", second), named("C", third)}},
  });
}

TEST_F(TextSplitTest, textBetweenContexts_isTheHeadOfTheNext) {
  const std::string first = "<Context HolderName=\"A\"></Context>";
  const std::string second = "<Context HolderName=\"B\"></Context>";
  expectEach({
      Row{__LINE__,
          "<E>\n  " + first + "\n  " + second + "\n</E>",
          {named("A", "<E>\n  " + first + "\n</E>"), named("B", "<E>\n  \n  " + second + "\n</E>")}},
      Row{__LINE__,
          first + "<x HolderName=\"X\"/>" + second + "<y/>",
          {named("A", first + "<y/>"), named("X", "<x HolderName=\"X\"/>" + second + "<y/>")}},
      // what stands behind the last one stays, also what looks like a start
      Row{__LINE__, first + "<Context HolderName=\"B\">", {named("A", first + "<Context HolderName=\"B\">")}},
      // no start is looked for again
      Row{__LINE__,
          first + "<x HolderName=\"X\"></Context>",
          {named("A", first), named("X", "<x HolderName=\"X\"></Context>")}},
  });
}

TEST_F(TextSplitTest, patternIsAPrefix_andASelfClosingContextJoinsTheNext) {
  const std::string longer = "<ContextHolder HolderName=\"A\"></ContextHolder><x></Context>";
  const std::string joined = "<Context HolderName=\"A\"/><Context HolderName=\"B\"></Context>";
  expectEach({
      Row{__LINE__, longer, {named("A", longer)}},
      Row{__LINE__,
          "<Contexts>" + joined + "</Contexts>",
          {named("A", "<Contexts>" + joined + "</Contexts>")}},
      Row{__LINE__, joined, {named("A", joined)}},
      Row{__LINE__,
          joined + "<Context HolderName=\"C\"></Context>",
          {named("A", joined), named("C", "<Context HolderName=\"C\"></Context>")}},
  });
}

// ---- what is read in a context -----------------------------------------------------------------

TEST_F(TextSplitTest, name_isTheFirstQuotedTextBehindHolderName) {
  expectEach({
      single(__LINE__, "<Context HolderType=\"Model\" HolderName=\"A\" X=\"Y\"></Context>", "A", {}, {}, {}),
      single(__LINE__, "<Context HolderName=\"\" X=\"Y\"></Context>", "", {}, {}, {}),
      single(__LINE__, "<Context HolderName='A' X=\"Y\"></Context>", "Y", {}, {}, {}),
      single(__LINE__, "<Context HolderName  =\n \"A\"></Context>", "A", {}, {}, {}),
      single(__LINE__, "<Context x><y HolderName=\"inner\"/></Context>", "inner", {}, {}, {}),
      single(__LINE__, "<Context HolderName=\"&lt;\xC3\xA9\xF0\x9F\x98\x80\"></Context>",
             "&lt;\xC3\xA9\xF0\x9F\x98\x80", {}, {}, {}),
  });
}

TEST_F(TextSplitTest, missingNameOrQuote_isAPositionForTheNextSearch) {
  expectEach({
      // no name: from the start
      single(__LINE__, "<Context X=\"first\" Y=\"second\"></Context>", "first", {}, {}, {}),
      // no quote at all
      single(__LINE__, "<Context HolderName></Context>", "", {}, {}, {}),
      single(__LINE__, "<Context HolderName='A'></Context>", "", {}, {}, {}),
      // one quote, behind the name or in front of it
      single(__LINE__, "<Context HolderName=\"A></Context>", "", {}, {}, {}),
      single(__LINE__, "<Context X=\"1 HolderName></Context>", "<Context X=", {}, {}, {}),
      // two quotes in front of it
      single(__LINE__, "<Context X=\"1\" HolderName></Context>", "<Context X=", {}, {}, {}),
  });
}

TEST_F(TextSplitTest, inheritedEffectivities_giveNumbersAndNames) {
  expectEach({
      single(__LINE__,
             "<Context HolderName=\"A\"><InheritedEff Domain=\"V\" FilterableId=\"12\" HolderName=\"H1\"/>"
             "<InheritedEff Domain=\"E\" FilterableId=\"34\" HolderName=\"H2\"/></Context>",
             "A", {12, 34}, {"H1", "H2"}, {}),
      // the order of the attributes is free
      single(__LINE__,
             "<Context HolderName=\"A\"><InheritedEff  HolderName=\"H\" FilterableId=\"12\"/></Context>", "A",
             {12}, {"H"}, {}),
      // a next entry inside what was read is skipped
      single(
          __LINE__,
          "<Context HolderName=\"A\"><InheritedEff  FilterableId=\"1\" HolderName=\"InheritedEff\"/></Context>",
          "A", {1}, {"InheritedEff"}, {}),
      // attributes of a later entry are taken
      single(
          __LINE__,
          "<Context HolderName=\"A\"><InheritedEff/><InheritedEff  FilterableId=\"2\" HolderName=\"H\"/></Context>",
          "A", {2}, {"H"}, {}),
      // attributes of something else are taken
      single(__LINE__,
             "<Context HolderName=\"A\"><InheritedEff/><y FilterableId=\"3\" HolderName=\"H\"/></Context>",
             "A", {3}, {"H"}, {}),
  });
}

TEST_F(TextSplitTest, attributeOneBlankBehindInheritedEff_isMissed_twoBehindIsFound) {
  expectEach({
      single(__LINE__,
             "<Context HolderName=\"A\"><InheritedEff FilterableId=\"5\" HolderName=\"H\"/></Context>", "A",
             {0}, {"H"}, {}),
      single(__LINE__,
             "<Context HolderName=\"A\"><InheritedEff  FilterableId=\"5\" HolderName=\"H\"/></Context>", "A",
             {5}, {"H"}, {}),
      single(__LINE__,
             "<Context HolderName=\"A\"><InheritedEff\r\nFilterableId=\"5\" HolderName=\"H\"/></Context>",
             "A", {5}, {"H"}, {}),
      // that of the next entry is taken instead
      single(__LINE__,
             "<Context HolderName=\"A\"><InheritedEff FilterableId=\"5\" HolderName=\"H1\"/>"
             "<InheritedEff FilterableId=\"6\" HolderName=\"H2\"/></Context>",
             "A", {6, 6}, {"H1", "H2"}, {}),
      // the name one blank behind: the next entry's, which then ends the walk
      single(__LINE__,
             "<Context HolderName=\"A\"><InheritedEff HolderName=\"H1\" FilterableId=\"5\"/>"
             "<InheritedEff  HolderName=\"H2\" FilterableId=\"6\"/></Context>",
             "A", {5}, {"H2"}, {}),
  });
}

TEST_F(TextSplitTest, operationHandlers_giveNumbers_andTheLastNameAgain) {
  expectEach({
      single(__LINE__,
             "<Context HolderName=\"A\"><InheritedEff  FilterableId=\"1\" HolderName=\"H1\"/>"
             "<InheritedEff  FilterableId=\"2\" HolderName=\"H2\"/><Change OperationHandlerId=\"7\"/>"
             "<Change OperationHandlerId=\"8\"/><Change OperationHandlerId=\"9\"/></Context>",
             "A", {1, 2}, {"H1", "H2", "H2", "H2", "H2"}, {7, 8, 9}),
      // without any name read: empty
      single(__LINE__, "<Context HolderName=\"A\"><Change OperationHandlerId=\"7\"/></Context>", "A", {},
             {""}, {7}),
      // one behind the other without a blank, and one inside a value
      single(__LINE__,
             "<Context HolderName=\"A\"><y OperationHandlerId=\"1\"OperationHandlerId=\"2\"/></Context>", "A",
             {}, {"", ""}, {1, 2}),
      single(__LINE__, "<Context HolderName=\"A\"><y OperationHandlerId=\"OperationHandlerId\"/></Context>",
             "A", {}, {""}, {0}),
  });
}

TEST_F(TextSplitTest, numbers_areReadLeniently_andKeepTheLastOneOtherwise) {
  const auto handlers = [](const std::vector<std::string>& values) {
    std::string text = "<Context HolderName=\"A\">";
    for (const std::string& value : values) {
      text += "<y OperationHandlerId=\"" + value + "\"/>";
    }
    return text + "</Context>";
  };
  expectEach({
      single(__LINE__, handlers({" 12", "+5", "-3", "7abc", "007"}), "A", {}, {"", "", "", "", ""},
             {12, 5, -3, 7, 7}),
      single(__LINE__, handlers({"x", "4", "y", "", "-"}), "A", {}, {"", "", "", "", ""}, {0, 4, 4, 4, 4}),
      single(__LINE__, handlers({"2147483647", "2147483648", "-2147483648", "99999999999999999999"}), "A", {},
             {"", "", "", ""}, {2147483647, 2147483647, -2147483647 - 1, -2147483647 - 1}),
      // the number of an inherited effectivity is kept for a change
      single(__LINE__,
             "<Context HolderName=\"A\"><InheritedEff  FilterableId=\"6\" HolderName=\"H\"/>"
             "<y OperationHandlerId=\"none\"/></Context>",
             "A", {6}, {"H", "H"}, {6}),
  });
}

TEST_F(TextSplitTest, lastNumberAndName_liveForTheWholeCall_notLonger) {
  const std::string first =
      "<Context HolderName=\"A\"><InheritedEff  FilterableId=\"6\" HolderName=\"H\"/></Context>";
  const std::string second = "<Context HolderName=\"B\"><y OperationHandlerId=\"x\"/></Context>";
  const std::string third =
      "<Context HolderName=\"C\"><InheritedEff  FilterableId=\"x\" HolderName=\"I\"/></Context>";
  const Row rows[] = {
      Row{__LINE__,
          first + second + third + second,
          {SplitContext{"A", first, {6}, {"H"}, {}}, SplitContext{"B", second, {}, {"H"}, {6}},
           SplitContext{"C", third, {6}, {"I"}, {}}, SplitContext{"B", second, {}, {"I"}, {6}}}},
      Row{__LINE__, second, {SplitContext{"B", second, {}, {""}, {0}}}},
  };
  expectEach({rows[0], rows[1]});
}

// ---- walks over malformed text -----------------------------------------------------------------

TEST_F(TextSplitTest, walkThatWouldNeverEnd_endsWhereItHasBeenBefore) {
  expectEach({
      // neither attribute: the first quoted text stands in for both, and the entry is found again
      single(__LINE__, "<Context HolderName=\"A\"><InheritedEff/></Context>", "A", {0}, {"A"}, {}),
      single(__LINE__, "<Context HolderName=\"42\"><InheritedEff/></Context>", "42", {42}, {"42"}, {}),
      // no quote behind the entry's name, or only one
      single(__LINE__, "<Context X=\"A\"><InheritedEff  HolderName/></Context>", "<Context X=", {0},
             {"<Context X="}, {}),
      single(__LINE__, "<Context X=\"A\"><InheritedEff  HolderName=\"/></Context>", "", {0}, {""}, {}),
      // no quote at all
      single(__LINE__, "<Context HolderName><InheritedEff/></Context>", "", {0}, {""}, {}),
      // from the last entry back to the first, with entries between them
      single(
          __LINE__,
          "<Context HolderName=\"A\"><InheritedEff  FilterableId=\"1\" HolderName=\"H\"/><InheritedEff/></Context>",
          "A", {1, 1}, {"H", "A"}, {}),
      // a second entry behind the last quote
      single(
          __LINE__,
          "<Context HolderName=\"A\"><InheritedEff  FilterableId=\"1\" HolderName=\"H\"/><InheritedEff  FilterableId HolderName/></Context>",
          "A", {1, 1}, {"H", "<Context HolderName="}, {}),
      // a change without a value
      single(__LINE__, "<Context HolderName=\"A\" OperationHandlerId/></Context>", "A", {}, {""}, {0}),
      single(__LINE__, "<Context OperationHandlerId><y></Context>", "", {}, {""}, {0}),
      single(__LINE__,
             "<Context HolderName=\"A\"><y OperationHandlerId=\"5\"/><y OperationHandlerId=\"/></Context>",
             "A", {}, {"", ""}, {5, 5}),
      single(__LINE__,
             "<Context HolderName=\"A\"><y OperationHandlerId=\"5\"/><y OperationHandlerId/></Context>", "A",
             {}, {"", ""}, {5, 5}),
  });
}

TEST_F(TextSplitTest, walkThatJumpsBackAndEnds_isFollowedToItsEnd) {
  // The second entry has no name from two characters behind it on: the walk goes on behind the first
  // quoted text and meets the entry that stands in a value, from where that name is found.
  expectEach({
      single(__LINE__,
             "<Context><InheritedEff  FilterableId=\"1\" HolderName=\"InheritedEff\"/>"
             "<InheritedEff HolderName=\"Z\"/></Context>",
             "InheritedEff", {1, 1, 1}, {"InheritedEff", "1", "Z"}, {}),
  });
}

TEST_F(TextSplitTest, walksOfAContext_doNotKnowEachOther) {
  // Each context has the same malformed walk at the same places.
  const std::string context = "<Context HolderName=\"A\"><InheritedEff/><y OperationHandlerId/></Context>";
  expectEach({
      Row{__LINE__,
          context + context,
          {SplitContext{"A", context, {0}, {"A", "A"}, {0}},
           SplitContext{"A", context, {0}, {"A", "A"}, {0}}}},
  });
}

// A place where the context before had a change is a new one for this context's entries.
TEST_F(TextSplitTest, walksOfTwoContexts_doNotKnowEachOther) {
  const std::string first = "<Context HolderName=\"A\"><y OperationHandlerId=\"5\"/></Context>";
  const std::string second =
      "<Context HolderName=\"B\"><y InheritedEff  FilterableId=\"6\" HolderName=\"H\"/></Context>";
  ASSERT_EQ(first.find("OperationHandlerId"), second.find("InheritedEff"));
  expectEach({
      Row{__LINE__,
          first + second,
          {SplitContext{"A", first, {}, {""}, {5}}, SplitContext{"B", second, {6}, {"H"}, {}}}},
  });
}

TEST_F(TextSplitTest, pieceMayBeginWithWhatIsCollected) {
  const std::string first = "<Context HolderName=\"A\"></Context>";
  const std::string entry = "InheritedEff  FilterableId=\"7\" HolderName=\"H\"</Context>";
  const std::string quoted = "\"Z\"<y>                  </Context>";
  const std::string names = "HolderName=\"Z\" HolderName=\"Y\"</Context>";
  const std::string change = "OperationHandlerId=\"7\" HolderName=\"H\"</Context>";
  expectEach({
      Row{__LINE__, first + entry, {named("A", first), SplitContext{"H", entry, {7}, {"H"}, {}}}},
      Row{__LINE__, first + change, {named("A", first), SplitContext{"H", change, {}, {""}, {7}}}},
      Row{__LINE__, first + names, {named("A", first), named("Z", names)}},
      Row{__LINE__, first + quoted, {named("A", first), named("Z", quoted)}},
  });
}

// ---- list and arguments ------------------------------------------------------------------------

TEST_F(TextSplitTest, list_isAppendedTo) {
  const std::string first = "<Context HolderName=\"A\"></Context>";
  const std::string second = "<Context HolderName=\"B\"></Context>";
  ZEPListValZEPCfgContextExpression contexts;
  ZEPCfgContextExpression own;
  own.m_contextName = "own";
  contexts.Append(own);
  EXPECT_EQ(ZEPCfgXMLExpressionServices::SplitByContext(textOf(first), contexts), S_OK);
  EXPECT_EQ(ZEPCfgXMLExpressionServices::SplitByContext(textOf("<E/>"), contexts), S_OK);
  EXPECT_EQ(ZEPCfgXMLExpressionServices::SplitByContext(textOf(second + first), contexts), S_OK);
  EXPECT_EQ(valuesOf(contexts), (std::vector<SplitContext>{named("own", ""), named("A", first),
                                                           named("B", second), named("A", first)}));
}

TEST_F(TextSplitTest, expression_isNotChanged_andMayStandInTheList) {
  const std::string first = "<Context HolderName=\"A\"></Context>";
  const std::string second = "<Context HolderName=\"B\"></Context>";
  ZEPListValZEPCfgContextExpression contexts;
  ZEPCfgContextExpression own;
  own.m_contextExpression = textOf(first + second);
  contexts.Append(own);
  EXPECT_EQ(ZEPCfgXMLExpressionServices::SplitByContext(contexts[1].m_contextExpression, contexts), S_OK);
  EXPECT_EQ(valuesOf(contexts),
            (std::vector<SplitContext>{named("", first + second), named("A", first), named("B", second)}));
}

TEST_F(TextSplitTest, positions_countCodeUnits) {
  const std::string smile = "\xF0\x9F\x98\x80";
  const std::string context = "<Context HolderName=\"" + smile + "\">" + smile + "</Context>";
  expectEach({
      Row{__LINE__,
          smile + context + smile + context + smile,
          {named(smile, smile + context + smile), named(smile, smile + smile + context + smile)}},
  });
}

// ---- trace -------------------------------------------------------------------------------------

const std::string traced =
    "<E><Context HolderName=\"A\"><InheritedEff  FilterableId=\"1\" HolderName=\"H1\"/>"
    "<InheritedEff  FilterableId=\"x\" HolderName=\"H2\"/><y OperationHandlerId=\"7\"/></Context>\n"
    "<Context HolderName=\"B\"><y OperationHandlerId=\"8\"/><y OperationHandlerId=\"9\"/></Context></E>";

TEST_F(TextSplitTest, trace_showsEachStep) {
  script().traceOn();
  split(traced);
  const std::string first =
      "<Context HolderName=\"A\"><InheritedEff  FilterableId=\"1\" HolderName=\"H1\"/>"
      "<InheritedEff  FilterableId=\"x\" HolderName=\"H2\"/><y OperationHandlerId=\"7\"/></Context>";
  const std::string second =
      "\\n<Context HolderName=\"B\"><y OperationHandlerId=\"8\"/><y OperationHandlerId=\"9\"/></Context>";
  EXPECT_EQ(Log(), splitEntry + "| stCtx = [" + first + "]\n" //
                       + "| stCtx = [" + second +
                       "]\n"
                       "| CtxExpr.m_contextName = [A]\n"
                       "| CtxExpr.m_contextExpression = [<E>" +
                       first +
                       "</E>]\n"
                       "| Inherited eff\n"
                       "| stIdx = [1]\n"
                       "| stName = [H1]\n"
                       "| stIdx = [x]\n"
                       "| stName = [H2]\n"
                       "| Change\n"
                       "| stIdx = [7]\n"
                       "| CtxExpr.m_contextName = [B]\n"
                       "| CtxExpr.m_contextExpression = [<E>" +
                       second +
                       "</E>]\n"
                       "| Inherited eff\n"
                       "| Change\n"
                       "| stIdx = [8]\n"
                       "| stIdx = [9]\n"
                       "exit\n<\n");
}

TEST_F(TextSplitTest, trace_ofATextWithoutContexts_isEntryAndExit) {
  for (const char* expression : {"", "<E/>", "<Context HolderName=\"A\">"}) {
    startRow();
    script().traceOn();
    split(expression);
    EXPECT_EQ(Log(), splitEntry + "exit\n<\n");
    endRow();
  }
}

TEST_F(TextSplitTest, trace_ofAWalkThatRepeats_showsEachVisitOnce) {
  script().traceOn();
  split("<Context HolderName=\"A\"><InheritedEff/></Context>");
  EXPECT_EQ(Log(),
            splitEntry +
                "| stCtx = [<Context HolderName=\"A\"><InheritedEff/></Context>]\n"
                "| CtxExpr.m_contextName = [A]\n"
                "| CtxExpr.m_contextExpression = [<Context HolderName=\"A\"><InheritedEff/></Context>]\n"
                "| Inherited eff\n"
                "| stIdx = [A]\n"
                "| stName = [A]\n"
                "| Change\n"
                "exit\n<\n");
}

TEST_F(TextSplitTest, traceThatIsOff_isAskedForEachRecord_andGetsNone) {
  split(traced);
  EXPECT_EQ(script().log(), "");
  EXPECT_EQ(script().activatedQueries(), 2 + 17); // entry and exit, and each detail of the trace above
}

} // namespace
