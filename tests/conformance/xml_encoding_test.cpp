#include "XMLExpressionTest.h"

// Whether a stylesheet's output is UTF-16, told from the line of its file that names the output.

using namespace scripted;

namespace {

const char path[] = "C:\\x.xsl";

class XMLEncodingTest : public XMLExpressionTest {
protected:
  static long Check(const char* file = path) { return ZEPCfgXMLExpressionServices::IsEncodingUTF16(file); }

  static std::string Entry(const std::string& file = path) {
    return encodingEntry + "| in_XSLFilePath = [" + file + "]\n";
  }
};

const std::string open = "ZEPFOpen(C:\\x.xsl, r)\n";
const std::string atEnd = "ZEPFEof(11)\n";
const std::string readLine = "ZEPFEof(11)\nZEPFGets(1024, 11)\n";
const std::string close = "ZEPFClose(11)\n";

std::string times(int count, const std::string& text) {
  std::string result;
  for (int i = 0; i < count; ++i) {
    result += text;
  }
  return result;
}

TEST_F(XMLEncodingTest, check_answersWhatTheOutputLineSays) {
  struct Row {
    int line;
    std::string content;
    int linesRead;
    bool endIsSeen; // no line names the output
    long result;
  };
  const std::string nul(1, '\0');
  const Row rows[] = {
      // the line itself
      Row{__LINE__, "<xsl:output method=\"text\" encoding=\"UTF-8\"/>", 1, false, S_FALSE},
      Row{__LINE__, "<xsl:output method=\"text\" encoding=\"utf-8\"/>\n", 1, false, S_FALSE},
      Row{__LINE__, "<xsl:output encoding=\"uTf-8\"/>\r\n", 1, false, S_FALSE},
      Row{__LINE__, "<xsl:output method=\"text\"/>\n", 1, false, S_OK},
      Row{__LINE__, "<xsl:output encoding=\"UTF-16\"/>\n", 1, false, S_OK},
      Row{__LINE__, "<xsl:output encoding=\"UTF8\"/>\n", 1, false, S_OK},
      Row{__LINE__, "xsl:output utf-8", 1, false, S_FALSE},
      Row{__LINE__, "<?xml encoding=\"utf-8\"?><xsl:output method=\"text\"/>\n", 1, false, S_FALSE},
      // the lines before it
      Row{__LINE__, "<?xml encoding=\"utf-8\"?>\n<xsl:output method=\"text\"/>\n<x/>\n", 2, false, S_OK},
      Row{__LINE__, "<a/>\n<b/>\n  <xsl:output encoding=\"UTF-8\"/>\n<c/>\n", 3, false, S_FALSE},
      Row{__LINE__, "\n\n<xsl:output encoding=\"UTF-8\"/>", 3, false, S_FALSE},
      Row{__LINE__, nul + "<xsl:output/>\n<xsl:output encoding=\"UTF-8\"/>\n", 2, false, S_FALSE},
      Row{__LINE__, "<XSL:OUTPUT/>\n<xsl:Output/>\n<xsl:output encoding=\"UTF-8\"/>\n", 3, false, S_FALSE},
      // only the first line that names the output counts
      Row{__LINE__, "<xsl:output method=\"text\"\n  encoding=\"UTF-8\"/>\n", 1, false, S_OK},
      Row{__LINE__, "<!-- xsl:output -->\n<xsl:output encoding=\"UTF-8\"/>\n", 1, false, S_OK},
      Row{__LINE__, "<!-- xsl:output in utf-8 -->\n<xsl:output/>\n", 1, false, S_FALSE},
      Row{__LINE__, "<xsl:\noutput encoding=\"UTF-8\"/>\n", 2, true, S_OK},
      Row{__LINE__, "<xsl:output encoding=\"UTF-\n8\"/>\n", 1, false, S_OK},
      // no line names it
      Row{__LINE__, "", 0, true, S_OK},
      Row{__LINE__, "\n", 1, true, S_OK},
      Row{__LINE__, nul, 1, true, S_OK},
      Row{__LINE__, "<XSL:OUTPUT encoding=\"UTF-8\"/>", 1, true, S_OK},
      Row{__LINE__, "<a encoding=\"utf-8\"/>\n<b/>\n", 2, true, S_OK},
      // each piece of a line longer than the buffer is a line of its own
      Row{__LINE__, std::string(3000, 'x') + "\n<xsl:output encoding=\"UTF-8\"/>\n", 4, false, S_FALSE},
      Row{__LINE__, std::string(1023, ' ') + "<xsl:output encoding=\"UTF-8\"/>\n", 2, false, S_FALSE},
      Row{__LINE__, std::string(993, ' ') + "<xsl:output encoding=\"UTF-8\"/>\n", 1, false, S_FALSE},
      Row{__LINE__, std::string(1005, ' ') + "<xsl:output encoding=\"UTF-8\"/>\n", 1, false, S_OK},
      Row{__LINE__, std::string(1020, ' ') + "<xsl:output encoding=\"UTF-8\"/>\n", 2, true, S_OK},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE("row at line " + std::to_string(row.line));
    startRow();
    script().traceOn();
    script().files[path] = row.content;
    EXPECT_EQ(Check(), row.result);
    EXPECT_EQ(Log(), Entry() + open + times(row.linesRead, readLine) + (row.endIsSeen ? atEnd : "") + close +
                         resultLines(row.result));
    endRow();
  }
}

TEST_F(XMLEncodingTest, failure_isEFail_whileTheTraceShowsItsCode) {
  struct Row {
    int line;
    const char* file;
    void (*prepare)();
    std::string log; // between the entry and the result
    std::string message;
    long tracedResult;
  };
  const auto nothing = [] {};
  const Row rows[] = {
      Row{__LINE__, "", nothing, "", "ERROR: in_XSLFilePath is empty", E_INVALIDARG},
      Row{__LINE__, "C:\\none.xsl", nothing, "ZEPFOpen(C:\\none.xsl, r)\n",
          "ZEPFOpen of : C:\\none.xsl FAILED.", E_FAIL},
      Row{__LINE__, "C:\\\xC3\xA9.xsl", [] { script().fail(Op::ZEPFOpen, E_ACCESSDENIED); },
          "ZEPFOpen(C:\\\xC3\xA9.xsl, r)\n", "ZEPFOpen of : C:\\\xC3\xA9.xsl FAILED.", E_ACCESSDENIED},
      Row{__LINE__, path, [] { script().fail(Op::ZEPFOpen, -123456); }, open,
          "ZEPFOpen of : C:\\x.xsl FAILED.", -123456},
      Row{__LINE__, path,
          [] {
            script().fail(Op::ZEPFGets, E_ABORT);
            script().allowOpenFile();
          },
          open + readLine, "ERROR: ZEPFGets failed", E_ABORT},
      Row{__LINE__, path,
          [] {
            script().fail(Op::ZEPFGets, E_HANDLE).at(2);
            script().allowOpenFile();
          },
          open + readLine + readLine, "ERROR: ZEPFGets failed", E_HANDLE},
      // A line that was read although the code is a failure is not looked at.
      Row{__LINE__, path,
          [] {
            script().files[path] = "<xsl:output encoding=\"UTF-8\"/>";
            script().returns(Op::ZEPFGets, E_FAIL);
            script().allowOpenFile();
          },
          open + readLine, "ERROR: ZEPFGets failed", E_FAIL},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE("row at line " + std::to_string(row.line));
    for (const bool traced : {true, false}) {
      SCOPED_TRACE(traced ? "trace on" : "trace off");
      startRow();
      script().files[path] = "<a/>\n<b/>\n<xsl:output encoding=\"UTF-8\"/>\n";
      row.prepare();
      if (traced) {
        script().traceOn();
      }
      EXPECT_EQ(Check(row.file), E_FAIL);
      EXPECT_EQ(Log(),
                traced ? Entry(row.file) + row.log + errorLines(row.message) + resultLines(row.tracedResult)
                       : row.log + errorLines(row.message));
      endRow();
    }
  }
}

TEST_F(XMLEncodingTest, failedRead_leavesTheFileOpen) {
  script().files[path] = "<a/>\n";
  script().fail(Op::ZEPFGets, E_FAIL);
  EXPECT_EQ(Check(), E_FAIL);
  EXPECT_EQ(script().count(Op::ZEPFClose), 0);
  EXPECT_EQ(script().problems(), "open file: 11\n");
  script().allowOpenFile();
}

// The code of the last of these calls is the result, where no line says UTF-8.
TEST_F(XMLEncodingTest, positiveCodes_areSuccesses_andTheLastOneIsTheResult) {
  struct Row {
    int line;
    const char* content;
    void (*prepare)();
    long result;
  };
  const Row rows[] = {
      Row{__LINE__, "", [] { script().returns(Op::ZEPFOpen, S_FALSE); }, S_FALSE},
      Row{__LINE__, "", [] { script().returns(Op::ZEPFOpen, 7); }, 7},
      Row{__LINE__, "<a/>\n", [] { script().returns(Op::ZEPFOpen, S_FALSE); }, S_OK},
      Row{__LINE__, "<a/>\n", [] { script().returns(Op::ZEPFGets, S_FALSE); }, S_FALSE},
      Row{__LINE__, "<a/>\n<b/>\n", [] { script().returns(Op::ZEPFGets, 7).at(1); }, S_OK},
      Row{__LINE__, "<a/>\n<b/>\n", [] { script().returns(Op::ZEPFGets, 7).at(2); }, 7},
      Row{__LINE__, "<xsl:output/>\n", [] { script().returns(Op::ZEPFGets, S_FALSE); }, S_FALSE},
      Row{__LINE__, "<xsl:output/>\n", [] { script().returns(Op::ZEPFGets, 7); }, 7},
      Row{__LINE__, "<xsl:output encoding='utf-8'/>\n", [] { script().returns(Op::ZEPFGets, 7); }, S_FALSE},
      // the code of closing says nothing
      Row{__LINE__, "<a/>\n", [] { script().returns(Op::ZEPFClose, E_FAIL); }, S_OK},
      Row{__LINE__, "<xsl:output encoding='utf-8'/>\n", [] { script().returns(Op::ZEPFClose, 7); }, S_FALSE},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE("row at line " + std::to_string(row.line));
    startRow();
    script().traceOn();
    script().files[path] = row.content;
    row.prepare();
    EXPECT_EQ(Check(), row.result);
    EXPECT_EQ(script().count(Op::ZEPFClose), 1);
    EXPECT_EQ(Trace(), Entry() + resultLines(row.result));
    endRow();
  }
}

// Zero alone means the end.
TEST_F(XMLEncodingTest, file_isReadOn_whateverNumberSaysThatItHasNotEnded) {
  for (const long code : {1L, -1L, 4711L}) {
    SCOPED_TRACE(code);
    startRow();
    script().files[path] = "<xsl:output encoding=\"UTF-8\"/>";
    script().returns(Op::ZEPFEof, code);
    EXPECT_EQ(Check(), S_FALSE);
    EXPECT_EQ(script().calls(), open + readLine + close);
    endRow();
  }
}

TEST_F(XMLEncodingTest, file_isNotRead_onceItSaysThatItHasEnded) {
  script().files[path] = "<xsl:output encoding=\"UTF-8\"/>";
  script().returns(Op::ZEPFEof, 0);
  EXPECT_EQ(Check(), S_OK);
  EXPECT_EQ(script().calls(), open + atEnd + close);
}

TEST_F(XMLEncodingTest, callersPath_staysAsItIs) {
  const ZEPUnicodeString file = path;
  script().files[path] = "<xsl:output encoding=\"UTF-8\"/>";
  EXPECT_EQ(ZEPCfgXMLExpressionServices::IsEncodingUTF16(file), S_FALSE);
  EXPECT_EQ(file, path);
}

TEST_F(XMLEncodingTest, exception_passesThrough_andTheFileIsClosed) {
  struct Row {
    int line;
    Op operation;
    int call;
    std::string log; // between the entry and the exit
  };
  const Row rows[] = {
      Row{__LINE__, Op::ZEPFOpen, 1, open},
      Row{__LINE__, Op::ZEPFEof, 1, open + atEnd + close},
      Row{__LINE__, Op::ZEPFEof, 2, open + readLine + atEnd + close},
      Row{__LINE__, Op::ZEPFGets, 1, open + readLine + close},
      Row{__LINE__, Op::ZEPFGets, 2, open + readLine + readLine + close},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE("row at line " + std::to_string(row.line));
    startRow();
    script().traceOn();
    script().files[path] = "<a/>\n<xsl:output/>\n";
    script().throwIn(row.operation).at(row.call);
    EXPECT_THROW(Check(), ScriptedException);
    EXPECT_EQ(Log(), Entry() + row.log + "exit\n<\n");
    endRow();
  }
}

} // namespace
