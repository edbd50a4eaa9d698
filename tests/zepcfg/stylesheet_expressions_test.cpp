#include "StylesheetExpressions.h"

#include <gmock/gmock.h>

using testing::ElementsAreArray;
using zep::cli::calledFunctions;
using zep::cli::expressionsInBraces;
using zep::cli::literalsComparedWith;
using zep::cli::refersToVariable;

namespace {

struct Row {
  std::string expression;
  std::vector<std::string> words;
  int line = __builtin_LINE();
};

} // namespace

TEST(StylesheetExpressions, called_functions_are_told_from_other_brackets) {
  const Row rows[] = {
      Row{"", {}},
      Row{"a", {}},
      Row{"(a)", {}},
      Row{"a and (b)", {}},
      Row{"a or(b) div (c) mod (d)", {}},
      Row{"text() | child::node() | @a", {}},
      Row{"'f(' = \"g(\"", {}},
      Row{"f(g (h\n()))", {"f", "g", "h"}},
      Row{"e:node-set(a)", {"e:node-set"}},
      Row{"child::f()", {"f"}},
      Row{"1-count(a)", {"count"}},
      Row{"a-count(a)", {"a-count"}},
      Row{"for $x in (1) return f($x)", {"in", "f"}},
      Row{"(", {}},
      Row{")(", {}},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(row.line);
    EXPECT_THAT(calledFunctions(row.expression), ElementsAreArray(row.words));
  }
}

TEST(StylesheetExpressions, variable_is_told_by_its_whole_name) {
  EXPECT_TRUE(refersToVariable("a/$v", "v"));
  EXPECT_TRUE(refersToVariable("$va + $v", "v"));
  EXPECT_FALSE(refersToVariable("$va", "v"));
  EXPECT_FALSE(refersToVariable("v", "v"));
  EXPECT_FALSE(refersToVariable("'$v'", "v"));
}

TEST(StylesheetExpressions, literals_behind_a_comparison_are_found) {
  const Row rows[] = {
      Row{"$v", {}},           Row{"$v = 'a'", {"a"}},
      Row{"$v!=\"b\"", {"b"}}, Row{"$v = 'a' or $v='b'", {"a", "b"}},
      Row{"$v = $w", {}},      Row{"$va = 'a'", {}},
      Row{"$v 'a'", {}},       Row{"$v = 'torn", {"torn"}},
      Row{"$v =", {}},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(row.line);
    EXPECT_THAT(literalsComparedWith(row.expression, "v"), ElementsAreArray(row.words));
  }
}

TEST(StylesheetExpressions, expressions_stand_in_braces) {
  EXPECT_EQ(expressionsInBraces("a{b}c{d}"), "b d ");
  EXPECT_EQ(expressionsInBraces("plain"), "");
  EXPECT_EQ(expressionsInBraces("a{b"), "b ");
}
