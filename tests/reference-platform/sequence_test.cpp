#include "ZEPBaseUnknown_var.h"
#include "ZEPCfgXMLExpressionServices.h"
#include "ZEPHResult.h"
#include "ZEPListValZEPUnicodeString.h"
#include "session_test_support.h"
#include "support/XMLTest.h"

#include <algorithm>
#include <filesystem>
#include <ostream>
#include <string>
#include <vector>

// The formatting sequence and the batch with real stylesheets: each text is that of the one-shot
// formatting. Once a sequence used a stylesheet with UTF-8 output, every later one of the process
// decodes that way, so tests that use different encodings need processes of their own.

namespace {

using xml::Unicode;

const std::string displaySheet = ZEP_STYLESHEET_FOLDER "/CfgEffectivityDisplay.xsl";
const std::string branchingSheet = ZEP_STYLESHEET_FOLDER "/CfgEffectivityDisplay_Branching.xsl";
const char notXML[] = "<open";

struct Formatted {
  long result = 0;
  std::string text;

  bool operator==(const Formatted&) const = default;
};

void PrintTo(const Formatted& formatted, std::ostream* out) {
  *out << formatted.result << " \"" << formatted.text << '"';
}

Formatted Once(const std::string& expression, const std::string& sheet, unsigned char compactView = 0) {
  ZEPUnicodeString text = "as it was";
  const long result =
      ZEPCfgXMLExpressionServices::FormatExpression(Unicode(expression), text, Unicode(sheet), compactView);
  return {result, text.ConvertToChar()};
}

Formatted Next(const std::string& expression, unsigned char compactView = 0) {
  ZEPUnicodeString text = "as it was";
  const long result =
      ZEPCfgXMLExpressionServices::ExpressionFormatting(Unicode(expression), text, compactView);
  return {result, text.ConvertToChar()};
}

std::vector<std::string> Samples() {
  std::vector<std::string> paths;
  for (const auto& entry : std::filesystem::directory_iterator(ZEP_SAMPLE_FOLDER)) {
    if (entry.path().extension() == ".xml") {
      paths.push_back(entry.path().string());
    }
  }
  std::sort(paths.begin(), paths.end());
  return paths;
}

class SequenceTest : public ::testing::Test {
protected:
  void TearDown() override { EXPECT_EQ(ZEPCfgXMLExpressionServices::EndExpressionFormatting(), S_OK); }

  static void Open(const std::string& sheet) {
    ASSERT_EQ(ZEPCfgXMLExpressionServices::StartExpressionFormatting(Unicode(sheet)), S_OK);
  }
};

TEST_F(SequenceTest, everySample_givesTheTextOfTheOneShotFormatting) {
  const std::vector<std::string> samples = Samples();
  ASSERT_GE(samples.size(), 10U);
  constexpr unsigned char views[] = {0, 1};
  for (const std::string& sheet : {displaySheet, branchingSheet}) {
    for (const unsigned char compactView : views) {
      Open(sheet);
      for (const std::string& sample : samples) {
        SCOPED_TRACE(sheet + ", " + sample + ", compact " + std::to_string(compactView));
        const std::string expression = session::ContentOf(sample);
        const Formatted once = Once(expression, sheet, compactView);
        EXPECT_EQ(once.result, S_OK);
        EXPECT_NE(once.text, "");
        EXPECT_NE(once.text, "as it was");
        EXPECT_EQ(Next(expression, compactView), once);
      }
    }
  }
}

TEST_F(SequenceTest, sameExpression_givesTheSameText_howeverOften) {
  const std::string expression = session::ContentOf(ZEP_SAMPLE_FOLDER "/nested-logic.xml");
  const Formatted once = Once(expression, displaySheet);
  Open(displaySheet);
  for (int i = 0; i < 200; ++i) {
    ASSERT_EQ(Next(expression), once) << i;
  }
}

TEST_F(SequenceTest, compactView_sticks_untilTheNextStart) {
  const std::string expression = session::ContentOf(ZEP_SAMPLE_FOLDER "/nested-logic.xml");
  const Formatted full = Once(expression, displaySheet, 0);
  const Formatted compact = Once(expression, displaySheet, 1);
  ASSERT_NE(full, compact);
  Open(displaySheet);
  EXPECT_EQ(Next(expression, 0), full);
  EXPECT_EQ(Next(expression, 1), compact);
  EXPECT_EQ(Next(expression, 0), compact);
  Open(displaySheet);
  EXPECT_EQ(Next(expression, 0), full);
}

TEST_F(SequenceTest, failedExpression_leavesTheSequenceUsable) {
  const std::string expression = session::ContentOf(ZEP_SAMPLE_FOLDER "/dates.xml");
  const Formatted once = Once(expression, displaySheet);
  const Formatted failed = Once(notXML, displaySheet);
  EXPECT_TRUE(ZEPFailed(failed.result));
  EXPECT_EQ(failed.text, "as it was");
  Open(displaySheet);
  for (int i = 0; i < 3; ++i) {
    EXPECT_EQ(Next(notXML), failed);
    EXPECT_EQ(Next(expression), once);
    EXPECT_EQ(Next(""), (Formatted{S_FALSE, "as it was"}));
  }
}

TEST_F(SequenceTest, failedStart_leavesNothingToFormatWith) {
  const session::TempDirectory directory;
  const std::string sheet = directory.Write("broken.xsl", notXML);
  EXPECT_TRUE(ZEPFailed(ZEPCfgXMLExpressionServices::StartExpressionFormatting(Unicode(sheet))));
  EXPECT_THROW(Next("<x/>"), ZEPErrorNullVar);
  const std::string expression = session::ContentOf(ZEP_SAMPLE_FOLDER "/dates.xml");
  Open(displaySheet);
  EXPECT_EQ(Next(expression), Once(expression, displaySheet));
}

// A stylesheet that names no encoding gives out UTF-16, the one-shot formatting and the sequence
// alike; its file may go once it is compiled.
TEST_F(SequenceTest, sheetWithoutEncoding_isDecodedAsUTF16_evenWhenItsFileIsGone) {
  const session::TempDirectory directory;
  const std::string sheet = directory.Write(
      "plain.xsl", "<xsl:stylesheet version='1.0' xmlns:xsl='http://www.w3.org/1999/XSL/Transform'>\n"
                   "<xsl:output method='text'/>\n"
                   "<xsl:template match='/'>[<xsl:value-of select='.'/>]</xsl:template>\n"
                   "</xsl:stylesheet>\n");
  const std::string expression = "<x>\xC3\xA9\xF0\x9F\x98\x80</x>";
  const Formatted expected{S_OK, "[\xC3\xA9\xF0\x9F\x98\x80]"};
  EXPECT_EQ(Once(expression, sheet), expected);
  Open(sheet);
  EXPECT_EQ(Next(expression), expected);
  std::filesystem::remove(sheet);
  EXPECT_EQ(Next(expression), expected);
}

// ---- batch ----

Formatted Batch(const std::vector<std::string>& expressions, const std::string& sheet) {
  ZEPListValZEPUnicodeString in;
  for (const std::string& expression : expressions) {
    in.Append(Unicode(expression));
  }
  ZEPListValZEPUnicodeString out;
  const long result = ZEPCfgXMLExpressionServices::FormatExpressions(in, out, Unicode(sheet), 1);
  std::string texts;
  for (int i = 1; i <= out.Size(); ++i) {
    texts += "{" + std::string(out[i].ConvertToChar()) + "}";
  }
  return {result, texts};
}

TEST_F(SequenceTest, batch_givesTheFullTextOfEachSample) {
  std::vector<std::string> expressions;
  std::string texts;
  for (const std::string& sample : Samples()) {
    expressions.push_back(session::ContentOf(sample));
    texts += "{" + Once(expressions.back(), displaySheet).text + "}";
  }
  expressions.emplace_back();
  EXPECT_EQ(Batch(expressions, displaySheet), (Formatted{S_OK, texts + "{}"}));
}

TEST_F(SequenceTest, batch_endsAtTheElementThatIsNotXML_andCanBeRunAgain) {
  const std::string expression = session::ContentOf(ZEP_SAMPLE_FOLDER "/dates.xml");
  const Formatted once = Once(expression, displaySheet);
  const std::string text = "{" + once.text + "}";
  const Formatted failed{Once(notXML, displaySheet).result, text + text};
  EXPECT_TRUE(ZEPFailed(failed.result));
  for (int i = 0; i < 3; ++i) {
    EXPECT_EQ(Batch({expression, expression, notXML, expression, expression}, displaySheet), failed);
    EXPECT_EQ(Next(expression), once) << "the sequence is open";
    EXPECT_EQ(Batch({expression}, displaySheet), (Formatted{S_OK, text}));
    EXPECT_THROW(Next(expression), ZEPErrorNullVar) << "the sequence is closed";
  }
}

} // namespace
