#include "ZEPXMLExpressionText.h"

#include <gtest/gtest.h>

#include <cstddef>
#include <memory>
#include <optional>
#include <random>
#include <string>

#include <libxml/xpath.h>

// Which operators and steps of an expression become functions, and that nothing else changes.

namespace {

constexpr char kSame[] = "";

struct Row {
  int line;
  std::string text;
  std::string expected; // with capital letters for the functions; kSame where nothing changes
};

std::string Spelled(const std::string& text) {
  std::string result;
  for (const char c : text) {
    switch (c) {
    case 'U':
      result += zep::kUnionFunction;
      break;
    case 'E':
      result += zep::kEqualFunction;
      break;
    case 'N':
      result += zep::kNotEqualFunction;
      break;
    case 'L':
      result += zep::kLessFunction;
      break;
    case 'M':
      result += zep::kLessOrEqualFunction;
      break;
    case 'G':
      result += zep::kGreaterFunction;
      break;
    case 'H':
      result += zep::kGreaterOrEqualFunction;
      break;
    case 'P':
      result.append(zep::kPathFunction).append("(").append(zep::kBeginFunction).append("(),");
      break;
    case 'C':
      result += zep::kCollectFunction;
      break;
    case 'X':
      result += zep::kNextFunction;
      break;
    default:
      result += c;
    }
  }
  return result;
}

bool IsExpression(std::string_view text) {
  const std::unique_ptr<xmlXPathContext, void (*)(xmlXPathContextPtr)> context(xmlXPathNewContext(nullptr),
                                                                               xmlXPathFreeContext);
  context->error = [](void*, xmlErrorPtr) {};
  const std::unique_ptr<xmlXPathCompExpr, void (*)(xmlXPathCompExprPtr)> compiled(
      xmlXPathCtxtCompile(context.get(), reinterpret_cast<const xmlChar*>(std::string(text).c_str())),
      xmlXPathFreeCompExpr);
  return compiled != nullptr;
}

using Function = std::optional<std::string> (*)(std::string_view, zep::XMLExpressionTest);

std::optional<std::string> Changed(const std::string& expression) {
  return zep::WithFunctionsForOperators(expression, IsExpression);
}

void ExpectRow(const Row& row, Function function) {
  SCOPED_TRACE("row in line " + std::to_string(row.line) + ": " + row.text);
  const std::optional<std::string> changed = function(row.text, IsExpression);
  EXPECT_EQ(changed.has_value(), row.expected != kSame);
  EXPECT_EQ(changed.value_or(kSame), Spelled(row.expected));
}

TEST(XMLExpressionText, xml_operators_of_an_expression_become_functions) {
  const Row rows[] = {
      // unions
      {__LINE__, "a|b", "U(a,b)"},
      {__LINE__, "a|b|c", "U(a,b,c)"},
      {__LINE__, " a | b\t|\nc ", " U(a , b\t,\nc) "},
      {__LINE__, "(a|b)[1]", "(U(a,b))[1]"},
      {__LINE__, "((a|b))/c | d", "U(((U(a,b)))/c , d)"},
      {__LINE__, "a[b|c]/d", "a[U(b,c)]/d"},
      {__LINE__, "a[b|c]|d", "U(a[U(b,c)],d)"},
      {__LINE__, "@*|node()", "U(@*,node())"},
      {__LINE__, "text()|comment()|processing-instruction('a|b')",
       "U(text(),comment(),processing-instruction('a|b'))"},
      {__LINE__, "*|*", "U(*,*)"},
      {__LINE__, "p:*|@p:*|p:a", "U(p:*,@p:*,p:a)"},
      {__LINE__, "- a | b", "- U(a , b)"},
      {__LINE__, "1 - a | b * 2", "1 - U(a , b) * 2"},
      {__LINE__, "a | b or c | d", "U(a , b) or U(c , d)"},
      {__LINE__, "count(//a | //b) > 3", "count(U(//a , //b)) > 3"},
      {__LINE__, "f(a|b, c, d|e)", "f(U(a,b), c, U(d,e))"},
      {__LINE__, "f(g()|h())", "f(U(g(),h()))"},
      {__LINE__, "key('k', a|b) | id('x')", "U(key('k', U(a,b)) , id('x'))"},
      {__LINE__, "$a|$p:b", "U($a,$p:b)"},
      {__LINE__, "p :a|p\n:*", "U(p :a,p\n:*)"},
      {__LINE__, "a|.|@b|..|b", "U(a,.,@b,..,b)"},
      {__LINE__, "/ a/c|b/d", "U(/ a/c,b/d)"},
      {__LINE__, "self::a|child :: b| descendant-or-self::node()",
       "U(self::a,child :: b, descendant-or-self::node())"},
      {__LINE__, "\xC3\xA9|\xC3\xA9:\xC3\xA9", "U(\xC3\xA9,\xC3\xA9:\xC3\xA9)"},
      // of one node at the most
      {__LINE__, ".|a", kSame},
      {__LINE__, "..|.", kSame},
      {__LINE__, "@a|@b|../@c|c", kSame},
      {__LINE__, "/|a", kSame},
      {__LINE__, "current()|a", kSame},
      {__LINE__, "self::a|parent::b/@c|attribute::d|//e", kSame},
      {__LINE__, "self::node()|self::*|..", kSame},
      {__LINE__, "attribute::*|a", "U(attribute::*,a)"},
      {__LINE__, "@node()|a", "U(@node(),a)"},
      {__LINE__, "(@a)|(b)", kSame},
      {__LINE__, ". // a|b", "U(. // a,b)"},
      // comparisons
      {__LINE__, "a = b", "E(a , b)"},
      {__LINE__, "a!=b", "N(a,b)"},
      {__LINE__, "a<b", "L(a,b)"},
      {__LINE__, "a <= b", "M(a , b)"},
      {__LINE__, "a>b", "G(a,b)"},
      {__LINE__, "a>=b", "H(a,b)"},
      {__LINE__, "$a=$b", "E($a,$b)"},
      {__LINE__, "a = b = c", "E(a , b) = c"},
      {__LINE__, "a = b < c", "a = L(b , c)"},
      {__LINE__, "a < b = c", "L(a , b) = c"},
      {__LINE__, "a = b and c = d or e = f", "E(a , b) and E(c , d) or E(e , f)"},
      {__LINE__, "a|b=c|d", "E(U(a,b),U(c,d))"},
      {__LINE__, "(a|b) = (c|d)", "E((U(a,b)) , (U(c,d)))"},
      {__LINE__, "(a = b) = c", "(E(a , b)) = c"},
      {__LINE__, "a[b = c][d != e]", "a[E(b , c)][N(d , e)]"},
      {__LINE__, "a[b = c[d = e]]", "a[E(b , c[E(d , e)])]"},
      {__LINE__, "not(a = b)", "not(E(a , b))"},
      {__LINE__, "a-b = c", "E(a-b , c)"},
      {__LINE__, "@* = a", "E(@* , a)"},
      {__LINE__, "f() = g()", "E(f() , g())"},
      {__LINE__, "a = current()/b", "E(a , current()/b)"},
      // with one node at the most, or none
      {__LINE__, "@a = 'x'", kSame},
      {__LINE__, "a = 'b|c'", kSame},
      {__LINE__, "'a = b' = c", kSame},
      {__LINE__, "\"a = b\" != c", kSame},
      {__LINE__, "@a = b", kSame},
      {__LINE__, "a = .", kSame},
      {__LINE__, "a = current()/@b", kSame},
      {__LINE__, "a = 1", kSame},
      {__LINE__, ".5 = a", kSame},
      {__LINE__, "1e-5 = a", kSame},
      {__LINE__, "1.=a", kSame},
      {__LINE__, "a = -b", kSame},
      {__LINE__, "--a = b", kSame},
      {__LINE__, "a + b = c", kSame},
      {__LINE__, "a = b * c", kSame},
      {__LINE__, "a = b div c", kSame},
      {__LINE__, "count(a) = b", kSame},
      {__LINE__, "string(a) = b", kSame},
      {__LINE__, "a = true()", kSame},
      {__LINE__, "position() = last()", kSame},
      // in order, a text is dear as well
      {__LINE__, "a < 'x'", kSame},
      {__LINE__, "a < 1", kSame},
      {__LINE__, "a < string(b)", "L(a , string(b))"},
      {__LINE__, "concat(a, b) >= b", "H(concat(a, b) , b)"},
      {__LINE__, "string(a) < string(b)", kSame},
      {__LINE__, "a < count(b)", kSame},
      // steps that come to a node from several others
      {__LINE__, "a/..", "P(a)[C(..)])"},
      {__LINE__, "a//b", "P(a)[C(.//b)])"},
      {__LINE__, "//a//b", "P(//a)[C(.//b)])"},
      {__LINE__, " a / parent :: b ", " P(a )[C(parent :: b)]) "},
      {__LINE__, "a // b", "P(a )[C(.//b)])"},
      {__LINE__, "a/ancestor::b/@c", "P(a)[C(ancestor::b/@c)])"},
      {__LINE__, "a/ancestor-or-self::*[1]", "P(a)[C(ancestor-or-self::*[1])])"},
      {__LINE__, "a/descendant::text()", "P(a)[C(descendant::text())])"},
      {__LINE__, "a/descendant-or-self::node()", "P(a)[C(descendant-or-self::node())])"},
      {__LINE__, "a/following::b[c]", "P(a)[C(following::b[c])])"},
      {__LINE__, "a/following-sibling::b", "P(a)[C(following-sibling::b)])"},
      {__LINE__, "a/preceding::b", "P(a)[C(preceding::b)])"},
      {__LINE__, "a/preceding-sibling::b", "P(a)[C(preceding-sibling::b)])"},
      {__LINE__, "a//b/..", "P(a)[C(.//b)],X()[C(..)])"},
      {__LINE__, "a//b//c/d/..", "P(a)[C(.//b)],X()[C(.//c/d)],X()[C(..)])"},
      {__LINE__, "a/../..", "P(a)[C(../..)])"},
      {__LINE__, "a/../b/../@c", "P(a)[C(../b)],X()[C(../@c)])"},
      {__LINE__, "a/./..", "P(a/.)[C(..)])"},
      {__LINE__, "..//..", "P(..//.)[C(..)])"},
      {__LINE__, "//..", "P(//.)[C(..)])"},
      {__LINE__, "a//..", "P(a)[C(.//.)],X()[C(..)])"},
      {__LINE__, ".// ancestor::a", "P(.// .)[C(ancestor::a)])"},
      {__LINE__, "a//b//parent::c", "P(a)[C(.//b)],X()[C(.//.)],X()[C(parent::c)])"},
      {__LINE__, "a[b//c]/d", "a[P(b)[C(.//c)])]/d"},
      {__LINE__, "a[1]//b[2]", "P(a[1])[C(.//b[2])])"},
      {__LINE__, "a//b[c//d]/..", "P(a)[C(.//b[P(c)[C(.//d)])])],X()[C(..)])"},
      {__LINE__, "$v/..", "P($v)[C(..)])"},
      {__LINE__, "$v//a", "P($v)[C(.//a)])"},
      {__LINE__, "(a|b)/..", "P((U(a,b)))[C(..)])"},
      {__LINE__, "f(a)//b", "P(f(a))[C(.//b)])"},
      {__LINE__, "f(a//b)/c", "f(P(a)[C(.//b)]))/c"},
      {__LINE__, "@*/..", "P(@*)[C(..)])"},
      {__LINE__, "a//b|c/..", "U(P(a)[C(.//b)]),P(c)[C(..)]))"},
      {__LINE__, "a//b=c/..", "E(P(a)[C(.//b)]),P(c)[C(..)]))"},
      {__LINE__, "a//b = 'c'", "P(a)[C(.//b)]) = 'c'"},
      {__LINE__, "-a//b + 1", "-P(a)[C(.//b)]) + 1"},
      {__LINE__, "a/.. * b", "P(a)[C(..)]) * b"},
      {__LINE__, "a/../*", "P(a)[C(../*)])"},
      {__LINE__, "zep_operator_next()/..", "P(unknown-X())[C(..)])"},
      // from one node, each comes once
      {__LINE__, "..", kSame},
      {__LINE__, "../..", kSame},
      {__LINE__, "../../a/@b", kSame},
      {__LINE__, ".//a", kSame},
      {__LINE__, "./..", kSame},
      {__LINE__, "//a", kSame},
      {__LINE__, "//a/b/@c", kSame},
      {__LINE__, "/a/b[c]", kSame},
      {__LINE__, "/..", kSame},
      {__LINE__, "/descendant::a", kSame},
      {__LINE__, "ancestor::a/b", kSame},
      {__LINE__, "parent::a/ancestor::b", kSame},
      {__LINE__, "self::a//b", kSame},
      {__LINE__, "@a/..", kSame},
      {__LINE__, "current()//a", kSame},
      {__LINE__, "a/self::b/attribute::c/namespace::d/child::e", kSame},
      {__LINE__, "a/parent", kSame},
      {__LINE__, "a/text()", kSame},
      {__LINE__, "'a//b'", kSame},
      // more slashes than there should be, as libxml2 takes them
      {__LINE__, "///a|b//c", "U(//a,P(b)[C(.//c)]))"},
      {__LINE__, "//// a|b", "U(//a,b)"},
      {__LINE__, "/ /a|b", "U(/a,b)"},
      {__LINE__, "$v////a", "P($v)[C(.//a)])"},
      {__LINE__, "$v///a", "P($v)[C(.//a)])"},
      {__LINE__, "current()////a", "current()//a"},
      {__LINE__, "////..", "P(//.)[C(..)])"},
      {__LINE__, "/////a|b", kSame},
      {__LINE__, "a////b", kSame},
      {__LINE__, "a/ /b//c", kSame},
      {__LINE__, "$v/ /a|b", kSame},
      // names that look like operators
      {__LINE__, "or or or", kSame},
      {__LINE__, "or|or", "U(or,or)"},
      {__LINE__, "div div mod", kSame},
      {__LINE__, "and = and and div = div", "E(and , and) and E(div , div)"},
      {__LINE__, "ancestor-or-self::or = a", "E(ancestor-or-self::or , a)"},
      {__LINE__, "* * *", kSame},
      {__LINE__, "*=*", "E(*,*)"},
      {__LINE__, "a * b | c", "a * U(b , c)"},
      {__LINE__, "//a = //b orc", "E(//a , //b) orc"},
      {__LINE__, "/ = /", kSame},
      {__LINE__, "text = comment", "E(text , comment)"},
      // nothing to change
      {__LINE__, "", kSame},
      {__LINE__, "a", kSame},
      {__LINE__, "a[@b = 'c']/d[position() > 1]", kSame},
      // not well-formed
      {__LINE__, "|a", kSame},
      {__LINE__, "a || b", kSame},
      {__LINE__, "a | -b", kSame},
      {__LINE__, "a = = b", kSame},
      {__LINE__, "a | b)", kSame},
      {__LINE__, "(a | b", kSame},
      {__LINE__, "a[b | c", kSame},
      {__LINE__, "a | b]", kSame},
      {__LINE__, "a | 'b", kSame},
      {__LINE__, "a | b, c", kSame},
      {__LINE__, "f(a | b,)", kSame},
      {__LINE__, "a | b c", kSame},
      {__LINE__, "$ | a", kSame},
      {__LINE__, "a/ | b", kSame},
      {__LINE__, "a/..[b]", kSame},
      {__LINE__, "a//b/", kSame},
      {__LINE__, "a/../", kSame},
      {__LINE__, "a//", kSame},
      {__LINE__, "a/..b", kSame},
      {__LINE__, "a/parent::", kSame},
      {__LINE__, "a | b[]", kSame},
      // what libxml2 takes although it is not well-formed
      {__LINE__, "a|b or id(", "!a|b or id("},
      {__LINE__, "count(//a/..) + count(", "!count(//a/..) + count("},
      {__LINE__, "concat(a|b, 1,", "!concat(a|b, 1,"},
      {__LINE__, "zep_operator_next() or id(", "!zep_operator_next() or id("},
      {__LINE__, "a|", "!a|"},
      {__LINE__, "id(", kSame},
      // our own names
      {__LINE__, "zep_operator_union(a, b)", "unknown-U(a, b)"},
      {__LINE__, "a|zep_operator_none(b = c)", "U(a,unknown-zep_operator_none(E(b , c)))"},
      {__LINE__, "zep_operator_union", kSame},
      {__LINE__, "'zep_operator_union(a, b)'", kSame},
  };
  for (const Row& row : rows) {
    ExpectRow(row, zep::WithFunctionsForOperators);
  }
}

TEST(XMLExpressionText, xml_operators_of_a_pattern_become_functions_in_predicates_alone) {
  const Row rows[] = {
      {__LINE__, "a|b", kSame},
      {__LINE__, "a[b|c]|d[e = f]", "a[U(b,c)]|d[E(e , f)]"},
      {__LINE__, "a[b[c|d]|e]/f[1]", "a[U(b[U(c,d)],e)]/f[1]"},
      {__LINE__, "a[@b = 'c']|d", kSame},
      {__LINE__, "processing-instruction('[a|b]')", kSame},
      {__LINE__, "key('[a|b]', 'x')[c|d]", "key('[a|b]', 'x')[U(c,d)]"},
      {__LINE__, "a[b = ']' and c|d]", "a[b = ']' and U(c,d)]"},
      {__LINE__, "a[b|c", kSame},
      {__LINE__, "a//b/c", kSame},
      {__LINE__, "a[b|c or id(]", "a[!b|c or id(]"},
      {__LINE__, "a//b[c//d]", "a//b[P(c)[C(.//d)])]"},
      {__LINE__, "a]b|c[", kSame},
  };
  for (const Row& row : rows) {
    ExpectRow(row, zep::PatternWithFunctionsForOperators);
  }
}

TEST(XMLExpressionText, xml_operators_of_an_attribute_become_functions_in_braces_alone) {
  const Row rows[] = {
      {__LINE__, "a|b", kSame},
      {__LINE__, "{a|b}", "{U(a,b)}"},
      {__LINE__, "a=b{c|d}e|f{g = h}i", "a=b{U(c,d)}e|f{E(g , h)}i"},
      {__LINE__, "{{a|b}}", kSame},
      {__LINE__, "{{{a|b}}}", "{{{U(a,b)}}}"},
      {__LINE__, "{'}' = a|b}", "{'}' = U(a,b)}"},
      {__LINE__, "{a|b", kSame},
      {__LINE__, "{a|b or id(}", "{!a|b or id(}"},
      {__LINE__, "a//b{c/..}", "a//b{P(c)[C(..)])}"},
      {__LINE__, "{}|{a|b}", "{}|{U(a,b)}"},
      {__LINE__, "{a|'b}", kSame},
      {__LINE__, "}{a|b}", "}{U(a,b)}"},
  };
  for (const Row& row : rows) {
    ExpectRow(row, zep::AttributeWithFunctionsForOperators);
  }
}

// What libxml2 takes is changed where it has to be, also if nobody else would take it; what libxml2 refuses
// stays as it is.
TEST(XMLExpressionText, xml_expressions_of_random_signs_are_read_as_libxml2_reads_them) {
  const char* const signs[] = {"a",         "b",        "or", "and",  "div",      "mod",       "*",   "/",
                               "//",        ".",        "..", "@",    "::",       "(",         ")",   "[",
                               "]",         "|",        "=",  "!=",   "<",        ">=",        "+",   "-",
                               ",",         "'x'",      "\"", "'",    "1",        "1.5",       ".5",  "e",
                               "$",         "$v",       ":",  "self", "parent::", "following", "///", " ",
                               " ",         "text",     "()", "a|b",  "a=b",      "f(",        "[1]", "p:a",
                               "attribute", "\xC3\xA9", "\n"};
  std::mt19937 random(1);
  const auto below = [&random](std::size_t limit) { return static_cast<std::size_t>(random()) % limit; };
  int wellFormed = 0;
  for (int i = 0; i < 60'000; ++i) {
    std::string signsInARow;
    for (std::size_t count = 1 + below(8); count > 0; --count) {
      signsInARow += signs[below(std::size(signs))];
    }
    const std::string text = "f(" + signsInARow + ",a|b)";
    const std::optional<std::string> changed = Changed(text);
    const bool isExpression = IsExpression(text);
    wellFormed += isExpression ? 1 : 0;
    EXPECT_EQ(changed.has_value(), isExpression) << text;
    EXPECT_TRUE(!changed || IsExpression(*changed)) << text << " became " << *changed;
    EXPECT_FALSE(IsExpression("!" + text)) << text;
  }
  EXPECT_GT(wellFormed, 1'000);
}

TEST(XMLExpressionText, xml_expressions_of_any_length_and_depth_are_read) {
  const auto repeated = [](const std::string& text, int count) {
    std::string result;
    for (int i = 0; i < count; ++i) {
      result += text;
    }
    return result;
  };
  const auto result = [](const std::string& text) {
    return zep::WithFunctionsForOperators(text, [](std::string_view) { return true; });
  };
  const auto changed = [&result](const std::string& text) {
    return result(text).value_or("!").front() != '!';
  };
  const auto refused = [&result](const std::string& text) {
    return result(text).value_or("-").front() == '!';
  };
  constexpr int kMany = 100'000;
  EXPECT_TRUE(refused(repeated("(", kMany) + "a|b"));
  EXPECT_TRUE(refused(repeated("a[", kMany) + "a|b"));
  EXPECT_TRUE(refused(repeated("f(", kMany) + "a|b"));
  EXPECT_TRUE(changed(repeated("-", kMany) + "a|b"));
  EXPECT_TRUE(changed(repeated("a|", kMany) + "b"));
  EXPECT_TRUE(changed(repeated("a=", kMany) + "b"));
  EXPECT_TRUE(changed(repeated("a/", kMany) + "a|b"));
  EXPECT_TRUE(changed(repeated("a//", kMany) + "b"));
  EXPECT_TRUE(changed("a/.." + repeated("/..", kMany)));
  EXPECT_FALSE(result(repeated("../", kMany) + ".."));
  EXPECT_TRUE(refused("$v" + repeated("/", kMany) + "a"));
  EXPECT_TRUE(changed(repeated("(", 400) + "a|b" + repeated(")", 400)));
}

} // namespace
