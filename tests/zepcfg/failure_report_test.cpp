#include "Failure.h"
#include "ZEPHResult.h"

#include <gmock/gmock.h>

using testing::HasSubstr;
using testing::Not;
using zep::cli::Failure;
using zep::cli::failureObject;
using zep::cli::failureReport;

TEST(FailureReport, lines_name_input_operation_code_error_cause_and_remedy) {
  Failure failure{"'a.xml'",          "FormatExpression", E_FAIL, {"Transform failed"},
                  "line 1\nline 2\n", "try again"};
  failure.server = "http://host";
  EXPECT_EQ(failureReport(failure), "zepcfg: 'a.xml': FormatExpression failed with E_FAIL (0x80004005)\n"
                                    "  error: Transform failed\n"
                                    "  cause: line 1\n"
                                    "         line 2\n"
                                    "  server: http://host\n"
                                    "  remedy: try again\n");
}

TEST(FailureReport, codes_without_a_name_are_said_in_words) {
  const Failure failure{"GET /x", "CallWebService", ZEP_E_HTTP_NOT_FOUND, {}, "", "check"};
  EXPECT_EQ(failureReport(failure),
            "zepcfg: GET /x: CallWebService failed with 0x80090137 (the server answered 404, not found)\n"
            "  remedy: check\n");
}

TEST(FailureReport, terminal_gets_no_controls_and_no_endless_text) {
  const std::string report = failureReport(
      {"a\x1B[2J", "FormatExpression", E_FAIL, {"\x1B]0;x" + std::string(99'999, 'y')}, "", ""});
  EXPECT_THAT(report, Not(HasSubstr("\x1B")));
  EXPECT_THAT(report, HasSubstr("more bytes"));
  EXPECT_LT(report.size(), 3000U);
}

TEST(FailureReport, object_holds_everything_whole) {
  Failure failure{"GET /x", "CallWebService", ZEP_E_HTTP_STATUS, {"one", std::string(99'999, 'y')}, "why",
                  "do"};
  failure.members["body"] = "{}";
  const nlohmann::ordered_json object = failureObject(failure);
  EXPECT_EQ(object["hresult"], -2146893514);
  EXPECT_EQ(object["result"], "0x80090136");
  EXPECT_EQ(object["error"], "one\n" + std::string(99'999, 'y'));
  EXPECT_EQ(object["message"], "why");
  EXPECT_EQ(object["remedy"], "do");
  EXPECT_EQ(object["body"], "{}");
  EXPECT_FALSE(object.contains("server"));
}
