#include "ZEPXMLPatternWeight.h"

#include <gtest/gtest.h>

#include <cstddef>
#include <string>

// What a pattern is read as, and what it weighs.

namespace {

std::string Read(const std::string& pattern) {
  std::string result;
  for (zep::XMLPatternAlternatives each(pattern); each.Read();) {
    result += std::string(each.Name()) + " " + std::to_string(each.Steps()) + " " +
              std::to_string(each.AncestorSteps()) +
              (each.Lists() == 0 ? "" : " in " + std::to_string(each.Lists())) + ";";
  }
  return result;
}

TEST(XMLPatternWeight, xml_pattern_is_read) {
  struct Row {
    int line;
    std::string pattern;
    std::string expected; // name, steps, those behind two slashes, and those looked for in lists
  };
  const Row rows[] = {
      Row{__LINE__, "", ""},
      Row{__LINE__, "a", "a 1 0;"},
      Row{__LINE__, " p:a \n", "a 1 0;"},
      Row{__LINE__, "/", "* 2 0;"},
      Row{__LINE__, "/a", "a 2 0;"},
      Row{__LINE__, "//a", "a 1 0;"},
      Row{__LINE__, " // a", "a 1 0;"},
      Row{__LINE__, "a/b//c", "c 3 1;"},
      Row{__LINE__, "a // b / c", "c 3 1;"},
      Row{__LINE__, "//a//b//c", "c 3 2;"},
      Row{__LINE__, "/a//b", "b 3 1;"},
      Row{__LINE__, "a|b//c| /", "a 1 0;c 2 1;* 2 0;"},
      Row{__LINE__, "a|", "a 1 0;"},
      Row{__LINE__, "@a", "a 1 0;"},
      Row{__LINE__, "b/@ a", "a 2 0;"},
      Row{__LINE__, "b/@*", "* 2 0;"},
      Row{__LINE__, "p:*", "* 1 0;"},
      Row{__LINE__, "attribute::a", "a 1 0;"},
      Row{__LINE__, "child :: a", "a 1 0;"},
      Row{__LINE__, "b/text()", "* 2 0;"},
      Row{__LINE__, "node( )", "* 1 0;"},
      Row{__LINE__, "processing-instruction('a b')", "* 1 0;"},
      Row{__LINE__, "key('a|b', \"//c\")", "* 1 0 in 1;"},
      Row{__LINE__, "key ('a', ')')//b", "b 2 1 in 1;"},
      Row{__LINE__, "a[b//c | d]", "a 1 0;"},
      Row{__LINE__, "a [1]", "a 1 0;"},
      Row{__LINE__, "a[']|//'][\"[\"]//b[c[1]/d]", "b 2 1 in 1;"},
      Row{__LINE__, "a[1] [2][3]/b[4]|c[key(1)[2][3]]", "b 2 0 in 2;c 1 0;"},
      Row{__LINE__, "a]|b", "* 1 0;b 1 0;"},
      Row{__LINE__, "a['|b", "a 1 0;"},
      Row{__LINE__, "a[|b", "a 1 0;"},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(row.line);
    EXPECT_EQ(Read(row.pattern), row.expected);
  }
}

TEST(XMLPatternWeight, xml_pattern_weighs_as_much_as_the_ways_through_it) {
  struct Row {
    int line;
    std::size_t steps;
    std::size_t ancestorSteps;
    std::size_t depth;
    double expected;
  };
  const Row rows[] = {
      Row{__LINE__, 1, 0, 0, 1},
      Row{__LINE__, 3, 0, 1'000, 3},
      Row{__LINE__, 2, 1, 0, 1},
      Row{__LINE__, 2, 1, 10, 11},
      Row{__LINE__, 3, 2, 10, 1 + 10 + 45},
      Row{__LINE__, 5, 2, 10, 3 * (1 + 10 + 45)},
      Row{__LINE__, 4, 3, 2, 4},
      Row{__LINE__, 50, 49, 10, 1'024},
      Row{__LINE__, 5'000'000, 0, 1'000, 1'000},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(row.line);
    zep::XMLPatternWeight weight;
    weight.AddSteps(row.steps, row.ancestorSteps);
    EXPECT_DOUBLE_EQ(weight.At(row.depth, 0), row.expected);
  }
}

TEST(XMLPatternWeight, xml_pattern_weights_add_up_and_rise) {
  zep::XMLPatternWeight one;
  one.AddSteps(2, 0);
  one.AddSteps(2, 1);
  zep::XMLPatternWeight other;
  other.AddSteps(5, 0);
  other.AddSteps(4, 3, 2); // of 640 nodes a list takes ten looks
  zep::XMLPatternWeight sum = one;
  sum.Add(other);
  EXPECT_DOUBLE_EQ(sum.At(10, 640), one.At(10, 640) + other.At(10, 640));
  zep::XMLPatternWeight heaviest = one;
  heaviest.Raise(other);
  EXPECT_DOUBLE_EQ(heaviest.At(10, 640), 5 + 11 + (1 + 10 + 45 + 120) * (1 + 2 * 10));
}

TEST(XMLPatternWeight, xml_pattern_of_many_paths_is_heavier_than_any_time_allows) {
  zep::XMLPatternWeight weight;
  weight.AddSteps(8'000'000, 4'000'000);
  EXPECT_GT(weight.At(1'000, 0), 1e30);
}

} // namespace
