#include "TextOperations.h"

// The filter that selects everything, written call by call.

using namespace scripted;

namespace {

const std::string before = "as it was";
const std::string generated = "<generated/>"; // what the writer gives at the end

const std::string create = "ZEPCfgXMLWriter()\n";
const std::string startDocument = "WriteStartDocument()\n";
const std::string startRoot =
    "WriteStartElement(FilterExpression, [xmlns=urn:zep:configuration-expression "
    "xmlns:xsi=http://www.w3.org/2001/XMLSchema-instance "
    "xsi:schemaLocation=urn:zep:configuration-expression ConfigurationExpression.xsd])\n";
const std::string startSelection = "WriteStartElement(FilterSelection, [SelectionMode=Strict])\n";
const std::string startBoolean = "WriteStartElement(Boolean, null)\n";
const std::string characters = "WriteCharacters(true)\n";
const std::string endElement = "WriteEndElement()\n";
const std::string endDocument = "WriteEndDocument()\n";
const std::string getXML = "GetGeneratedXML()\n";
const std::string destroy = "~xmlWriter\n";

std::string startContext(const std::string& shownHolder) {
  return "WriteStartElement(Context, [HolderType=Model HolderName=" + shownHolder + "])\n";
}

Outcome generate(const std::string& holderName) {
  ZEPUnicodeString expression = before.c_str();
  const long result =
      ZEPCfgXMLExpressionServices::GenerateFilterExpressionTrue(textOf(holderName), expression);
  return {result, utf8Of(expression)};
}

// One call of the writer, and the message when it fails.
struct Step {
  int line;
  Op operation;
  int nth; // call of that operation
  std::string call;
  std::string message;
};

const std::vector<Step>& stepsWithHolder() {
  static const std::vector<Step> steps = {
      Step{__LINE__, Op::WriteStartDocument, 1, startDocument, "ERROR : WriteStartDocument() FAILED"},
      Step{__LINE__, Op::WriteStartElement, 1, startRoot, "ERROR: Unable to write element FilterExpression"},
      Step{__LINE__, Op::WriteStartElement, 2, startSelection,
           "ERROR: Unable to write element FilterSelection"},
      Step{__LINE__, Op::WriteStartElement, 3, startContext("M"), "ERROR: Unable to write element Context"},
      Step{__LINE__, Op::WriteStartElement, 4, startBoolean, "ERROR: Unable to write element Boolean"},
      Step{__LINE__, Op::WriteCharacters, 1, characters, "ERROR: Unable to write characters true"},
      Step{__LINE__, Op::WriteEndElement, 1, endElement, "ERROR: Unable to write end element Boolean"},
      Step{__LINE__, Op::WriteEndElement, 2, endElement, "ERROR: Unable to write end element Context"},
      Step{__LINE__, Op::WriteEndElement, 3, endElement,
           "ERROR: Unable to write end element FilterSelection"},
      Step{__LINE__, Op::WriteEndElement, 4, endElement,
           "ERROR: Unable to write end element FilterExpression"},
      Step{__LINE__, Op::WriteEndDocument, 1, endDocument, "ERROR : WriteEndDocument() FAILED"},
      Step{__LINE__, Op::GetGeneratedXML, 1, getXML, "ERROR : GetGeneratedXML() FAILED"},
  };
  return steps;
}

const std::vector<Step>& stepsWithoutHolder() {
  static const std::vector<Step> steps = {
      Step{__LINE__, Op::WriteStartDocument, 1, startDocument, "ERROR : WriteStartDocument() FAILED"},
      Step{__LINE__, Op::WriteStartElement, 1, startRoot, "ERROR: Unable to write element FilterExpression"},
      Step{__LINE__, Op::WriteStartElement, 2, startSelection,
           "ERROR: Unable to write element FilterSelection"},
      Step{__LINE__, Op::WriteStartElement, 3, startBoolean, "ERROR: Unable to write element Boolean"},
      Step{__LINE__, Op::WriteCharacters, 1, characters, "ERROR: Unable to write characters true"},
      Step{__LINE__, Op::WriteEndElement, 1, endElement, "ERROR: Unable to write end element Boolean"},
      Step{__LINE__, Op::WriteEndElement, 2, endElement,
           "ERROR: Unable to write end element FilterSelection"},
      Step{__LINE__, Op::WriteEndElement, 3, endElement,
           "ERROR: Unable to write end element FilterExpression"},
      Step{__LINE__, Op::WriteEndDocument, 1, endDocument, "ERROR : WriteEndDocument() FAILED"},
      Step{__LINE__, Op::GetGeneratedXML, 1, getXML, "ERROR : GetGeneratedXML() FAILED"},
  };
  return steps;
}

class AlwaysTrueTest : public XMLExpressionTest {
protected:
  // Runs `check` for each step of both ways, with the calls up to that step.
  template <class Check>
  void ForEachStep(Check check) {
    for (const char* holderName : {"M", ""}) {
      std::string calls = create;
      for (const Step& step : *holderName == '\0' ? stepsWithoutHolder() : stepsWithHolder()) {
        SCOPED_TRACE("step at line " + std::to_string(step.line));
        calls += step.call;
        startRow();
        check(holderName, step, calls);
        endRow();
      }
    }
  }
};

TEST_F(AlwaysTrueTest, filterWithoutAHolder_hasTheBooleanUnderTheSelection) {
  script().traceOn();
  EXPECT_EQ(generate(""), (Outcome{S_OK, generated}));
  EXPECT_EQ(script().log(), create + startDocument + startRoot + startSelection + startBoolean + characters +
                                endElement + endElement + endElement + endDocument + getXML + destroy);
}

TEST_F(AlwaysTrueTest, filterWithAHolder_hasTheBooleanInItsContext) {
  script().traceOn();
  EXPECT_EQ(generate("M"), (Outcome{S_OK, generated}));
  EXPECT_EQ(script().log(), create + startDocument + startRoot + startSelection + startContext("M") +
                                startBoolean + characters + endElement + endElement + endElement +
                                endElement + endDocument + getXML + destroy);
}

TEST_F(AlwaysTrueTest, holderName_reachesTheWriterAsItIs) {
  struct Row {
    int line;
    std::string name;
    std::string shown;
  };
  const Row rows[] = {
      Row{__LINE__, " ", "\" \""},
      Row{__LINE__, "Kestrel 40", "Kestrel 40"},
      Row{__LINE__, "<&>'", "<&>'"},
      Row{__LINE__, "\xF0\x9F\x98\x80", "\xF0\x9F\x98\x80"},
      Row{__LINE__, std::string(1, '\0'), "\"\\x00\""},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE("row at line " + std::to_string(row.line));
    startRow();
    EXPECT_EQ(generate(row.name), (Outcome{S_OK, generated}));
    EXPECT_EQ(
        LinesOf(script().calls(), [](const std::string& line) { return line.find("Holder") != line.npos; }),
        startContext(row.shown));
    endRow();
  }
}

TEST_F(AlwaysTrueTest, holderNameAndExpression_mayBeTheSame) {
  ZEPUnicodeString text = "M";
  EXPECT_EQ(ZEPCfgXMLExpressionServices::GenerateFilterExpressionTrue(text, text), S_OK);
  EXPECT_EQ(text, generated.c_str());
  EXPECT_EQ(script().count(Op::WriteStartElement), 4);
  EXPECT_EQ(script().count(Op::WriteEndElement), 4);
}

TEST_F(AlwaysTrueTest, failingCall_endsTheOperationWithItsCode) {
  for (const bool traceIsOn : {true, false}) {
    ForEachStep([traceIsOn](const char* holderName, const Step& step, const std::string& calls) {
      if (traceIsOn) {
        script().traceOn();
      }
      script().fail(step.operation, E_ABORT).at(step.nth);
      EXPECT_EQ(generate(holderName), (Outcome{E_ABORT, before}));
      EXPECT_EQ(Log(), calls + errorLines(step.message) + destroy);
    });
  }
}

TEST_F(AlwaysTrueTest, positiveCode_isSuccess_andTheLastOneIsTheResult) {
  ForEachStep([](const char* holderName, const Step& step, const std::string&) {
    script().returns(step.operation, S_FALSE).at(step.nth);
    EXPECT_EQ(generate(holderName),
              (Outcome{step.operation == Op::GetGeneratedXML ? S_FALSE : S_OK, generated}));
    EXPECT_EQ(script().trace(), "");
  });
}

TEST_F(AlwaysTrueTest, exception_passesThrough_andReleasesTheWriter) {
  ForEachStep([](const char* holderName, const Step& step, const std::string& calls) {
    script().throwIn(step.operation).at(step.nth);
    ZEPUnicodeString expression = before.c_str();
    EXPECT_THROW(ZEPCfgXMLExpressionServices::GenerateFilterExpressionTrue(holderName, expression),
                 ScriptedException);
    EXPECT_EQ(expression, before.c_str());
    EXPECT_EQ(script().log(), calls + destroy);
  });
}

TEST_F(AlwaysTrueTest, trace_isNeverAsked) {
  generate("M");
  script().fail(Op::WriteStartDocument, E_FAIL);
  generate("M");
  EXPECT_EQ(script().activatedQueries(), 0);
}

} // namespace
