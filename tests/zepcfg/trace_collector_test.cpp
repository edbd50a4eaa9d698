#include "PLMCfgInTraceClass.h"
#include "TraceCollector.h"
#include "ZEPHResult.h"
#include "ZEPTraceObserver.h"

#include <gmock/gmock.h>

using testing::ElementsAre;
using testing::IsEmpty;
using zep::cli::TraceCollector;

namespace {

constexpr int detail = 0;
constexpr int entry = 1;
constexpr int leave = 2;

ZEPTraceRecord record(const char* className, const char* method, int level, const std::string& text) {
  return {className, "", method, level, 1, "file.cpp", text.c_str()};
}

class Collector : public testing::Test {
protected:
  void enter(const char* operation) {
    const std::string signature = std::string("long __cdecl ZEPCfgX::") + operation + "(const class T &)";
    m_trace.take(record("ZEPCfgX", signature.c_str(), entry, ""));
  }
  void exit() { m_trace.take(record("ZEPCfgX", "", leave, "")); }
  void write(const std::string& text, const char* className = "ZEPCfgX") {
    m_trace.take(record(className, "", detail, text));
  }
  void error(const std::string& text, const char* className = "ZEPCfgX") {
    write(PLMCfgInTraceClass::GetError(), className);
    write(PLMCfgInTraceClass::GetErrorIndent() + text, className);
  }

  TraceCollector m_trace;
};

} // namespace

TEST_F(Collector, errors_lose_the_prefix_and_the_indent) {
  write("an ordinary record");
  error("ERROR: Execute failed");
  error("  two blanks stay");
  EXPECT_THAT(m_trace.errors(), ElementsAre("ERROR: Execute failed", "  two blanks stay"));
  EXPECT_EQ(m_trace.message(), "");
}

TEST_F(Collector, errors_of_the_platform_are_the_message) {
  error("no connection", "ZEPHttpTransport");
  error("ERROR: Execute failed");
  EXPECT_THAT(m_trace.errors(), ElementsAre("ERROR: Execute failed"));
  EXPECT_EQ(m_trace.message(), "no connection");
}

TEST_F(Collector, message_of_the_library_stands_before_the_platforms_and_nothing_stands_twice) {
  error("cause", "ZEPPlatformThing");
  error("other", "ZEPPlatformThing");
  write("message = [XSLTProcessor has failed:\ncause]");
  EXPECT_EQ(m_trace.message(), "cause\nother");
}

TEST_F(Collector, results_belong_to_the_operation_that_wrote_them) {
  enter("FormatExpression");
  enter("GetConfigExpressionXSLT");
  enter("CallWebService");
  write("rc = -2146893513");
  exit();
  write("rc = E_FAIL");
  exit();
  write("rc = S_FALSE");
  exit();
  EXPECT_EQ(m_trace.resultOf("CallWebService"), ZEP_E_HTTP_NOT_FOUND);
  EXPECT_EQ(m_trace.resultOf("GetConfigExpressionXSLT"), E_FAIL);
  EXPECT_EQ(m_trace.resultOf("FormatExpression"), S_FALSE);
  EXPECT_EQ(m_trace.resultOf("IsEncodingUTF16"), S_OK);
}

TEST_F(Collector, chosen_stylesheet_is_the_one_dumped_last) {
  write("XSLTFilePath = []");
  EXPECT_EQ(m_trace.stylesheetFile(), "");
  write("XSLTFilePath = [/a/b.xsl]");
  EXPECT_EQ(m_trace.stylesheetFile(), "/a/b.xsl");
  write("ioUstrXSLTFileContents = []");
  EXPECT_FALSE(m_trace.serverSentStylesheet());
  write("ioUstrXSLTFileContents = [<x/>]");
  EXPECT_TRUE(m_trace.serverSentStylesheet());
}

TEST_F(Collector, empty_records_are_taken) {
  write("");
  write("rc = E_FAIL");
  exit();
  EXPECT_THAT(m_trace.errors(), IsEmpty());
}

TEST(OperationName, is_the_part_in_front_of_the_parameters) {
  EXPECT_EQ(zep::cli::operationName("long __cdecl A::Op(const class B::C &,int)"), "Op");
  EXPECT_EQ(zep::cli::operationName("Op"), "Op");
  EXPECT_EQ(zep::cli::operationName(""), "");
}
