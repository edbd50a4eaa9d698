#include "XMLTest.h"

#include <chrono>
#include <cstddef>
#include <cstdlib>
#include <pthread.h>

#include <libxml/xpathInternals.h>
#include <libxslt/extensions.h>

// Time, memory and stack of a transformation, and the functions that stand in front of libxml2's.

namespace {

using namespace xml;

using Clock = std::chrono::steady_clock;

// Generous to a slow machine, and far below what the bodies would take.
constexpr std::chrono::seconds kLongest{20};

class XMLUse : public QuietTest {
protected:
  void TearDown() override {
    unsetenv("ZEP_XSLT_MAX_MEMORY_BYTES");
    unsetenv("ZEP_XSLT_MAX_OUTPUT_BYTES");
    unsetenv("ZEP_XSLT_TIMEOUT_MS");
    QuietTest::TearDown();
  }
};

std::string ValueOf(const std::string& select) {
  return TextSheet("<xsl:value-of select=\"" + select + "\"/>");
}

std::string Named(const std::string& name, const std::string& body) {
  return "<xsl:template name='" + name + "'>" + body + "</xsl:template>";
}

// Calls itself `times` times with `body` in front of the call.
std::string Counting(const std::string& before, int times, const std::string& after) {
  return Named("t", "<xsl:param name='c' select='" + std::to_string(times) + "'/>" + before +
                        "<xsl:if test='$c > 0'><xsl:call-template name='t'>"
                        "<xsl:with-param name='c' select='$c - 1'/></xsl:call-template></xsl:if>" +
                        after);
}

const std::string kExtensions = "xmlns:e='http://exslt.org/common' xmlns:h='urn:host'";

// ---- functions ---------------------------------------------------------------------------------

TEST_F(XMLUse, xml_text_functions_give_what_xpath_says) {
  struct Row {
    int line;
    const char* select;
    const char* result;
  };
  const Row rows[] = {
      Row{__LINE__, "contains('abc', 'b')", "true"},
      Row{__LINE__, "contains('abc', 'd')", "false"},
      Row{__LINE__, "contains('abc', '')", "true"},
      Row{__LINE__, "contains('', '')", "true"},
      Row{__LINE__, "contains('', 'a')", "false"},
      Row{__LINE__, "contains(/a, '中')", "true"},
      Row{__LINE__, "contains(12345, 34)", "true"},
      Row{__LINE__, "contains(true(), 'ru')", "true"},
      Row{__LINE__, "substring-before('1999/04/01', '/')", "1999"},
      Row{__LINE__, "substring-after('1999/04/01', '/')", "04/01"},
      Row{__LINE__, "substring-before('abc', '')", ""},
      Row{__LINE__, "substring-after('abc', '')", "abc"},
      Row{__LINE__, "substring-before('abc', 'x')", ""},
      Row{__LINE__, "substring-after('abc', 'x')", ""},
      Row{__LINE__, "substring-before('abc', 'a')", ""},
      Row{__LINE__, "substring-after('abc', 'c')", ""},
      Row{__LINE__, "substring-before('aaab', 'ab')", "aa"},
      Row{__LINE__, "substring-before(/a, '😀')", "ä中"},
      Row{__LINE__, "substring-after(/a, '中')", "😀"},
      Row{__LINE__, "concat('a', 'b')", "ab"},
      Row{__LINE__, "concat('', '')", ""},
      Row{__LINE__, "concat('a', 1, true(), /a, //nothing, 'z')", "a1trueä中😀z"},
      Row{__LINE__, "concat(concat('a', 'b'), concat('c', 'd'), 'e')", "abcde"},
      Row{__LINE__, "translate('bar', 'abc', 'ABC')", "BAr"},
      Row{__LINE__, "translate('--aaa--', 'abc-', 'ABC')", "AAA"},
      Row{__LINE__, "translate('abab', 'aa', 'xy')", "xbxb"},
      Row{__LINE__, "translate('abc', '', 'xyz')", "abc"},
      Row{__LINE__, "translate('abc', 'abc', '')", ""},
      Row{__LINE__, "translate('', 'a', 'b')", ""},
      Row{__LINE__, "translate(/a, 'ä中😀', 'x😀y')", "x😀y"},
      Row{__LINE__, "translate('abc', 'b', '中')", "a中c"},
      Row{__LINE__, "string-length(concat(/a, /a))", "6"},
      Row{__LINE__, "normalize-space('  a   b ')", "a b"},
      Row{__LINE__, "format-number(1234.5, '#,##0.00')", "1,234.50"},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(row.line);
    ExpectText(Applied(ValueOf(row.select), "<a>ä中😀</a>"), row.result);
  }
}

TEST_F(XMLUse, xml_text_functions_with_a_wrong_number_of_arguments) {
  for (const char* const select :
       {"concat('a')", "concat()", "contains('a')", "contains('a', 'b', 'c')", "substring-before('a')",
        "substring-after('a', 'b', 'c')", "translate('a', 'b')", "translate('a', 'b', 'c', 'd')"}) {
    SCOPED_TRACE(select);
    ExpectFailure(Applied(ValueOf(select), "<a/>"), "number of arguments");
  }
}

// Both texts are long, and nearly match everywhere.
TEST_F(XMLUse, xml_search_in_long_texts_is_quick) {
  const std::string expression =
      "<a><h>" + Repeated("a", 4'000'000) + "</h><n>" + Repeated("a", 2'000'000) + "b</n></a>";
  const Clock::time_point start = Clock::now();
  ExpectText(Applied(ValueOf("contains(/a/h, /a/n)"), expression), "false");
  ExpectText(
      Applied(ValueOf("substring-before(concat(/a/h, 'b'), /a/n) = substring(/a/h, 2000001)"), expression),
      "true");
  ExpectText(Applied(ValueOf("substring-after(concat(/a/h, 'bc'), /a/n)"), expression), "c");
  EXPECT_LT(Clock::now() - start, kLongest);
}

TEST_F(XMLUse, xml_concat_of_many_long_texts_ends_before_it_is_made) {
  const std::string arguments = Repeated("/,", 2000) + "'x'";
  const Clock::time_point start = Clock::now();
  ExpectFailure(
      Applied(ValueOf("string-length(concat(" + arguments + "))"), "<a>" + Repeated("x", 1'000'000) + "</a>"),
      "ZEP_XSLT_MAX_OUTPUT_BYTES");
  EXPECT_LT(Clock::now() - start, kLongest);
  ExpectText(Applied(ValueOf("string-length(concat(" + arguments + "))"), "<a>xyz</a>"), "6001");
}

TEST_F(XMLUse, xml_node_set_function_is_known) {
  ExpectText(Applied(TextSheet("<xsl:variable name='v'><i>1</i><i>2</i></xsl:variable>"
                               "<xsl:value-of select='sum(e:node-set($v)/i)'/>,"
                               "<xsl:value-of select=\"function-available('e:node-set')\"/>",
                               kExtensions),
                     "<a/>"),
             "3,true");
}

int hostCalls = 0;

void HostFunction(xmlXPathParserContextPtr parser, int /*argumentCount*/) {
  ++hostCalls;
  xmlXPathReturnTrue(parser);
}

// What a host registers for itself may read and write anything.
TEST_F(XMLUse, xml_functions_of_the_host_are_not_the_stylesheets) {
  const auto* const name = reinterpret_cast<const xmlChar*>("run");
  const auto* const uri = reinterpret_cast<const xmlChar*>("urn:host");
  ASSERT_EQ(xsltRegisterExtModuleFunction(name, uri, HostFunction), 0);
  for (const char* const attributes : {"", " extension-element-prefixes='h'"}) {
    SCOPED_TRACE(attributes);
    ExpectFailure(Applied(TextSheet("<xsl:value-of select='h:run()'/>", kExtensions + attributes), "<a/>"),
                  "run");
    ExpectText(
        Applied(TextSheet("<xsl:value-of select=\"function-available('h:run')\"/>", kExtensions + attributes),
                "<a/>"),
        "false");
  }
  EXPECT_EQ(hostCalls, 0);
  EXPECT_EQ(xsltUnregisterExtModuleFunction(name, uri), 0);
}

// ---- depth -------------------------------------------------------------------------------------

// libxslt copies and walks through a tree by recursion, one call for each level.
TEST_F(XMLUse, xml_tree_that_is_too_deep_is_neither_copied_nor_walked_through) {
  const std::string deep =
      "<xsl:template name='n'><xsl:param name='c'/><xsl:if test='$c > 0'>" + Repeated("<a>", 90) +
      "<xsl:call-template name='n'><xsl:with-param name='c' select='$c - 1'/></xsl:call-template>" +
      Repeated("</a>", 90) + "</xsl:if></xsl:template>";
  const std::string tree = "<xsl:variable name='v'><xsl:call-template name='n'>"
                           "<xsl:with-param name='c' select='1400'/></xsl:call-template></xsl:variable>";
  for (const char* const use :
       {"<xsl:copy-of select='$v'/>", "<xsl:apply-templates select='e:node-set($v)/*'/>",
        "<xsl:copy-of select='e:node-set($v)/a/a'/>"}) {
    SCOPED_TRACE(use);
    ExpectFailure(
        Applied(Sheet(deep + "<xsl:template match='/'>" + tree + use + "</xsl:template>", kExtensions),
                "<a/>"),
        "deep");
  }
}

TEST_F(XMLUse, xml_copy_of_a_set_that_holds_each_node_many_times) {
  const std::string expression =
      Repeated("<a>", 900) + Repeated("<b>some text</b>", 20'000) + Repeated("</a>", 900);
  const Clock::time_point start = Clock::now();
  ExpectFailure(Applied(TextSheet("<xsl:copy-of select='//node()'/>"), expression), "ZEP_XSLT_MAX_NODES");
  EXPECT_LT(Clock::now() - start, kLongest);
}

struct SmallThread {
  std::string sheet;
  std::string expression;
  Outcome outcome;
};

void* RunOnSmallThread(void* argument) {
  SmallThread& work = *static_cast<SmallThread*>(argument);
  work.outcome = Applied(work.sheet, work.expression);
  return nullptr;
}

Outcome AppliedOnSmallStack(const std::string& sheet, const std::string& expression) {
  SmallThread work{sheet, expression, {}};
  pthread_attr_t attributes;
  EXPECT_EQ(pthread_attr_init(&attributes), 0);
  EXPECT_EQ(pthread_attr_setstacksize(&attributes, std::size_t{512} << 10), 0);
  pthread_t thread;
  EXPECT_EQ(pthread_create(&thread, &attributes, RunOnSmallThread, &work), 0);
  EXPECT_EQ(pthread_join(thread, nullptr), 0);
  EXPECT_EQ(pthread_attr_destroy(&attributes), 0);
  return work.outcome;
}

TEST_F(XMLUse, xml_recursion_on_a_small_stack_ends) {
  const std::string nested = Repeated("<e><xsl:for-each select='.'>", 20) + "<xsl:call-template name='t'/>" +
                             Repeated("</xsl:for-each></e>", 20);
  ExpectFailure(
      AppliedOnSmallStack(
          Sheet(Named("t", nested) + "<xsl:template match='/'><xsl:call-template name='t'/></xsl:template>"),
          "<a/>"),
      "stack");
  // Each variable is first asked for by the one behind it.
  std::string chain = "<xsl:variable name='v0' select='1'/>";
  for (int i = 1; i <= 3000; ++i) {
    chain += "<xsl:variable name='v" + std::to_string(i) + "' select='$v" + std::to_string(i - 1) + "'/>";
  }
  ExpectFailure(AppliedOnSmallStack(Sheet(chain + "<xsl:template match='/'/>"), "<a/>"), "stack");
}

TEST_F(XMLUse, xml_small_stack_is_enough_for_honest_use) {
  ExpectText(
      AppliedOnSmallStack(Sheet(kUTF8Output + Counting("x", 100, "") +
                                "<xsl:template match='/'><xsl:call-template name='t'/></xsl:template>"),
                          "<a/>"),
      Repeated("x", 101));
}

// ---- memory ------------------------------------------------------------------------------------

// Each level of the recursion keeps a text of its own: none is large, together they are.
TEST_F(XMLUse, xml_memory_that_a_transformation_takes_is_bounded) {
  setenv("ZEP_XSLT_MAX_MEMORY_BYTES", "200000000", 1);
  const std::string sheet = Sheet(Counting("<xsl:variable name='v' select='concat(/, $c)'/>", 1400,
                                           "<xsl:if test=\"$v = 'x'\">y</xsl:if>") +
                                  "<xsl:template match='/'><xsl:call-template name='t'/></xsl:template>");
  ExpectFailure(Applied(sheet, "<a>" + Repeated("x", 700'000) + "</a>"), "ZEP_XSLT_MAX_MEMORY_BYTES");
  ExpectText(Applied(sheet, "<a>x</a>"), "");
}

} // namespace
