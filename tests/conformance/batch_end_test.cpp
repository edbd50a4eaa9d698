#include "SequenceTest.h"

// The end of a sequence cannot fail by itself. A client may put an operation of its own in its place, as
// every exported one; what the batch does with its failure is seen that way.

using namespace scripted;

namespace {

long endResult = S_OK;
int endCount = 0;

} // namespace

// In the place of the library's.
long ZEPCfgXMLExpressionServices::EndExpressionFormatting() {
  ++endCount;
  return endResult;
}

namespace {

class BatchEndTest : public SequenceTest {
protected:
  // Nobody gives back what the sequence keeps.
  void SetUp() override {
    SequenceTest::SetUp();
    StartTraced();
    script().allowLiveObjects();
  }

  static Outcome FormatOne() {
    ZEPListValZEPUnicodeString out = listOf({"before"});
    const long result = ZEPCfgXMLExpressionServices::FormatExpressions(listOf({"<x/>"}), out, path, 0);
    return {result, shownList(out)};
  }
  static std::string BehindTheElement() {
    const std::string element = ElementEnding("formatted", S_OK);
    const std::string log = Log();
    return log.substr(log.rfind(element) + element.size());
  }
};

TEST_F(BatchEndTest, failedEnd_isTheResult_andAllTextsStay) {
  endResult = E_ABORT;
  EXPECT_EQ(FormatOne(), (Outcome{E_ABORT, "<before><formatted>"}));
  EXPECT_EQ(endCount, 1);
  EXPECT_EQ(BehindTheElement(), errorLines("ERROR: EndExpressionFormatting ") + resultLines(E_ABORT));
}

TEST_F(BatchEndTest, positiveCodeOfTheEnd_isTheResult) {
  endResult = S_FALSE;
  EXPECT_EQ(FormatOne(), (Outcome{S_FALSE, "<before><formatted>"}));
  EXPECT_EQ(endCount, 1);
  EXPECT_EQ(BehindTheElement(), resultLines(S_FALSE));
}

} // namespace
