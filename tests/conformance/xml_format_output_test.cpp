#include "XMLFormatTest.h"

#include <optional>

// What becomes of the bytes that a transformation wrote, and what is said when it failed.

using namespace scripted;

namespace {

using XMLFormatOutputTest = XMLFormatTest;

// The units as bytes in the machine's order.
std::string bytesOf(const std::u16string& units) {
  return {reinterpret_cast<const char*>(units.data()), units.size() * sizeof(char16_t)};
}

TEST_F(XMLFormatOutputTest, bytes_areDecodedAsTheStylesheetsFileSays) {
  constexpr bool utf16 = true;
  constexpr bool utf8 = false;
  struct Row {
    int line;
    bool isUTF16;
    std::string bytes;
    std::string text;
  };
  const Row rows[] = {
      Row{__LINE__, utf16, "", ""},
      Row{__LINE__, utf16, "x", ""},
      Row{__LINE__, utf16, bytesOf(u"\uFEFF"), ""},
      Row{__LINE__, utf16, "xy", ""},
      Row{__LINE__, utf16, bytesOf(u"\uFEFF") + "x", ""},
      Row{__LINE__, utf16, bytesOf(u"\uFEFFa"), "a"},
      Row{__LINE__, utf16, bytesOf(u"\uFEFFa") + "x", "a"},
      Row{__LINE__, utf16, bytesOf(u"\uFEFF\u00E9\u65E5 text\n"), "\xC3\xA9\xE6\x97\xA5 text\n"},
      Row{__LINE__, utf16, bytesOf(u"\uFEFF\U0001F600"), "\xF0\x9F\x98\x80"},
      Row{__LINE__, utf16, bytesOf({0xFEFF, 'a', 0xD800, 'b'}),
          "a\xEF\xBF\xBD"
          "b"},
      // the first two bytes are not looked at
      Row{__LINE__, utf16, bytesOf(u"xab"), "ab"},
      Row{__LINE__, utf16, bytesOf({0xFFFE, 'a'}), "a"},
      Row{__LINE__, utf16, bytesOf(u"\uFEFF\uFEFFa"),
          "\xEF\xBB\xBF"
          "a"},
      Row{__LINE__, utf8, "", ""},
      Row{__LINE__, utf8, "x", "x"},
      Row{__LINE__, utf8, "xy", "xy"},
      Row{__LINE__, utf8, "text\n", "text\n"},
      Row{__LINE__, utf8, "\xC3\xA9\xF0\x9F\x98\x80", "\xC3\xA9\xF0\x9F\x98\x80"},
      Row{__LINE__, utf8, "a\xFF", "a\xEF\xBF\xBD"},
      Row{__LINE__, utf8, "\xEF\xBB\xBFx", "\xEF\xBB\xBFx"},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE("row at line " + std::to_string(row.line));
    StartTraced();
    script().files[path] = row.isUTF16 ? "<xsl:output/>" : "<xsl:output encoding='UTF-8'/>";
    script().transformBytes = row.bytes;
    EXPECT_EQ(Format(), (Outcome{S_OK, row.text}));
    std::string shownText = row.text;
    if (shownText.ends_with('\n')) {
      shownText.replace(shownText.size() - 1, 1, "\\n");
    }
    const std::string sizeLine = "| byteArraySize = " + std::to_string(row.bytes.size()) + "\n";
    EXPECT_EQ(Log().substr(Until(Log(), "GetBuffer()").size()),
              sizeLine + "| result = [" + shownText + "]\n" + ReleaseBuffer() + Ending(shownText, S_OK));
    endRow();
  }
}

TEST_F(XMLFormatOutputTest, nullBytes_leaveTheOutput_withTheCodeOfGetBuffer) {
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
      // success without anything done: the pointer is then the null that it was before the call
      Row{__LINE__, [] { script().fail(Op::GetBuffer, S_OK); }, S_OK},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE("row at line " + std::to_string(row.line));
    StartTraced();
    row.prepare();
    EXPECT_EQ(Format(), (Outcome{row.result, "as it was"}));
    EXPECT_EQ(Log(), UsualUntil("GetBuffer()") + "| byteArray  is null\n" + ReleaseBuffer() +
                         Ending("as it was", row.result));
    endRow();

    StartTraced(false);
    row.prepare();
    EXPECT_EQ(Format(), (Outcome{row.result, "as it was"}));
    EXPECT_EQ(Trace(), "");
    endRow();
  }
}

TEST_F(XMLFormatOutputTest, emptyResult_emptiesTheOutput_withTheCodeOfGetBuffer) {
  script().transformBytes = "";
  script().returns(Op::GetBuffer, S_FALSE);
  EXPECT_EQ(Format(), (Outcome{S_FALSE, ""}));
}

// Only the answer S_FALSE says that the output is not UTF-16.
TEST_F(XMLFormatOutputTest, encodingCheck_neverEndsTheFormatting) {
  struct Row {
    int line;
    void (*prepare)();
    bool isUTF16;
    std::string errors;
    long checked;
  };
  const Row rows[] = {
      Row{__LINE__, [] {}, true, "", S_OK},
      Row{__LINE__, [] { script().files[path] = "xsl:output utf-8"; }, false, "", S_FALSE},
      Row{__LINE__, [] { script().returns(Op::ZEPFGets, S_FALSE); }, false, "", S_FALSE},
      Row{__LINE__, [] { script().returns(Op::ZEPFGets, 7); }, true, "", 7},
      Row{__LINE__, [] { script().files[path] = ""; }, true, "", S_OK},
      Row{__LINE__, [] { script().fail(Op::ZEPFOpen, E_ACCESSDENIED); }, true,
          errorLines("ZEPFOpen of : C:\\x.xsl FAILED."), E_ACCESSDENIED},
      Row{__LINE__,
          [] {
            script().fail(Op::ZEPFGets, E_ABORT);
            script().allowOpenFile();
          },
          true, errorLines("ERROR: ZEPFGets failed"), E_ABORT},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE("row at line " + std::to_string(row.line));
    StartTraced();
    row.prepare();
    script().transformBytes = row.isUTF16 ? utf16WithMark("decoded") : "decoded";
    EXPECT_EQ(Format(), (Outcome{S_OK, "decoded"}));
    EXPECT_EQ(Trace(), formatEntry +
                           "| in_xmlExpression = [<x/>]\n"
                           "| in_customXSLFile = [C:\\x.xsl]\n"
                           "| XSLTFilePath = [C:\\x.xsl]\n"
                           "| XSLTFilePath = [C:\\x.xsl]\n" +
                           encodingEntry + "| in_XSLFilePath = [C:\\x.xsl]\n" + row.errors +
                           resultLines(row.checked) + "| byteArraySize = " + (row.isUTF16 ? "16" : "7") +
                           "\n| result = [decoded]\n" + Ending("decoded", S_OK));
    EXPECT_EQ(script().count(Op::ZEPGetLastError), 0);
    endRow();
  }
}

// Of two formattings each is decoded by its own stylesheet.
TEST_F(XMLFormatOutputTest, encoding_isToldAnew_forEveryCall) {
  script().files["C:\\utf8.xsl"] = "<xsl:output encoding=\"UTF-8\"/>";
  script().transformBytes = "utf8";
  EXPECT_EQ(formatExpression("<x/>", "C:\\utf8.xsl"), (Outcome{S_OK, "utf8"}));
  script().transformBytes = utf16WithMark("utf16");
  EXPECT_EQ(formatExpression("<x/>", path), (Outcome{S_OK, "utf16"}));
}

// ---- the report of a failure ----

TEST_F(XMLFormatOutputTest, report_showsWhatThePlatformSays_andHasItForgotten) {
  struct Row {
    int line;
    std::optional<std::string> lastError;
    std::string calls;
    std::string message;
  };
  const std::string fetch = "ZEPGetLastError(E_ABORT, null)\n";
  const std::string read = "GetMessageText()\nReleaseError()\n~error\n";
  const Row rows[] = {
      Row{__LINE__, std::nullopt, fetch, "XSLTProcessor has failed:\\n"},
      Row{__LINE__, "", fetch + read, "XSLTProcessor has failed:\\n"},
      Row{__LINE__, "line 3: \xC3\xA9", fetch + read, "XSLTProcessor has failed:\\nline 3: \xC3\xA9"},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE("row at line " + std::to_string(row.line));
    const std::string report = row.calls + "ZEPCleanLastError()\n";
    StartTraced();
    script().fail(Op::Transform, E_ABORT);
    script().lastError = row.lastError;
    EXPECT_EQ(Format(), (Outcome{E_ABORT, "as it was"}));
    EXPECT_EQ(Log(), UsualUntil("~outputSource") + errorLines("Transform failed") + ReleaseBuffer() + report +
                         "| message = [" + row.message + "]\n" + Ending("as it was", E_ABORT));
    EXPECT_EQ(script().lastError, std::nullopt);
    endRow();

    StartTraced(false);
    script().fail(Op::Transform, E_ABORT);
    script().lastError = row.lastError;
    EXPECT_EQ(Format(), (Outcome{E_ABORT, "as it was"}));
    EXPECT_EQ(script().calls(), CallsOf(UsualUntil("~outputSource") + ReleaseBuffer()) + report);
    EXPECT_EQ(Trace(), errorLines("Transform failed"));
    EXPECT_EQ(script().lastError, std::nullopt);
    endRow();
  }
}

TEST_F(XMLFormatOutputTest, report_isAskedForTheResult_whenAnObjectIsMissing) {
  script().giveEmpty(Op::CreateZEPIXMLXSLFactory);
  script().lastError = "why";
  EXPECT_EQ(Format(), (Outcome{E_FAIL, "as it was"}));
  EXPECT_EQ(script().linesWith("LastError"), "ZEPGetLastError(E_FAIL, null)\nZEPCleanLastError()\n");
}

TEST_F(XMLFormatOutputTest, lastError_isLeftAlone_whenNothingFailed) {
  struct Row {
    int line;
    void (*prepare)();
    const char* expression;
    Outcome outcome;
  };
  const Row rows[] = {
      Row{__LINE__, [] {}, "<x/>", {S_OK, "formatted"}},
      Row{__LINE__, [] {}, "", {S_FALSE, "as it was"}},
      Row{__LINE__, [] { script().fail(Op::CreateOutputSource, E_ABORT); }, "<x/>", {S_OK, "as it was"}},
      Row{__LINE__, [] { script().transformBytes = std::nullopt; }, "<x/>", {S_OK, "as it was"}},
      Row{__LINE__, [] { script().returns(Op::GetBuffer, S_FALSE); }, "<x/>", {S_FALSE, "formatted"}},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE("row at line " + std::to_string(row.line));
    Start();
    script().lastError = "of somebody else";
    row.prepare();
    EXPECT_EQ(formatExpression(row.expression, path), row.outcome);
    EXPECT_EQ(script().linesWith("LastError"), "");
    EXPECT_EQ(script().lastError, "of somebody else");
    endRow();
  }
}

} // namespace
