#include "Suggestion.h"

#include <gtest/gtest.h>

namespace {

struct Row {
  std::string word;
  std::string nearest;
  int line = __builtin_LINE();
};

} // namespace

TEST(Suggestion, nearest_known_word_is_offered_when_it_is_close) {
  const std::vector<std::string> known{"format", "call", "stylesheet", "doctor", "--url"};
  const Row rows[] = {
      Row{"fromat", "format"},
      Row{"formt", "format"},
      Row{"formatt", "format"},
      Row{"cal", "call"},
      Row{"stlyeshet", "stylesheet"},
      Row{"docter", "doctor"},
      Row{"--ulr", "--url"},
      Row{"xyz", ""},
      Row{"", ""},
      Row{std::string(1'000'000, 'x'), ""},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(row.line);
    EXPECT_EQ(zep::cli::nearestWord(row.word, known), row.nearest);
  }
}
