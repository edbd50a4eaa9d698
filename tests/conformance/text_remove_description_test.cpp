#include "TextOperations.h"

// The description element and the description identifiers are cut out of an expression.

using namespace scripted;

namespace {

const char noQuote[] = "ERROR: no quote found!";
const char noClosing[] = "ERROR: /Description not found";
const char noValue[] = "ERROR: end of DescId not found";

class TextRemoveDescriptionTest : public XMLExpressionTest {
protected:
  struct Row {
    int line;
    std::string expression;
    std::string cleaned;
  };
  static void ExpectEach(const std::vector<Row>& rows) {
    for (const Row& row : rows) {
      SCOPED_TRACE("row at line " + std::to_string(row.line));
      startQuietRow();
      EXPECT_EQ(removeDescription(row.expression), (Outcome{S_OK, row.cleaned}));
      EXPECT_EQ(script().log(), "");
    }
  }

  struct FailingRow {
    int line;
    std::string expression;
    const char* message;
  };
  static void ExpectEachFails(const std::vector<FailingRow>& rows) {
    for (const FailingRow& row : rows) {
      SCOPED_TRACE("row at line " + std::to_string(row.line));
      startQuietRow();
      EXPECT_EQ(removeDescription(row.expression), (Outcome{E_FAIL, ""}));
      EXPECT_EQ(Log(), errorLines(row.message)) << "errors are written with the trace off, too";
    }
  }

private:
  static void startQuietRow() { script().reset(); }
};

// ---- what is cut -------------------------------------------------------------------------------

TEST_F(TextRemoveDescriptionTest, elementAndIdentifiers_areCut) {
  ExpectEach({
      Row{__LINE__, "", ""},
      Row{__LINE__, "<Expr DescId=\"a\"><Description>text</Description><And DescId=\"b\"/></Expr>",
          "<Expr ><And /></Expr>"},
      Row{__LINE__, "<E a=\"1\"/>", "<E a=\"1\"/>"},
      Row{__LINE__, "\"", "\""},
      Row{__LINE__, "'", "'"},
      Row{__LINE__, "<E a=\"1\"><Description/><x></Description></E>", "<E a=\"1\"></E>"},
      Row{__LINE__, "<E>\n  <Description a=\"1\" DescId=\"2\">\n  <Label/>\n  </Description>\n  <And/>\n</E>",
          "<E>\n  \n  <And/>\n</E>"},
      Row{__LINE__, "<X DescId=\"7\" Id=\"1\">", "<X  Id=\"1\">"},
      Row{__LINE__, "<X DescId=\"7\">", "<X >"},
      Row{__LINE__, "<X DescId=\"\">", "<X >"},
      Row{__LINE__, "<X DescId = \n \"7\">", "<X >"},
      Row{__LINE__, "<X DescId=\"1\"><Y DescId=\"2\"/><Z Id=\"3\" DescId=\"4\"/></X>",
          "<X ><Y /><Z Id=\"3\" /></X>"},
      Row{__LINE__, "DescId=\"7\"", ""},
      Row{__LINE__, "DescId=\"7\" DescId=\"8\"", " "},
      Row{__LINE__, "<X descid=\"7\" Description=\"8\"></X></Description>x\"9\"", "<X descid=\"7\"x\"9\""},
  });
}

TEST_F(TextRemoveDescriptionTest, element_isCutByPosition) {
  ExpectEach({
      // the first one only
      Row{__LINE__, "<E a=\"1\"><Description>x</Description><Description>y</Description></E>",
          "<E a=\"1\"><Description>y</Description></E>"},
      // a longer name counts
      Row{__LINE__, "<E a=\"1\"><DescriptionText>x</DescriptionText></E>", "<E a=\"1\">ext></E>"},
      // blanks shift the cut
      Row{__LINE__, "<E a=\"1\">< Description>x</Description></E>", "<E a=\"1\"><</E>"},
      Row{__LINE__, "<E a=\"1\"><Description>x</Description ></E>", "<E a=\"1\">></E>"},
      // the end of the text inside the cut
      Row{__LINE__, "\"<Description>x</Description", "\""},
      // the closing tag first
      Row{__LINE__, "</Description><Description>\"", "<<Description>\""},
      Row{__LINE__, "<E></Description><Description>x</Description>\"", "<E><<Description>x</Description>\""},
      // the closing tag of something else
      Row{__LINE__, "<E><Description/></Descriptions>\"", "<E>>\""},
      // nothing in front of the name
      Row{__LINE__, "Description>x</Description>\"", "\""},
      Row{__LINE__, "Description a=\"1\"/Description>\"", "\""},
  });
}

TEST_F(TextRemoveDescriptionTest, identifier_isCutByPosition) {
  ExpectEach({
      // a longer name counts, in front and behind
      Row{__LINE__, "<X DescIdx=\"7\">", "<X >"},
      Row{__LINE__, "<X MyDescId=\"7\">", "<X My>"},
      // the name inside a value: from there to the next value's quote
      Row{__LINE__, "<X a=\"DescId\" b=\"2\">", "<X a=\"2\">"},
      Row{__LINE__, "<DescId a=\"1\"/>", "</>"},
      Row{__LINE__, "<X>DescId</X><Y a=\"1\"/>", "<X>/>"},
  });
}

TEST_F(TextRemoveDescriptionTest, quote_isWhateverOccurs_theDoubleOneFirst) {
  ExpectEach({
      Row{__LINE__, "<X DescId='7' Id='1'><Y DescId='8'/></X>", "<X  Id='1'><Y /></X>"},
      Row{__LINE__, "<X DescId=\"7\" Id='1'/>", "<X  Id='1'/>"},
      Row{__LINE__, "<X DescId=\"it's\"/>", "<X />"},
      // apostrophes in a text with a double quote: the cut runs to the next double quotes
      Row{__LINE__, "<X DescId='7' Id=\"1\" Z=\"2\"/>", "<X  Z=\"2\"/>"},
      Row{__LINE__, "<X a='\"' DescId='7' Id=\"1\" Z=\"2\"/>", "<X a='\"'  Z=\"2\"/>"},
  });
}

TEST_F(TextRemoveDescriptionTest, quote_isChosenBeforeTheElementIsCut) {
  ExpectEachFails({
      FailingRow{__LINE__, "<E DescId='x'><Description a=\"1\">t</Description></E>", noValue},
  });
  ExpectEach({
      Row{__LINE__, "<E><Description a=\"1\">t</Description></E>", "<E></E>"},
      Row{__LINE__, "<E b='1'><Description>t's</Description></E>", "<E b='1'></E>"},
  });
}

TEST_F(TextRemoveDescriptionTest, nameThatACutJoins_isCutToo) {
  ExpectEach({
      Row{__LINE__, "DescDescId=\"x\"Id=\"y\"", ""},
      Row{__LINE__, "<X DescDescId=\"x\"Id=\"y\"/>", "<X />"},
      Row{__LINE__, "<X DDescId=\"1\"escId=\"2\"/>", "<X />"},
      Row{__LINE__, "<X DescIDescId=\"1\"d=\"2\"/>", "<X />"},
      Row{__LINE__, "<X DeDDescId=\"1\"escId=\"2\"scId=\"3\"/>", "<X />"},
      Row{__LINE__, "<X DesDescId=\"1\"DescId=\"2\"cId=\"3\"/>", "<X />"},
      Row{__LINE__, "<X Desc DescId=\"1\"Id=\"2\"/>", "<X Desc Id=\"2\"/>"},
      // joined by the cut of the element
      Row{__LINE__, "<X Desc<Description>t</Description>Id=\"2\"/>", "<X />"},
      // as many joins as there are letters
      Row{__LINE__, "DDDDescId=\"1\"escId=\"2\"escId=\"3\"escId=\"4\"", ""},
  });
  EXPECT_EQ(removeDescription("<X DescDescId=\"x\"Id/>"), (Outcome{E_FAIL, ""}));
}

TEST_F(TextRemoveDescriptionTest, positions_countCodeUnits) {
  const std::string smile = "\xF0\x9F\x98\x80";
  ExpectEach({
      Row{__LINE__,
          smile + "<Description>" + smile + "</Description>" + smile + "<X DescId=\"" + smile + "\"/>" +
              smile,
          smile + smile + "<X />" + smile},
  });
}

// ---- failures ----------------------------------------------------------------------------------

TEST_F(TextRemoveDescriptionTest, failure_emptiesTheOutput) {
  ExpectEachFails({
      FailingRow{__LINE__, "<Expr/>", noQuote},
      FailingRow{__LINE__, " ", noQuote},
      FailingRow{__LINE__, "DescId", noQuote},
      FailingRow{__LINE__, "<E><Description/></E>", noQuote},
      FailingRow{__LINE__, "<E a=\"1\"><Description/></E>", noClosing},
      FailingRow{__LINE__, "<E a=\"1\"><Description>x</description></E>", noClosing},
      FailingRow{__LINE__, "<E a=\"1\"><Description>x< /Descriptio></E>", noClosing},
      FailingRow{__LINE__, "Description\"", noClosing},
      // the closing text at the very start
      FailingRow{__LINE__, "/Description \"", noClosing},
      FailingRow{__LINE__, "/Description><Description>x</Description>\"", noClosing},
      // no quote behind the name, or only one
      FailingRow{__LINE__, "<E a=\"1\" DescId/>", noValue},
      FailingRow{__LINE__, "<E a=\"1\" DescId='2'/>", noValue},
      FailingRow{__LINE__, "<E DescId=\"1/>", noValue},
      FailingRow{__LINE__, "<E DescId='1/>", noValue},
      FailingRow{__LINE__, "<E a=\"DescId\"/>", noValue},
      // behind removals
      FailingRow{__LINE__, "<E DescId=\"1\"><Description>x</Description><F DescId/></E>", noValue},
      FailingRow{__LINE__, "<E DescId=\"1\"/><F DescId=\"2/>", noValue},
  });
}

// ---- arguments ---------------------------------------------------------------------------------

TEST_F(TextRemoveDescriptionTest, inputAndOutput_mayBeTheSame) {
  ZEPUnicodeString text = "<X DescId=\"7\" Id=\"1\">";
  EXPECT_EQ(ZEPCfgXMLExpressionServices::RemoveDescription(text, text), S_OK);
  EXPECT_EQ(text, "<X  Id=\"1\">");
  text = "<X/>";
  EXPECT_EQ(ZEPCfgXMLExpressionServices::RemoveDescription(text, text), E_FAIL);
  EXPECT_EQ(text, "");
  EXPECT_EQ(ZEPCfgXMLExpressionServices::RemoveDescription(text, text), S_OK);
  EXPECT_EQ(text, "");
}

TEST_F(TextRemoveDescriptionTest, input_isNotChanged_andOutputIsReplaced) {
  const ZEPUnicodeString expression = "<X DescId=\"7\" Id=\"1\">";
  ZEPUnicodeString cleaned = "as it was";
  EXPECT_EQ(ZEPCfgXMLExpressionServices::RemoveDescription(expression, cleaned), S_OK);
  EXPECT_EQ(expression, "<X DescId=\"7\" Id=\"1\">");
  EXPECT_EQ(cleaned, "<X  Id=\"1\">");
  EXPECT_EQ(removeDescription(""), (Outcome{S_OK, ""}));
}

// ---- trace -------------------------------------------------------------------------------------

TEST_F(TextRemoveDescriptionTest, trace_showsEachStep) {
  const std::string tail = "<And DescId=\"b\"/></Expr>";
  const std::string all = "<Expr DescId=\"a\"><Description>text</Description>" + tail;
  const std::string start = "| out_XMLExpression = [" + all +
                            "]\n"
                            "| Remove the Description tag\n"
                            "| what quote?\n"
                            "| quote = [\"]\n"
                            "| pos = 18\n"
                            "| end = 35\n"
                            "| lg = 31\n"
                            "| out_XMLExpression = [<Expr DescId=\"a\">" +
                            tail + "]\n";
  script().traceOn();
  EXPECT_EQ(removeDescription(all), (Outcome{S_OK, "<Expr ><And /></Expr>"}));
  EXPECT_EQ(Log(), removeEntry + start +
                       "| Remove the DescId attribute\n"
                       "| pos = 6\n"
                       "| pos = 6\n"
                       "| look for the end of the value\n"
                       "| end = 13\n"
                       "| end = 15\n"
                       "| lg = 10\n"
                       "| out_XMLExpression = [<Expr >" +
                       tail +
                       "]\n"
                       "| pos = 12\n"
                       "| look for the end of the value\n"
                       "| end = 19\n"
                       "| end = 21\n"
                       "| lg = 10\n"
                       "| out_XMLExpression = [<Expr ><And /></Expr>]\n"
                       "| out_XMLExpression = [<Expr ><And /></Expr>]\n" +
                       resultLines(S_OK));
}

TEST_F(TextRemoveDescriptionTest, trace_ofAJoinedName_showsPositionsInTheCutText) {
  script().traceOn();
  removeDescription("DescDescId=\"x\"Id=\"y\" \"");
  EXPECT_EQ(Log(), removeEntry +
                       "| out_XMLExpression = [DescDescId=\"x\"Id=\"y\" \"]\n"
                       "| Remove the Description tag\n"
                       "| what quote?\n"
                       "| quote = [\"]\n"
                       "| pos = -1\n"
                       "| Remove the DescId attribute\n"
                       "| pos = 4\n"
                       "| pos = 4\n"
                       "| look for the end of the value\n"
                       "| end = 11\n"
                       "| end = 13\n"
                       "| lg = 10\n"
                       "| out_XMLExpression = [DescId=\"y\" \"]\n"
                       "| pos = 0\n"
                       "| look for the end of the value\n"
                       "| end = 7\n"
                       "| end = 9\n"
                       "| lg = 10\n"
                       "| out_XMLExpression = [ \"]\n"
                       "| out_XMLExpression = [ \"]\n" +
                       resultLines(S_OK));
}

TEST_F(TextRemoveDescriptionTest, trace_ofAnEmptyExpression_saysSo) {
  script().traceOn();
  removeDescription("");
  EXPECT_EQ(Log(), removeEntry + "| empty expression\n| out_XMLExpression = []\n" + resultLines(S_OK));
}

TEST_F(TextRemoveDescriptionTest, trace_ofAFailure_showsTheErrorAndAnEmptyOutput) {
  const auto start = [](const std::string& text) {
    return removeEntry + "| out_XMLExpression = [" + text +
           "]\n"
           "| Remove the Description tag\n"
           "| what quote?\n";
  };
  const auto end = [](const char* message) {
    return errorLines(message) + "| out_XMLExpression = []\n" + resultLines(E_FAIL);
  };
  struct LogRow {
    int line;
    std::string expression;
    std::string log;
  };
  const LogRow rows[] = {
      LogRow{__LINE__, "<Expr/>", start("<Expr/>") + end(noQuote)},
      LogRow{__LINE__, "<Description/>'",
             start("<Description/>'") + "| quote = [']\n| pos = 1\n| end = -1\n" + end(noClosing)},
      LogRow{__LINE__, "/Description \"",
             start("/Description \"") + "| quote = [\"]\n| pos = 1\n| end = 0\n" + end(noClosing)},
      LogRow{__LINE__, "'DescId",
             start("'DescId") +
                 "| quote = [']\n| pos = -1\n| Remove the DescId attribute\n| pos = 1\n| pos = 1\n"
                 "| look for the end of the value\n| end = -1\n" +
                 end(noValue)},
      LogRow{__LINE__, "DescId='",
             start("DescId='") +
                 "| quote = [']\n| pos = -1\n| Remove the DescId attribute\n| pos = 0\n| pos = 0\n"
                 "| look for the end of the value\n| end = 7\n| end = -1\n" +
                 end(noValue)},
  };
  for (const LogRow& row : rows) {
    SCOPED_TRACE("row at line " + std::to_string(row.line));
    startRow();
    script().traceOn();
    EXPECT_EQ(removeDescription(row.expression), (Outcome{E_FAIL, ""}));
    EXPECT_EQ(Log(), row.log);
    endRow();
  }
}

TEST_F(TextRemoveDescriptionTest, trace_withoutIdentifiers_looksForThemOnce) {
  script().traceOn();
  removeDescription("<a b='1'/>");
  EXPECT_EQ(Log(), removeEntry +
                       "| out_XMLExpression = [<a b='1'/>]\n"
                       "| Remove the Description tag\n"
                       "| what quote?\n"
                       "| quote = [']\n"
                       "| pos = -1\n"
                       "| Remove the DescId attribute\n"
                       "| pos = -1\n"
                       "| out_XMLExpression = [<a b='1'/>]\n" +
                       resultLines(S_OK));
}

TEST_F(TextRemoveDescriptionTest, traceThatIsOff_isAskedForEachRecord_andGetsNone) {
  removeDescription("DescDescId=\"x\"Id=\"y\" \"");
  EXPECT_EQ(script().log(), "");
  EXPECT_EQ(script().activatedQueries(), 2 + 21); // entry and exit, details and result
}

} // namespace
