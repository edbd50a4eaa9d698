#include "JSONText.h"

#include <gtest/gtest.h>

using zep::cli::indentedJSON;

namespace {

struct Row {
  std::string text;
  std::string indented;
  int line = __builtin_LINE();
};

} // namespace

TEST(JSONText, indenting_changes_white_space_alone) {
  const Row rows[] = {
      Row{"1", "1"},
      Row{" { } ", "{}"},
      Row{"[]", "[]"},
      Row{"[[ ],{}]", "[\n  [],\n  {}\n]"},
      Row{R"({"a":1.0,"a":1e-7})", "{\n  \"a\": 1.0,\n  \"a\": 1e-7\n}"},
      Row{R"([-0,12345678901234567890123,1E+2])", "[\n  -0,\n  12345678901234567890123,\n  1E+2\n]"},
      Row{R"(["a\"}\\","\u00e9","é🐦 , : {"])", "[\n  \"a\\\"}\\\\\",\n  \"\\u00e9\",\n  \"é🐦 , : {\"\n]"},
      Row{"{\"a\" :\n[ true ]\t}", "{\n  \"a\": [\n    true\n  ]\n}"},
      Row{"\xEF\xBB\xBF[]", "[]"},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(row.line);
    EXPECT_EQ(indentedJSON(row.text), row.indented);
  }
}

TEST(JSONText, nothing_is_given_for_what_is_not_json) {
  for (const char* text :
       {"", " ", "{", "[1,]", "{} {}", "<html/>", "\"a", "[\"\xFF\"]", "{a:1}", "nul", "1e400"}) {
    SCOPED_TRACE(text);
    EXPECT_EQ(indentedJSON(text), std::nullopt);
  }
}

TEST(JSONText, nothing_is_given_for_what_is_nested_without_end) {
  const std::size_t depth = 1'000'000;
  EXPECT_EQ(indentedJSON(std::string(depth, '[') + std::string(depth, ']')), std::nullopt);
  EXPECT_NE(indentedJSON(std::string(50, '[') + std::string(50, ']')), std::nullopt);
}
