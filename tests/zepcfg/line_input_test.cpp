#include "LineInput.h"

#include "Failure.h"
#include "Text.h"

#include <gtest/gtest.h>

using zep::cli::CommandFailure;
using zep::cli::LineInput;
using zep::cli::parseLine;
using zep::cli::toUTF8;

namespace {

struct Row {
  std::string text;
  std::string id; // as JSON; empty: there is none
  std::string expression;
  int line = __builtin_LINE();
};

std::string idOf(const LineInput& input) {
  return input.id.is_discarded() ? "" : input.id.dump();
}

// The error of a line that is refused.
std::string errorOf(const std::string& line) {
  try {
    parseLine(line);
  } catch (const CommandFailure& failure) {
    return failure.failure().errors.front();
  }
  return "";
}

} // namespace

TEST(LineInput, strings_and_objects_are_read) {
  const Row rows[] = {
      Row{R"("")", "", ""},
      Row{R"("<E/>")", "", "<E/>"},
      Row{" \t\"<E/>\" \r", "", "<E/>"},
      Row{"\xEF\xBB\xBF\"<E/>\"", "", "<E/>"},
      Row{R"("\"\\\/\b\f\n\r\t")", "", "\"\\/\b\f\n\r\t"},
      Row{R"("<E a=\"\u00e9\ud83d\udc26\"/>")", "", "<E a=\"é🐦\"/>"},
      Row{R"("é🐦")", "", "é🐦"},
      Row{"\"\xEF\xBF\xBD\"", "", "\xEF\xBF\xBD"},
      Row{R"({"expression":"<E/>"})", "", "<E/>"},
      Row{R"({"id":7,"expression":"<E/>"})", "7", "<E/>"},
      Row{R"( { "expression" : "<E/>" , "id" : "a\"b,}" } )", R"("a\"b,}")", "<E/>"},
      Row{R"({"id":[1,{"a":null}],"expression":"x"})", R"([1,{"a":null}])", "x"},
      Row{R"({"id":{},"expression":"x"})", "{}", "x"},
      Row{R"({"id":[],"expression":"x"})", "[]", "x"},
      Row{R"({"id":null,"expression":"x"})", "null", "x"},
      Row{R"({"id":-1.50,"expression":"x"})", "-1.5", "x"},
      Row{R"({"id":18446744073709551615,"expression":"x"})", "18446744073709551615", "x"},
      Row{R"({"id":"é","expression":"é"})", R"("é")", "é"},
      Row{R"({"id":"\u00e9","expression":"x"})", R"("é")", "x"},
      Row{R"({"é":1,"expression":"x"})", "", "x"},
      Row{R"({"\u0069d":1,"expression":"x"})", "1", "x"},
      Row{R"({"id":1,"id":2,"expression":"x","expression":"y"})", "2", "y"},
      Row{R"({"more":[1,2],"expression":"x","even":true})", "", "x"},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(row.line);
    const LineInput input = parseLine(row.text);
    EXPECT_EQ(idOf(input), row.id);
    EXPECT_EQ(toUTF8(input.expression), row.expression);
  }
}

TEST(LineInput, line_that_is_no_json_is_refused) {
  const std::string withNul("\"a\0b\"", 5);
  for (const std::string& line : {std::string(),
                                  std::string(" "),
                                  std::string("x"),
                                  std::string("\""),
                                  std::string("\"a"),
                                  std::string("\"a\\"),
                                  std::string("\"a\\\""),
                                  std::string(R"("\x")"),
                                  std::string(R"("\u12")"),
                                  std::string(R"("\ud83d")"),
                                  std::string(R"("\udc26")"),
                                  std::string("\"a\tb\""),
                                  std::string("\"\t\""),
                                  std::string("\"a\n\""),
                                  withNul,
                                  std::string("\"\xFF\""),
                                  std::string("\"\xED\xA0\x80\""),
                                  std::string("\"\xC3\""),
                                  std::string("\"\xEF\xBF\xBD\x80\""),
                                  std::string(R"("a" "b")"),
                                  std::string(R"("a",)"),
                                  std::string(R"("a"})"),
                                  std::string("{"),
                                  std::string(R"({"expression":"x")"),
                                  std::string(R"({"expression":"x",})"),
                                  std::string(R"({"expression":"x"}})"),
                                  std::string(R"({"expression":"x"} 1)"),
                                  std::string(R"({"expression" "x"})"),
                                  std::string(R"({"id":,"expression":"x"})"),
                                  std::string(R"({"id":01,"expression":"x"})"),
                                  std::string(R"({"id":nul,"expression":"x"})"),
                                  std::string(R"({"id":1 2,"expression":"x"})"),
                                  std::string(R"({"id":1e999,"expression":"x"})"),
                                  std::string(R"({"id":[1,"expression":"x"})"),
                                  std::string("{\"id\":\"\xFF\",\"expression\":\"x\"}"),
                                  std::string("{\"\xFF\":1,\"expression\":\"x\"}"),
                                  std::string("{\"more\":\"\xFF\",\"expression\":\"x\"}"),
                                  std::string("{\"id\":1,\"expression\":\"\xFF\"}"),
                                  std::string(R"({id:1,"expression":"x"})")}) {
    SCOPED_TRACE(line);
    EXPECT_EQ(errorOf(line), "it is not JSON");
  }
}

TEST(LineInput, line_without_an_expression_is_refused) {
  for (const char* line : {"7", "null", "[]", R"(["x"])", "{}", R"({"id":1})", R"({"expression":null})",
                           R"({"expression":["x"]})", R"({"expression":"x","expression":1})",
                           R"({"Expression":"x"})", R"({"id":{"expression":"x"}})"}) {
    SCOPED_TRACE(line);
    EXPECT_EQ(errorOf(line), "it holds no expression");
  }
}
