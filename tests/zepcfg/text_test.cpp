#include "Text.h"

#include <gtest/gtest.h>

using zep::cli::withoutControls;

namespace {

struct Row {
  std::string text;
  std::string shown;
  int line = __builtin_LINE();
};

} // namespace

TEST(Text, controls_and_malformed_bytes_are_shown_as_numbers) {
  const Row rows[] = {
      Row{"", ""},
      Row{"a\tb\nc", "a\tb\nc"},
      Row{"\x1B[31mred", "\\x1B[31mred"},
      Row{std::string(1, '\0') + "\x7F\r", "\\x00\\x7F\\x0D"},
      Row{"é€🐦", "é€🐦"},
      Row{"\xC2\x9B"
          "31m",
          "\\xC2\\x9B31m"},
      Row{"\xC2\xA0", "\xC2\xA0"},
      Row{"\x80 \xFF \xE2\x82", "\\x80 \\xFF \\xE2\\x82"},
      Row{"\xC0\x9B", "\\xC0\\x9B"},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(row.line);
    EXPECT_EQ(withoutControls(row.text), row.shown);
  }
}

TEST(Text, replacing_does_not_look_at_what_it_put_in) {
  EXPECT_EQ(zep::cli::replaceAll("aXbXX", "X", "XX"), "aXXbXXXX");
  EXPECT_EQ(zep::cli::replaceAll("abc", "X", ""), "abc");
}

TEST(Text, few_words_become_a_sentence) {
  EXPECT_EQ(zep::cli::asSentence("the answer"), "The answer.");
  EXPECT_EQ(zep::cli::asSentence("URL of it."), "URL of it.");
  EXPECT_EQ(zep::cli::asSentence("1: yes"), "1: yes.");
  EXPECT_EQ(zep::cli::asSentence("\xC3\xA9t\xC3\xA9"), "\xC3\xA9t\xC3\xA9.");
  EXPECT_EQ(zep::cli::asSentence(""), "");
}
