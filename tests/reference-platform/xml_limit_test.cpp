#include "XMLTest.h"

#include <chrono>
#include <cstdlib>
#include <sys/resource.h>
#include <thread>

namespace {

using namespace xml;

using Clock = std::chrono::steady_clock;

// Generous to a slow machine, and far below what the bodies would take.
constexpr std::chrono::seconds kLongest{20};

class XMLLimits : public QuietTest {
protected:
  void TearDown() override {
    for (const char* name : {"ZEP_XSLT_TIMEOUT_MS", "ZEP_XSLT_MAX_OUTPUT_BYTES", "ZEP_XSLT_MAX_NODES",
                             "ZEP_XSLT_MAX_EXPRESSION_BYTES", "ZEP_XSLT_MAX_STYLESHEET_BYTES"}) {
      unsetenv(name);
    }
    QuietTest::TearDown();
  }

  static void SmallLimits() {
    setenv("ZEP_XSLT_TIMEOUT_MS", "500", 1);
    setenv("ZEP_XSLT_MAX_OUTPUT_BYTES", "1000000", 1);
    setenv("ZEP_XSLT_MAX_NODES", "50000", 1);
  }

  static void ExpectEnded(const std::string& sheet, const std::string& expression,
                          const std::string& messagePart, Format format = Format::Text) {
    const Clock::time_point start = Clock::now();
    const Outcome outcome = Applied(sheet, expression, format);
    EXPECT_LT(Clock::now() - start, kLongest);
    ExpectFailure(outcome, messagePart);
  }
};

std::string Named(const std::string& name, const std::string& body) {
  return "<xsl:template name='" + name + "'>" + body + "</xsl:template>";
}

std::string With(const std::string& templates, const std::string& body, const std::string& attributes = {}) {
  return Sheet(kUTF8Output + templates + "<xsl:template match='/'>" + body + "</xsl:template>", attributes);
}

std::string Parameter(const std::string& name, const std::string& select) {
  return "<xsl:with-param name='" + name + "' select='" + select + "'/>";
}

std::string Call(const std::string& name, const std::string& parameters = {}) {
  return "<xsl:call-template name='" + name + "'>" + parameters + "</xsl:call-template>";
}

std::string ForEach(const std::string& select, const std::string& body) {
  return "<xsl:for-each select='" + select + "'>" + body + "</xsl:for-each>";
}

const std::string kWide = "<a>" + Repeated("<b c='1'>x</b>", 1000) + "</a>";

TEST_F(XMLLimits, xml_endless_recursion_ends) {
  const std::string nested = Repeated("<xsl:if test='1'>", 200) + Call("t") + Repeated("</xsl:if>", 200);
  struct Row {
    int line;
    std::string sheet;
  };
  const Row rows[] = {
      Row{__LINE__, With(Named("t", Call("t")), Call("t"))},
      Row{__LINE__, With(Named("t", "x" + Call("u")) + Named("u", "<b>" + Call("t") + "</b>"), Call("t"))},
      Row{__LINE__, With(Named("t", nested), Call("t"))},
      Row{__LINE__, With("", "<xsl:apply-templates select='/'/>")},
      Row{__LINE__, With("<xsl:template match='b'><xsl:apply-templates select='..'/></xsl:template>"
                         "<xsl:template match='a'><xsl:apply-templates/></xsl:template>",
                         "<xsl:apply-templates/>")},
      Row{__LINE__, With(Named("t", "<xsl:variable name='v'>" + Call("t") + "</xsl:variable>"), Call("t"))},
      Row{__LINE__, With(Named("t", "<xsl:param name='p'>" + Call("t") + "</xsl:param>"), Call("t"))},
      Row{__LINE__, With(Named("t", "<xsl:attribute name='n'>" + Call("t") + "</xsl:attribute>"),
                         "<e>" + Call("t") + "</e>")},
      Row{__LINE__, With("<xsl:variable name='g' select='$h'/><xsl:variable name='h' select='$g'/>",
                         "<xsl:value-of select='$g'/>")},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(row.line);
    ExpectEnded(row.sheet, "<a><b/></a>", "");
  }
}

// Recursion as deep as it may get, on a stack of the usual size.
TEST_F(XMLLimits, xml_recursion_through_nested_instructions_on_another_thread) {
  const std::string body =
      Repeated("<e><xsl:for-each select='.'>", 60) + Call("t") + Repeated("</xsl:for-each></e>", 60);
  std::thread([&body] { ExpectEnded(With(Named("t", body), Call("t")), "<a/>", ""); }).join();
}

TEST_F(XMLLimits, xml_text_that_grows_ends) {
  SmallLimits();
  const std::string doubled = Parameter("s", "concat($s, $s)");
  const std::string loop = "<xsl:for-each select='//b'>";
  struct Row {
    int line;
    std::string sheet;
  };
  const Row rows[] = {
      Row{__LINE__, With(Named("t", "<xsl:param name='s'/>" + Call("t", doubled)),
                         Call("t", Parameter("s", "\"xx\"")))},
      Row{__LINE__, With(Named("t", "<xsl:param name='s'/><xsl:variable name='n'><xsl:value-of select='$s'/>"
                                    "<xsl:value-of select='$s'/></xsl:variable>" +
                                        Call("t", Parameter("s", "string($n)"))),
                         Call("t", Parameter("s", "\"xx\"")))},
      Row{__LINE__, With(Named("t", "<xsl:param name='s'/><xsl:variable name='n'><xsl:copy-of select='$s'/>"
                                    "<xsl:copy-of select='$s'/></xsl:variable>" +
                                        Call("t", Parameter("s", "$n"))),
                         Call("t", Parameter("s", "\"xx\"")))},
      Row{__LINE__, With("", loop + loop + Repeated("0123456789", 100) + "</xsl:for-each></xsl:for-each>")},
      Row{__LINE__, With("", loop + loop + "<xsl:text>0123456789</xsl:text></xsl:for-each></xsl:for-each>")},
      Row{__LINE__, With("", loop + loop + "<xsl:value-of select='/'/></xsl:for-each></xsl:for-each>")},
      Row{__LINE__, With("", loop + loop + "<xsl:copy-of select='/'/></xsl:for-each></xsl:for-each>")},
      Row{__LINE__,
          With("", "<xsl:comment>" + loop + Repeated("y", 50'000) + "</xsl:for-each></xsl:comment>")},
      Row{__LINE__, With("", "<xsl:variable name='s' select='\"" + Repeated("y", 100'000) + "\"'/><e a='" +
                                 Repeated("{$s}", 60) + "'/>")},
      Row{__LINE__, With("<xsl:variable name='s'>" + Repeated("y", 100'000) + "</xsl:variable>",
                         "<e a='" + Repeated("{$s}", 60) + "'/>")},
      Row{__LINE__, With("", ForEach("//b", "<e a='" + Repeated("{/}{/*}", 30) + "'/>"))},
      Row{__LINE__, With("", "<xsl:variable name='v'>" +
                                 ForEach("//b", "<e a='" + Repeated("{/}", 60) + "'/>") + "</xsl:variable>")},
      Row{__LINE__, With("", "<xsl:message>" + loop + loop + Repeated("y", 5000) +
                                 "</xsl:for-each></xsl:for-each></xsl:message>")},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(row.line);
    ExpectEnded(row.sheet, kWide, "ZEP_XSLT_");
  }
}

TEST_F(XMLLimits, xml_attribute_of_many_expressions_is_refused) {
  ExpectText(Applied(TextSheet("<e a='" + Repeated("{/}", 64) + "'/>x"), "<a/>"), "x");
  ExpectEnded(TextSheet("<e a='" + Repeated("{/}", 65) + "'/>x"), "<a/>", "64");
}

TEST_F(XMLLimits, xml_result_that_is_larger_than_its_nodes_ends) {
  SmallLimits();
  const std::string name = Repeated("n", 500);
  const std::string body = ForEach("//b", Repeated("<" + name + "/>", 2));
  ExpectEnded(Sheet("<xsl:output method='xml' encoding='UTF-8'/><xsl:template match='/'><r>" + body +
                    "</r></xsl:template>"),
              kWide, "ZEP_XSLT_MAX_OUTPUT_BYTES", Format::AsWritten);
  const std::string uri = "xmlns='" + Repeated("u", 500) + "'";
  ExpectEnded(Sheet("<xsl:output method='xml' encoding='UTF-8'/><xsl:template match='/'><r>" +
                    ForEach("//b", Repeated("<e " + uri + "/>", 2)) + "</r></xsl:template>"),
              kWide, "ZEP_XSLT_MAX_OUTPUT_BYTES", Format::AsWritten);
}

TEST_F(XMLLimits, xml_names_that_are_long_are_refused) {
  const std::string most = Repeated("n", 500);
  const std::string wider = most + "n";
  const std::string sheet = TextSheet("<xsl:for-each select='//node() | //@*'>.</xsl:for-each>");
  const auto named = [](const std::string& name, const std::string& uri) {
    return "<" + name + " " + name + "='' xmlns:" + name + "='" + uri + "'><?" + name + "?></" + name + ">";
  };
  ExpectText(Applied(sheet, named(most, most)), "...");
  struct Row {
    int line;
    std::string text;
  };
  const Row rows[] = {Row{__LINE__, "<" + wider + "/>"}, Row{__LINE__, "<a " + wider + "=''/>"},
                      Row{__LINE__, "<a xmlns='" + wider + "'/>"},
                      Row{__LINE__, "<a xmlns:" + wider + "='u'/>"},
                      Row{__LINE__, "<a><?" + wider + "?></a>"}};
  for (const Row& row : rows) {
    SCOPED_TRACE(row.line);
    ExpectEnded(sheet, row.text, "500 bytes");
    ExpectEnded(TextSheet("<xsl:if test='0'>" + row.text + "</xsl:if>"), "<a/>", "500 bytes");
  }
  ExpectText(Applied(TextSheet("<xsl:element name='{/a}'>x</xsl:element>"), "<a>" + most + "</a>"), "x");
  for (const char* const made : {"element", "attribute", "processing-instruction"}) {
    SCOPED_TRACE(made);
    const std::string instruction = std::string("<e><xsl:") + made + " name='{/a}'/></e>";
    ExpectEnded(TextSheet(instruction), "<a>" + wider + "</a>", "500 bytes");
  }
}

TEST_F(XMLLimits, xml_copies_below_many_namespaces_end) {
  setenv("ZEP_XSLT_TIMEOUT_MS", "100", 1);
  const auto declarations = [](const std::string& prefix) {
    std::string text;
    for (int i = 0; i < 900; ++i) {
      text += " xmlns:" + prefix + std::to_string(i) + "='u'";
    }
    return text;
  };
  const std::string copies = "<o><xsl:copy-of select='/a/namespace::*'/><xsl:copy-of select='/a/b'/></o>";
  ExpectText(Applied(TextSheet(copies), "<a" + declarations("p") + "><b>x</b></a>"), "x");
  ExpectEnded(TextSheet(copies), "<a" + declarations("p") + ">" + Repeated("<b/>", 1000) + "</a>",
              "copying takes more steps than ZEP_XSLT_TIMEOUT_MS");
}

TEST_F(XMLLimits, xml_output_limit_holds_for_the_whole_result) {
  setenv("ZEP_XSLT_MAX_OUTPUT_BYTES", "10000", 1);
  const std::string body = ForEach("//b", "<e/>12345678");
  ExpectText(Applied(With("", body), "<a>" + Repeated("<b/>", 1250) + "</a>"), Repeated("12345678", 1250));
  ExpectEnded(With("", body), "<a>" + Repeated("<b/>", 1251) + "</a>", "ZEP_XSLT_MAX_OUTPUT_BYTES");
}

TEST_F(XMLLimits, xml_nodes_that_multiply_end) {
  SmallLimits();
  const std::string twice = "<xsl:copy-of select='$s'/><xsl:copy-of select='$s'/>";
  ExpectEnded(With(Named("t", "<xsl:param name='s'/><xsl:variable name='n'>" + twice + "</xsl:variable>" +
                                  Call("t", Parameter("s", "$n"))),
                   Call("t", Parameter("s", "/"))),
              "<a><b/></a>", "ZEP_XSLT_");
  ExpectEnded(With("", ForEach("//b", ForEach("//b", "<e/>"))), kWide, "ZEP_XSLT_");
  ExpectEnded(With("", ForEach("//b", ForEach("//b", "<xsl:variable name='v'><e/></xsl:variable>"))), kWide,
              "ZEP_XSLT_");
  ExpectEnded(With("", "x"), "<a>" + Repeated("<b/>", 60'000) + "</a>", "ZEP_XSLT_MAX_NODES");
}

// A tree that is deeper than any stack: each step wraps the one before into a few hundred elements.
TEST_F(XMLLimits, xml_tree_that_grows_deeper_ends) {
  const std::string wrap = Repeated("<a>", 200) + "<xsl:copy-of select='$s'/>" + Repeated("</a>", 200);
  ExpectEnded(With(Named("t", "<xsl:param name='s'/><xsl:variable name='n'>" + wrap + "</xsl:variable>" +
                                  Call("t", Parameter("s", "$n"))),
                   Call("t", Parameter("s", "/"))),
              "<a/>", "");
}

TEST_F(XMLLimits, xml_depth_of_an_expression) {
  const auto nested = [](int depth) { return Repeated("<a>", depth) + "x" + Repeated("</a>", depth); };
  ExpectText(Applied(TextSheet("<xsl:apply-templates/>"), nested(1000)), "x");
  ExpectText(Applied(TextSheet("<xsl:copy-of select='/'/>"), nested(1000)), "x");
  ExpectEnded(TextSheet("<xsl:apply-templates/>"), nested(1001), "deep");
  ExpectEnded(TextSheet("<xsl:apply-templates/>"), Repeated("<a>", 1'000'000), "deep");
  ExpectEnded(Repeated("<a>", 1'000'000), "<a/>", "sheet");
}

TEST_F(XMLLimits, xml_expression_that_is_nested_ends) {
  for (const std::string& select :
       {Repeated("(", 100'000) + "1" + Repeated(")", 100'000),
        "a" + Repeated("[a", 100'000) + Repeated("]", 100'000), Repeated("-", 1'000'000) + "1",
        Repeated("not(", 100'000) + "1" + Repeated(")", 100'000)}) {
    SCOPED_TRACE(select.substr(0, 10));
    const Clock::time_point start = Clock::now();
    const Outcome outcome = Applied(TextSheet("<xsl:value-of select='" + select + "'/>"), "<a/>");
    EXPECT_LT(Clock::now() - start, kLongest);
    EXPECT_TRUE(outcome.code == S_OK || !outcome.message.empty());
  }
}

TEST_F(XMLLimits, xml_expression_that_takes_long_ends) {
  SmallLimits();
  const std::string haystack = Repeated("a", 400'000);
  const std::string needle = Repeated("a", 200'000) + "b";
  const std::string texts = "<xsl:variable name='h' select='string(//h)'/><xsl:variable name='n' "
                            "select='string(//n)'/>";
  const std::string long_ =
      "<a><h>" + haystack + "</h><n>" + needle + "</n>" + Repeated("<b/>", 200) + "</a>";
  struct Row {
    int line;
    std::string body;
    std::string expression;
  };
  const Row rows[] = {
      Row{__LINE__, "<xsl:value-of select='count(//*[//*[//*[. = 2]]])'/>", kWide},
      Row{__LINE__, "<xsl:if test='//*[count(//*[count(//*) = 1]) = 1]'>x</xsl:if>", kWide},
      Row{__LINE__, "<xsl:value-of select='count(//b[count(preceding::*[count(following::*) > 5]) > 5])'/>",
          kWide},
      Row{__LINE__, texts + "<xsl:value-of select='count(//b[translate($h, $n, $n) = 1])'/>", long_},
      Row{__LINE__, ForEach("//b", ForEach("//b", ForEach("//b", "<xsl:if test='0'/>"))), kWide},
      Row{__LINE__, ForEach("//b", ForEach("//b", "<xsl:number level='any'/>")), kWide},
      Row{__LINE__, ForEach("//b", "<xsl:number level='any' count='*[//*[//*]]'/>"), kWide},
      Row{__LINE__,
          ForEach("//b", "<xsl:apply-templates select='//b' mode='m'><xsl:sort "
                         "select='count(//*[. = 3])'/></xsl:apply-templates>"),
          kWide},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(row.line);
    const Clock::time_point start = Clock::now();
    ExpectEnded(TextSheet(row.body), row.expression, "ZEP_XSLT_TIMEOUT_MS");
    RecordProperty("row" + std::to_string(row.line),
                   static_cast<int>((Clock::now() - start) / std::chrono::milliseconds(1)));
  }
}

// Work that nothing can end once it has begun is weighed beforehand: what is too heavy is refused, and its
// lighter neighbour is not.
TEST_F(XMLLimits, xml_patterns_are_weighed) {
  SmallLimits();
  const auto nested = [](int depth) { return Repeated("<b>", depth) + "<c/>" + Repeated("</b>", depth); };
  const auto wide = [](int count) { return "<r>" + Repeated("<b/>", count) + "</r>"; };
  const auto rules = [](int count, const std::string& match) {
    return Sheet(kUTF8Output + Repeated("<xsl:template match='" + match + "' mode='m'/>", count) +
                 "<xsl:key name='k' match='b' use='1'/>"
                 "<xsl:template match='/'>x<xsl:apply-templates mode='m'/></xsl:template>");
  };
  const auto number = [](const std::string& attributes) {
    return TextSheet("x" + ForEach("//*[not(following::*) and not(*)]",
                                   "<xsl:variable name='n'><xsl:number " + attributes + "/></xsl:variable>"));
  };
  const auto below = [](int depth, int count) {
    return Repeated("<b>", depth) + Repeated("<c/>", count) + Repeated("</b>", depth);
  };
  const std::string alternatives = Repeated("y/b|", 1000) + "b";
  struct Row {
    int line;
    std::string sheet;
    std::string heavy;
    std::string light;
  };
  const Row rows[] = {
      Row{__LINE__, rules(1, "y//b//b//b//b//b"), nested(200), nested(12)},
      Row{__LINE__, rules(1, "y//*//*//*//*//*"), nested(200), nested(12)},
      Row{__LINE__, rules(40, "y" + Repeated("/*", 900)), nested(990), nested(12)},
      Row{__LINE__, TextSheet("x<xsl:apply-templates select='//*' mode='m'/>"), below(500, 20'000),
          below(500, 2000)},
      Row{__LINE__, rules(1000, "y/b"), wide(10'000), wide(1000)},
      Row{__LINE__, rules(1000, "y/*"), wide(10'000), wide(1000)},
      Row{__LINE__, rules(1000, "y/@x"), "<r>" + Repeated("<b x='1'/>", 10'000) + "</r>", "<r x='1'/>"},
      Row{__LINE__, rules(1, alternatives), wide(10'000), wide(1000)},
      Row{__LINE__, rules(10, "key(&quot;k&quot;, &quot;2&quot;)"), wide(20'000), wide(200)},
      Row{__LINE__, rules(10, "b[@y][@y]"), wide(20'000), wide(200)},
      Row{__LINE__, number("level='any' count='y//b//b//b//b//b'"), nested(200), nested(12)},
      Row{__LINE__, number("level='multiple' from='y//b//b//b//b//b'"), nested(200), nested(12)},
      Row{__LINE__, number("count='" + Repeated("y/b|", 9000) + "b'"), wide(10'000), wide(1000)},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(row.line);
    ExpectEnded(row.sheet, row.heavy, "ZEP_XSLT_TIMEOUT_MS");
    ExpectText(Applied(row.sheet, row.light), "x");
  }
}

// A compilation is looked at by no clock.
TEST_F(XMLLimits, xml_stylesheet_is_bounded_in_what_libxslt_keeps_in_lists) {
  const auto sheet = [](const std::string& declarations) {
    return Sheet(kUTF8Output + declarations + "<xsl:template match='/'>x</xsl:template>");
  };
  const auto alternatives = [](int count) { return Repeated("a|", count - 1) + "a"; };
  const auto set = [](int attributes) {
    return "<xsl:attribute-set name='s'>" + Repeated("<xsl:attribute name='a'/>", attributes) +
           "</xsl:attribute-set>";
  };
  std::string spaces;
  for (int i = 0; i < 100; ++i) {
    spaces += " xmlns:a" + std::to_string(i) + "='u'";
  }
  const auto number = [](const std::string& attributes) {
    return "<xsl:template name='t'><xsl:number " + attributes + "/></xsl:template>";
  };
  struct Row {
    int line;
    std::string refused;
    std::string taken;
    std::string message;
  };
  const Row rows[] = {
      Row{__LINE__, "<xsl:template match='" + alternatives(9'999) + "'/>",
          "<xsl:template match='" + alternatives(9'998) + "'/>", "top-level"},
      Row{__LINE__, number("count='" + alternatives(9'999) + "'"),
          number("count='" + alternatives(9'998) + "'"), "alternatives"},
      Row{__LINE__, number("from='" + alternatives(9'999) + "'"),
          number("from='" + alternatives(9'998) + "'"), "alternatives"},
      Row{__LINE__, number("count='" + Repeated("a/", 200'000) + "a'"),
          number("count='" + Repeated("a/", 199'999) + "a'"), "steps"},
      Row{__LINE__, "<xsl:template match='" + alternatives(9'900) + "'" + spaces + "/>",
          "<xsl:template match='" + alternatives(9'000) + "'" + spaces + "/>", "namespaces"},
      Row{__LINE__, "<xsl:strip-space elements='" + Repeated("b ", 1'000'000) + "'" + spaces + "/>",
          "<xsl:strip-space elements='" + Repeated("b ", 900'000) + "'" + spaces + "/>", "namespaces"},
      Row{__LINE__, set(22'361), set(22'360), "attribute sets"},
      Row{__LINE__,
          set(1'000) + "<xsl:attribute-set name='t' use-attribute-sets='" + Repeated(" s ", 500) + "'/>",
          set(1'000) + "<xsl:attribute-set name='t' use-attribute-sets='" + Repeated(" s ", 499) + "'/>",
          "attribute sets"},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(row.line);
    ExpectEnded(sheet(row.refused), "<a/>", row.message);
    ExpectText(Applied(sheet(row.taken), "<a/>"), "x");
  }
}

TEST_F(XMLLimits, xml_transformer_is_usable_after_a_limit) {
  SmallLimits();
  const ZEPIXMLXSLTransformer_var transformer =
      Compiled(TextSheet("<xsl:value-of select='count(//*[//*[//*[. = 2]]])'/>"));
  ExpectFailure(Transformed(transformer, Expression(kWide)), "ZEP_XSLT_TIMEOUT_MS");
  ExpectText(Transformed(transformer, Expression("<a/>")), "0");
}

TEST_F(XMLLimits, xml_sizes_of_what_is_read) {
  setenv("ZEP_XSLT_MAX_EXPRESSION_BYTES", "1000", 1);
  setenv("ZEP_XSLT_MAX_STYLESHEET_BYTES", "2000", 1);
  const auto ofSize = [](std::size_t bytes) { return "<a>" + std::string(bytes - 7, 'x') + "</a>"; };
  const std::string sheet = TextSheet("y");
  ExpectText(Applied(sheet, ofSize(1000)), "y");
  ExpectEnded(sheet, ofSize(1001), "ZEP_XSLT_MAX_EXPRESSION_BYTES");
  ExpectText(Applied(sheet + std::string(2000 - sheet.size(), ' '), "<a/>"), "y");
  ExpectEnded(sheet + std::string(2001 - sheet.size(), ' '), "<a/>", "ZEP_XSLT_MAX_STYLESHEET_BYTES");
}

TEST_F(XMLLimits, xml_variables_that_are_no_numbers_count_as_not_set) {
  for (const char* value : {"", "0", "-1", "1x", " 5", "1e3", "99999999999999999999", "0x10", "ten"}) {
    SCOPED_TRACE(value);
    for (const char* name : {"ZEP_XSLT_TIMEOUT_MS", "ZEP_XSLT_MAX_OUTPUT_BYTES", "ZEP_XSLT_MAX_NODES",
                             "ZEP_XSLT_MAX_EXPRESSION_BYTES", "ZEP_XSLT_MAX_STYLESHEET_BYTES"}) {
      setenv(name, value, 1);
    }
    ExpectText(Applied(TextSheet("<xsl:value-of select='/*'/>"), "<a>some text</a>"), "some text");
  }
}

// ---- what honest use needs ---------------------------------------------------------------------

TEST_F(XMLLimits, xml_expression_of_ten_megabytes) {
  const std::string expression =
      "<a>" + Repeated("<feature name='Colour'>blue ä中 and so on</feature>\n", 200'000) + "</a>";
  ASSERT_GT(expression.size(), 10'000'000U);
  const Outcome outcome = Applied(
      Sheet(std::string(kUTF8Output) +
            "<xsl:strip-space elements='*'/><xsl:template match='a'><xsl:apply-templates/></xsl:template>"
            "<xsl:template match='feature'><xsl:value-of select=\"concat(@name, '=', .)\"/>;"
            "</xsl:template>"),
      expression);
  ExpectText(outcome, Repeated("Colour=blue ä中 and so on;", 200'000));
}

TEST_F(XMLLimits, xml_template_recursion_of_honest_depth) {
  const std::string body =
      "<xsl:param name='n'/><xsl:if test='$n > 0'>x" + Call("t", Parameter("n", "$n - 1")) + "</xsl:if>";
  ExpectText(Applied(With(Named("t", body), Call("t", Parameter("n", "1400"))), "<a/>"), Repeated("x", 1400));
}

} // namespace
