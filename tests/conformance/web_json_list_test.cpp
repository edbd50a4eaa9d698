#include "AllocationWatch.h"
#include "UTF8Texts.h"
#include "WebCallTest.h"
#include "ZEPListValZEPPLMID.h"

// The identifier texts for the JSON lists of requests. The steps are those of WebCallTest.h.

using namespace scripted;

namespace {

using Texts = std::vector<std::string>;

const char entry[] =
    "> long __cdecl ZEPCfgWebServices::BuildJsonList(const class ZEPListValZEPPLMID &,"
    "class std::vector<class ZEPUnicodeString,class std::allocator<class ZEPUnicodeString> > &)\n"
    "entry\n";

// ---- texts of steps ----

std::string begun(std::size_t count) {
  return entry + detail("nbPLMIDs = " + std::to_string(count));
}

std::string ended(const Texts& texts, const std::string& result) {
  std::string steps = detail(std::to_string(texts.size()));
  for (const std::string& text : texts) {
    steps += detail("plmid = [" + text + "]");
  }
  return steps + left(result);
}

// The null identifier is the empty text.
std::string named(const std::string& id) {
  return id.empty() ? detail("plmid = [ ZEPPLMID_Null ]")
                    : "@ ZEPPLMID::ToString(" + id + ", 0)\n" + detail("plmid = [" + id + "]");
}

std::string typeAsked(const std::string& id) {
  return named(id) + "IsPLMIDOfType(" + (id.empty() ? "null" : id) + ", ScriptedFeature, 0, 0)\n";
}

std::string featureSteps(const std::string& id) {
  return typeAsked(id) + detail("feature") + "GetLogicalID(" + (id.empty() ? "null" : id) + ", \"\")\n";
}

std::string partSteps(const std::string& id) {
  return typeAsked(id) + detail("no feature") + "GetPhysicalID(" + (id.empty() ? "null" : id) + ", \"\")\n";
}

// ---- calls ----

ZEPListValZEPPLMID listOf(const Texts& ids) {
  ZEPListValZEPPLMID list;
  for (const std::string& id : ids) {
    list.Append(ZEPPLMID(textOf(id)));
  }
  return list;
}

std::vector<ZEPUnicodeString> vectorOf(const Texts& texts) {
  std::vector<ZEPUnicodeString> vector;
  for (const std::string& text : texts) {
    vector.push_back(textOf(text));
  }
  return vector;
}

Texts textsOf(const std::vector<ZEPUnicodeString>& vector) {
  Texts texts;
  for (const ZEPUnicodeString& text : vector) {
    texts.push_back(utf8Of(text));
  }
  return texts;
}

struct JsonList {
  Texts ids;
  Texts before = {}; // what the vector holds already
};

struct JsonListOutcome {
  long result = S_OK;
  Texts texts;
  std::string steps;
};

class WebJsonListTest : public WebCallTest {
protected:
  // F and G are features, P and Q are not.
  static Preparation WithObjects(const Preparation& prepare = [] {}) {
    return [prepare] {
      script().objects = {
          {"F", {1, "F.logical", "F.physical"}},
          {"G", {1, "G.logical", "G.physical"}},
          {"P", {0, "P.logical", "P.physical"}},
          {"Q", {0, "Q.logical", "Q.physical"}},
      };
      prepare();
    };
  }

  void Expect(
      const JsonList& list, const JsonListOutcome& expected, const Preparation& prepare = [] {}) {
    InEveryMode(WithObjects(prepare), expected.steps, [&] {
      std::vector<ZEPUnicodeString> texts = vectorOf(list.before);
      EXPECT_EQ(codeName(ZEPCfgWebServices::BuildJsonList(listOf(list.ids), texts)),
                codeName(expected.result));
      EXPECT_EQ(textsOf(texts), expected.texts);
    });
  }

  void ExpectException(const JsonList& list, const JsonListOutcome& expected, const Preparation& prepare) {
    InEveryMode(WithObjects(prepare), expected.steps, [&] {
      std::vector<ZEPUnicodeString> texts = vectorOf(list.before);
      EXPECT_THROW(ZEPCfgWebServices::BuildJsonList(listOf(list.ids), texts), ScriptedException);
      EXPECT_EQ(textsOf(texts), expected.texts);
    });
  }
};

// ---- nothing fails ----

TEST_F(WebJsonListTest, emptyList_isOK_andLeavesTheTexts) {
  Expect({{}}, {S_OK, {}, begun(0) + ended({}, "S_OK")});
  Expect({{}, {"one", "two"}}, {S_OK, {"one", "two"}, begun(0) + ended({"one", "two"}, "S_OK")});
}

TEST_F(WebJsonListTest, feature_givesItsLogicalIdentifier) {
  Expect({{"F"}}, {S_OK, {"F.logical"}, begun(1) + featureSteps("F") + ended({"F.logical"}, "S_OK")});
}

TEST_F(WebJsonListTest, otherObject_givesItsPhysicalIdentifier) {
  Expect({{"P"}}, {S_OK, {"P.physical"}, begun(1) + partSteps("P") + ended({"P.physical"}, "S_OK")});
}

TEST_F(WebJsonListTest, texts_areInTheOrderOfTheList) {
  Expect({{"F", "P"}},
         {S_OK,
          {"F.logical", "P.physical"},
          begun(2) + featureSteps("F") + partSteps("P") + ended({"F.logical", "P.physical"}, "S_OK")});
  const Texts texts = {"Q.physical", "G.logical", "P.physical", "F.logical", "Q.physical", "Q.physical"};
  Expect({{"Q", "G", "P", "F", "Q", "Q"}},
         {S_OK, texts,
          begun(6) + partSteps("Q") + featureSteps("G") + partSteps("P") + featureSteps("F") +
              partSteps("Q") + partSteps("Q") + ended(texts, "S_OK")});
}

TEST_F(WebJsonListTest, textsThatAreThereAlready_stayInFront_andAreTracedToo) {
  const Texts texts = {"one", "", "P.physical", "F.logical"};
  Expect({{"P", "F"}, {"one", ""}},
         {S_OK, texts, begun(2) + partSteps("P") + featureSteps("F") + ended(texts, "S_OK")});
}

TEST_F(WebJsonListTest, secondCall_appendsToTheFirst) {
  WithObjects()();
  std::vector<ZEPUnicodeString> texts;
  EXPECT_EQ(ZEPCfgWebServices::BuildJsonList(listOf({"F"}), texts), S_OK);
  EXPECT_EQ(ZEPCfgWebServices::BuildJsonList(listOf({"P", "F"}), texts), S_OK);
  EXPECT_EQ(textsOf(texts), (Texts{"F.logical", "P.physical", "F.logical"}));
}

TEST_F(WebJsonListTest, nullIdentifier_isNotSkipped) {
  Expect({{"P", "", "F"}},
         {S_OK,
          {"P.physical", "null.physical", "F.logical"},
          begun(3) + partSteps("P") + partSteps("") + featureSteps("F") +
              ended({"P.physical", "null.physical", "F.logical"}, "S_OK")},
         [] {
           script().objects[""] = {0, "null.logical", "null.physical"};
         });
  Expect({{""}}, {S_OK, {"null.logical"}, begun(1) + featureSteps("") + ended({"null.logical"}, "S_OK")}, [] {
    script().objects[""] = {1, "null.logical", "null.physical"};
  });
}

TEST_F(WebJsonListTest, object_isAFeature_whateverTheNumberThatSaysSo) {
  for (const int yes : {1, 2, 128, 255}) {
    SCOPED_TRACE(yes);
    Expect({{"P"}}, {S_OK, {"P.logical"}, begun(1) + featureSteps("P") + ended({"P.logical"}, "S_OK")},
           [yes] { script().objects["P"].isOfType = static_cast<unsigned char>(yes); });
  }
}

TEST_F(WebJsonListTest, texts_areTakenAsTheyStand) {
  struct Row {
    int line;
    std::string text;
    std::string shown; // in the trace
  };
  const std::string longText(100000, 'x');
  const Row rows[] = {
      Row{__LINE__, "", ""},
      Row{__LINE__, " ", " "},
      Row{__LINE__, R"("quoted", \n)", R"("quoted", \n)"},
      Row{__LINE__, "[a,b]", "[a,b]"},
      Row{__LINE__, "a\nb", "a\\nb"},
      Row{__LINE__, std::string("a\0b", 3), "a\\x00b"},
      Row{__LINE__, "caf\xC3\xA9 \xF0\x9F\x98\x80", "caf\xC3\xA9 \xF0\x9F\x98\x80"},
      Row{__LINE__, longText, longText},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE("row at line " + std::to_string(row.line));
    const auto prepare = [&row] {
      script().objects["F"].logicalId = row.text;
      script().objects["P"].physicalId = row.text;
    };
    Expect({{"F", "P"}},
           {S_OK,
            {row.text, row.text},
            begun(2) + featureSteps("F") + partSteps("P") + ended({row.shown, row.shown}, "S_OK")},
           prepare);
  }
}

TEST_F(WebJsonListTest, textOfAnIdentifier_isTracedAsItStands) {
  Expect({{"a]b [c"}}, {S_OK, {""}, begun(1) + partSteps("a]b [c") + ended({""}, "S_OK")});
}

TEST_F(WebJsonListTest, longList_isHandledWhole) {
  constexpr int count = 20000;
  WithObjects()();
  Texts ids;
  Texts expected = {"before"};
  for (int i = 0; i < count; ++i) {
    const bool isFeature = i % 3 == 0;
    const std::string number = std::to_string(i);
    ids.push_back(number);
    script().objects[number] = {static_cast<unsigned char>(isFeature ? 1 : 0), "l" + number, "p" + number};
    expected.push_back((isFeature ? "l" : "p") + number);
  }
  std::vector<ZEPUnicodeString> texts = vectorOf({"before"});
  EXPECT_EQ(ZEPCfgWebServices::BuildJsonList(listOf(ids), texts), S_OK);
  EXPECT_TRUE(textsOf(texts) == expected);
  EXPECT_EQ(script().count(Op::IsPLMIDOfType), count);
  EXPECT_EQ(script().count(Op::GetLogicalID), (count + 2) / 3);
  EXPECT_EQ(script().count(Op::GetLogicalID) + script().count(Op::GetPhysicalID), count);
  EXPECT_EQ(script().count(Op::PLMIDToString), 0);
}

// ---- codes ----

TEST_F(WebJsonListTest, positiveCode_isSuccess_andTheLastOneIsTheResult) {
  struct Row {
    int line;
    Op operation;
    int nth;
    long code;
    long result;
  };
  const Row rows[] = {
      Row{__LINE__, Op::IsPLMIDOfType, 1, S_FALSE, S_OK},
      Row{__LINE__, Op::IsPLMIDOfType, 4, S_FALSE, S_OK}, // the text is asked for behind it
      Row{__LINE__, Op::GetLogicalID, 1, S_FALSE, S_OK},
      Row{__LINE__, Op::GetPhysicalID, 1, S_FALSE, S_OK},
      Row{__LINE__, Op::GetLogicalID, 2, S_FALSE, S_OK},
      Row{__LINE__, Op::GetPhysicalID, 2, S_FALSE, S_FALSE},
      Row{__LINE__, Op::GetPhysicalID, 2, 5, 5},
  };
  const Texts texts = {"F.logical", "P.physical", "G.logical", "Q.physical"};
  for (const Row& row : rows) {
    SCOPED_TRACE("row at line " + std::to_string(row.line));
    Expect({{"F", "P", "G", "Q"}},
           {row.result, texts,
            begun(4) + featureSteps("F") + partSteps("P") + featureSteps("G") + partSteps("Q") +
                ended(texts, codeName(row.result))},
           [&row] { script().returns(row.operation, row.code).at(row.nth); });
  }
  Expect({{"P", "F"}},
         {S_FALSE,
          {"P.physical", "F.logical"},
          begun(2) + partSteps("P") + featureSteps("F") + ended({"P.physical", "F.logical"}, "S_FALSE")},
         [] { script().returns(Op::GetLogicalID, S_FALSE); });
}

// ---- failures ----

// A failure in a list of three, between two texts from before and the steps of the identifiers.
struct Failure {
  int line;
  Texts ids;
  Op operation;
  int nth;
  Texts texts;       // appended until then
  std::string steps; // of the identifiers, up to the call that fails
  std::string message;
};

std::vector<Failure> failures() {
  const std::string typeMessage = "ERROR: IsPLMIDOfType failed";
  const std::string logicalMessage = "ERROR: GetLogicalID failed";
  const std::string physicalMessage = "ERROR: GetPhysicalID failed";
  return {
      Failure{__LINE__, {"F", "P", "G"}, Op::IsPLMIDOfType, 1, {}, typeAsked("F"), typeMessage},
      Failure{__LINE__, {"F", "P", "G"}, Op::GetLogicalID, 1, {}, featureSteps("F"), logicalMessage},
      Failure{__LINE__, {"P", "F", "G"}, Op::GetPhysicalID, 1, {}, partSteps("P"), physicalMessage},
      Failure{__LINE__,
              {"F", "P", "G"},
              Op::IsPLMIDOfType,
              2,
              {"F.logical"},
              featureSteps("F") + typeAsked("P"),
              typeMessage},
      Failure{__LINE__,
              {"F", "P", "G"},
              Op::IsPLMIDOfType,
              3,
              {"F.logical", "P.physical"},
              featureSteps("F") + partSteps("P") + typeAsked("G"),
              typeMessage},
      Failure{__LINE__,
              {"F", "P", "G"},
              Op::GetLogicalID,
              2,
              {"F.logical", "P.physical"},
              featureSteps("F") + partSteps("P") + featureSteps("G"),
              logicalMessage},
      Failure{__LINE__,
              {"F", "P", "Q"},
              Op::GetPhysicalID,
              2,
              {"F.logical", "P.physical"},
              featureSteps("F") + partSteps("P") + partSteps("Q"),
              physicalMessage},
      Failure{__LINE__,
              {"F", "", "Q"},
              Op::IsPLMIDOfType,
              2,
              {"F.logical"},
              featureSteps("F") + typeAsked(""),
              typeMessage},
  };
}

Texts joined(const Texts& first, const Texts& second) {
  Texts all = first;
  all.insert(all.end(), second.begin(), second.end());
  return all;
}

TEST_F(WebJsonListTest, failure_isTheResult_andKeepsTheTextsBeforeIt) {
  const Texts before = {"one", "two"};
  for (const Failure& row : failures()) {
    SCOPED_TRACE("row at line " + std::to_string(row.line));
    const Texts texts = joined(before, row.texts);
    for (const long code : {E_FAIL, E_INVALIDARG, -123456L}) {
      const JsonListOutcome expected = {
          code, texts, begun(3) + row.steps + error(row.message) + ended(texts, codeName(code))};
      Expect({row.ids, before}, expected, [&] { script().fail(row.operation, code).at(row.nth); });
      // Whatever the call gave besides.
      Expect({row.ids, before}, expected, [&] { script().returns(row.operation, code).at(row.nth); });
    }
  }
}

TEST_F(WebJsonListTest, exception_passesThrough_andKeepsTheTextsBeforeIt) {
  const Texts before = {"one", "two"};
  for (const Failure& row : failures()) {
    SCOPED_TRACE("row at line " + std::to_string(row.line));
    ExpectException({row.ids, before}, {S_OK, joined(before, row.texts), begun(3) + row.steps + exitAlone},
                    [&row] { script().throwIn(row.operation).at(row.nth); });
  }
}

TEST_F(WebJsonListTest, exceptionWhileAnIdentifierIsTraced_passesThrough) {
  WithObjects()();
  script().traceOn();
  script().throwIn(Op::PLMIDToString).at(2);
  std::vector<ZEPUnicodeString> texts;
  EXPECT_THROW(ZEPCfgWebServices::BuildJsonList(listOf({"F", "P"}), texts), ScriptedException);
  EXPECT_EQ(textsOf(texts), Texts{"F.logical"});
  EXPECT_EQ(StepsTaken(),
            ShownWithTrace(begun(2) + featureSteps("F") + "@ ZEPPLMID::ToString(P, 0)\n" + exitAlone));
}

// ---- trace ----

TEST_F(WebJsonListTest, trace_isAskedAnewForEveryRecord) {
  const Texts texts = {"before", "F.logical", "P.physical"};
  const std::string steps = begun(3) + featureSteps("F") + partSteps("P") + typeAsked("") +
                            error("ERROR: IsPLMIDOfType failed") + ended(texts, "E_ABORT");
  InEveryQuestion(WithObjects([] { script().fail(Op::IsPLMIDOfType, E_ABORT).at(3); }), steps, [] {
    std::vector<ZEPUnicodeString> vector = vectorOf({"before"});
    EXPECT_EQ(ZEPCfgWebServices::BuildJsonList(listOf({"F", "P", ""}), vector), E_ABORT);
  });
}

// ---- memory ----

TEST_F(WebJsonListTest, nothingIsLeftBehind_onEveryWayOut) {
  ZEP_SKIP_UNLESS_ALLOCATIONS_ARE_SEEN()
  struct Row {
    int line;
    Preparation prepare;
  };
  const Row rows[] = {
      Row{__LINE__, [] {}},
      Row{__LINE__, [] { script().fail(Op::GetPhysicalID, E_ABORT).at(2); }},
      Row{__LINE__, [] { script().throwIn(Op::IsPLMIDOfType).at(3); }},
      Row{__LINE__, [] { script().throwIn(Op::GetLogicalID).at(2); }},
      Row{__LINE__, [] { script().throwIn(Op::GetPhysicalID).at(2); }},
      Row{__LINE__, [] { script().throwIn(Op::PLMIDToString).at(4); }},
  };
  const auto aliveAfter = [](const Preparation& prepare) {
    script().reset();
    script().traceOn();
    WithObjects(prepare)();
    try {
      std::vector<ZEPUnicodeString> texts = vectorOf({"a text that is longer than a short one"});
      ZEPCfgWebServices::BuildJsonList(listOf({"F", "P", "G", "Q"}), texts);
    } catch (const ScriptedException&) {}
    EXPECT_EQ(script().problems(), "");
    script().reset();
    return allocations::alive();
  };
  for (const Row& row : rows) {
    SCOPED_TRACE("row at line " + std::to_string(row.line));
    const long first = aliveAfter(row.prepare); // the script's own buffers have grown then
    EXPECT_EQ(aliveAfter(row.prepare), first);
  }
}

} // namespace
