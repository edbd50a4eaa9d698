#include "XMLTest.h"

#include <memory>
#include <vector>

namespace {

using namespace xml;

class XMLFailure : public QuietTest {};

// Each writes something before it fails.
struct Failing {
  int line;
  std::string body;
  std::string messagePart;
};

const Failing kFailing[] = {
    Failing{__LINE__, "<xsl:message terminate='yes'>stop here</xsl:message>", "stop here"},
    Failing{__LINE__, "<xsl:value-of select='nosuch()'/>", "nosuch"},
    Failing{__LINE__, "<xsl:value-of select='s:nosuch()' xmlns:s='urn:s'/>", "nosuch"},
    Failing{__LINE__, "<xsl:value-of select='$nosuch'/>", "nosuch"},
    Failing{__LINE__, "<xsl:if test='$nosuch = 1'>x</xsl:if>", "nosuch"},
    Failing{__LINE__, "<xsl:for-each select='$nosuch'>x</xsl:for-each>", "nosuch"},
    Failing{__LINE__, "<xsl:apply-templates select='$nosuch'/>", "nosuch"},
    Failing{__LINE__, "<p title='{$nosuch}'/>", "nosuch"},
    Failing{__LINE__, "<xsl:copy-of select='$nosuch'/>", "nosuch"},
    Failing{__LINE__, "<xsl:variable name='v' select='nosuch()'/>", "nosuch"},
    Failing{__LINE__, "<xsl:for-each select='//*'><xsl:sort select='$nosuch'/>x</xsl:for-each>", "nosuch"},
    Failing{__LINE__, "<xsl:number value='nosuch()'/>", "nosuch"},
    Failing{__LINE__, "<xsl:value-of select='key(&quot;nosuch&quot;, 1, 2)'/>", "key"},
    Failing{__LINE__, "<xsl:value-of select='format-number(1)'/>", "arguments"},
    Failing{__LINE__, "<xsl:for-each select='\"text\"'>x</xsl:for-each>", ""},
    Failing{__LINE__, "<xsl:call-template name='nosuch'/>", "nosuch"},
};

TEST_F(XMLFailure, xml_failure_delivers_nothing) {
  for (const Failing& row : kFailing) {
    for (const Format format : {Format::Text, Format::AsWritten}) {
      SCOPED_TRACE(row.line);
      ExpectFailure(Applied(TextSheet("before " + row.body + " after"), "<a><b/></a>", format),
                    row.messagePart);
    }
  }
}

TEST_F(XMLFailure, xml_failure_leaves_the_buffer_as_it_was) {
  for (const Failing& row : kFailing) {
    SCOPED_TRACE(row.line);
    ZEPIXMLXSLTransformer_var transformer;
    const std::string sheet = TextSheet("good<xsl:if test='/fail'>" + row.body + "</xsl:if>");
    if (Compile(Stylesheet(sheet), transformer) != S_OK) {
      continue; // refused even earlier
    }
    ZEPXMLPPMemoryBuffer buffer(0);
    ASSERT_EQ(transformer->SetOutputSource(OutputTo(buffer)), S_OK);
    for (const char* expression : {"<work/>", "<fail><b/></fail>", "<fail", "<work/>"}) {
      ASSERT_EQ(transformer->SetInputSource(Expression(expression)), S_OK);
      EXPECT_EQ(transformer->Transform() == S_OK, expression == std::string("<work/>")) << expression;
      EXPECT_EQ(Content(buffer), "good");
    }
  }
}

TEST_F(XMLFailure, xml_failure_names_source_line_and_cause) {
  struct Row {
    int line;
    std::string sheet;
    std::string expression;
    std::vector<std::string> parts;
  };
  const Row rows[] = {
      Row{__LINE__, TextSheet("x"), "<a>\n<b>\n</a>", {"expression", ":3", "mismatch"}},
      Row{__LINE__, TextSheet("x"), "<a>\n&who;</a>", {"expression", ":2", "who"}},
      Row{__LINE__, TextSheet("\n\n<xsl:value-of select='nosuch()'/>"), "<a/>", {"sheet", "4", "nosuch"}},
      Row{__LINE__,
          TextSheet("\n<xsl:message terminate='yes'>my reason</xsl:message>"),
          "<a/>",
          {"sheet", "3", "my reason"}},
      Row{__LINE__, TextSheet("\n<xsl:for-each/>"), "<a/>", {"sheet", "3", "select"}},
      Row{__LINE__, TextSheet("\n<xsl:value-of select='1 +'/>"), "<a/>", {"sheet", "3", "1 +"}},
      Row{__LINE__, TextSheet("\n<b>"), "<a/>", {"sheet", ":3", "mismatch"}},
      Row{__LINE__, Sheet("\n<xsl:template match='[['/>"), "<a/>", {"sheet", "3", "[["}},
      Row{__LINE__, "<xsl:stylesheet/>", "<a/>", {"sheet", ":1", "xsl"}},
      Row{__LINE__,
          "<xsl:stylesheet xmlns:xsl='http://www.w3.org/1999/XSL/Transform'>",
          "<a/>",
          {"sheet", ":1"}},
      Row{__LINE__, "hello", "<a/>", {"sheet", ":1"}},
      Row{__LINE__, "<html/>", "<a/>", {"sheet", "stylesheet"}},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(row.line);
    const Outcome outcome = Applied(row.sheet, row.expression);
    for (const std::string& part : row.parts) {
      ExpectFailure(outcome, part);
    }
  }
}

TEST_F(XMLFailure, xml_failure_message_is_of_the_call_that_failed) {
  const ZEPIXMLXSLTransformer_var transformer = Compiled(TextSheet("<xsl:value-of select='nosuch()'/>"));
  ExpectFailure(Transformed(transformer, Expression("<broken")), "broken");
  const Outcome second = Transformed(transformer, Expression("<a/>"));
  ExpectFailure(second, "nosuch");
  EXPECT_EQ(second.message.find("broken"), std::string::npos) << second.message;
}

TEST_F(XMLFailure, xml_message_without_end_is_no_failure) {
  ExpectText(Applied(TextSheet("a<xsl:message>a remark</xsl:message>b"), "<a/>"), "ab");
}

TEST_F(XMLFailure, xml_failure_with_an_endless_message) {
  const Outcome outcome = Applied(
      TextSheet("<xsl:message terminate='yes'>" + Repeated("long%s%n ", 100'000) + "</xsl:message>"), "<a/>");
  ExpectFailure(outcome, "long%s%n");
  EXPECT_LT(outcome.message.size(), 20'000U);
}

// ---- attaching and detaching -------------------------------------------------------------------

const std::string kSimple = TextSheet("x");

TEST_F(XMLFailure, xml_transform_without_sources) {
  const ZEPIXMLXSLTransformer_var transformer = Compiled(kSimple);
  EXPECT_TRUE(ZEPFailed(transformer->Transform()));
  EXPECT_NE(LastMessage(E_FAIL).find("input"), std::string::npos);
  ASSERT_EQ(transformer->SetInputSource(Expression("<a/>")), S_OK);
  EXPECT_TRUE(ZEPFailed(transformer->Transform()));
  EXPECT_NE(LastMessage(E_FAIL).find("output"), std::string::npos);
  ExpectText(Transformed(transformer, Expression("<a/>")), "x");
}

TEST_F(XMLFailure, xml_transform_with_detached_output) {
  const ZEPIXMLXSLTransformer_var transformer = Compiled(kSimple);
  ZEPXMLPPMemoryBuffer buffer(8);
  ASSERT_EQ(transformer->SetInputSource(Expression("<a/>")), S_OK);
  ASSERT_EQ(transformer->SetOutputSource(OutputTo(buffer)), S_OK);
  ASSERT_EQ(transformer->SetOutputSource(NULL_var), S_OK);
  EXPECT_TRUE(ZEPFailed(transformer->Transform()));
  EXPECT_EQ(Content(buffer), "(nothing)");
}

TEST_F(XMLFailure, xml_output_source_outlives_its_buffer) {
  const ZEPIXMLXSLTransformer_var transformer = Compiled(kSimple);
  auto buffer = std::make_unique<ZEPXMLPPMemoryBuffer>(8);
  ASSERT_EQ(transformer->SetInputSource(Expression("<a/>")), S_OK);
  ASSERT_EQ(transformer->SetOutputSource(OutputTo(*buffer)), S_OK);
  buffer.reset();
  EXPECT_TRUE(ZEPFailed(transformer->Transform()));
  EXPECT_NE(LastMessage(E_FAIL), "");
  ExpectText(Transformed(transformer, Expression("<a/>")), "x");
}

TEST_F(XMLFailure, xml_buffer_outlives_transformer_and_source) {
  ZEPXMLPPMemoryBuffer buffer(8);
  {
    const ZEPIXMLXSLTransformer_var transformer = Compiled(kSimple);
    ASSERT_EQ(transformer->SetInputSource(Expression("<a/>")), S_OK);
    ASSERT_EQ(transformer->SetOutputSource(OutputTo(buffer)), S_OK);
    ASSERT_EQ(transformer->Transform(), S_OK);
  }
  EXPECT_EQ(Content(buffer), "x");
}

// ---- parameters --------------------------------------------------------------------------------

const std::string kParameterSheet =
    Sheet(std::string(kUTF8Output) +
              "<xsl:param name='p' select='\"default\"'/><xsl:param name='n:p' select='\"other\"'/>"
              "<xsl:template match='/'><xsl:value-of select='concat($p, \"|\", $n:p)'/></xsl:template>",
          "xmlns:n='urn:n'");

class XMLParameters : public QuietTest {};

TEST_F(XMLParameters, xml_parameter_values_are_taken_literally) {
  const ZEPIXMLXSLTransformer_var transformer = Compiled(kParameterSheet);
  const std::string values[] = {
      "plain", "",   "it's",         "\"q\"", "both ' and \"", "concat('a', 'b')",
      "/a",    "$p", "<b>&amp;</b>", "ä中😀",  "  blanks  ",    Repeated("'\"", 10'000)};
  for (const std::string& value : values) {
    SCOPED_TRACE(value.substr(0, 40));
    ASSERT_EQ(transformer->SetParameter("p", "", Unicode(value)), S_OK);
    ExpectText(Transformed(transformer, Expression("<a>no</a>")), value + "|other");
  }
}

TEST_F(XMLParameters, xml_parameter_with_namespace_is_another_one) {
  const ZEPIXMLXSLTransformer_var transformer = Compiled(kParameterSheet);
  ASSERT_EQ(transformer->SetParameter("p", "urn:n", "in n"), S_OK);
  ExpectText(Transformed(transformer, Expression("<a/>")), "default|in n");
  ASSERT_EQ(transformer->SetParameter("p", "", "plain"), S_OK);
  ExpectText(Transformed(transformer, Expression("<a/>")), "plain|in n");
  ASSERT_EQ(transformer->SetParameter("p", "urn:unknown", "nobody's"), S_OK);
  ExpectText(Transformed(transformer, Expression("<a/>")), "plain|in n");
}

TEST_F(XMLParameters, xml_parameter_is_kept_until_set_again) {
  const ZEPIXMLXSLTransformer_var transformer = Compiled(kParameterSheet);
  ASSERT_EQ(transformer->SetParameter("p", "", "first"), S_OK);
  ExpectText(Transformed(transformer, Expression("<a/>")), "first|other");
  ExpectFailure(Transformed(transformer, Expression("<a>")), "expression");
  ExpectText(Transformed(transformer, Expression("<a/>")), "first|other");
  ASSERT_EQ(transformer->SetParameter("p", "", "second"), S_OK);
  ExpectText(Transformed(transformer, Expression("<a/>")), "second|other");
}

TEST_F(XMLParameters, xml_parameter_that_the_stylesheet_does_not_declare) {
  const ZEPIXMLXSLTransformer_var transformer = Compiled(kSimple);
  ASSERT_EQ(transformer->SetParameter("CompactView", "", "true"), S_OK);
  ExpectText(Transformed(transformer, Expression("<a/>")), "x");
}

TEST_F(XMLParameters, xml_parameter_that_cannot_be_one) {
  struct Row {
    int line;
    std::u16string name;
    std::u16string uri;
    std::u16string value;
  };
  const Row rows[] = {Row{__LINE__, u"", u"", u"v"},
                      Row{__LINE__, std::u16string(u"p\0q", 3), u"", u"v"},
                      Row{__LINE__, u"p", std::u16string(u"urn\0x", 5), u"v"},
                      Row{__LINE__, u"p", u"", std::u16string(u"v\0w", 3)},
                      Row{__LINE__, u"p q", u"", u"v"},
                      Row{__LINE__, u"n:p", u"", u"v"},
                      Row{__LINE__, u"{urn:n}p", u"", u"v"},
                      Row{__LINE__, u"1p", u"", u"v"},
                      Row{__LINE__, u"p", u"urn:}n", u"v"}};
  for (const Row& row : rows) {
    SCOPED_TRACE(row.line);
    const ZEPIXMLXSLTransformer_var transformer = Compiled(kParameterSheet);
    const auto text = [](const std::u16string& units) {
      return ZEPUnicodeString(units.data(), units.size());
    };
    EXPECT_EQ(transformer->SetParameter(text(row.name), text(row.uri), text(row.value)), E_INVALIDARG);
    EXPECT_NE(LastMessage(E_INVALIDARG), "");
    ExpectText(Transformed(transformer, Expression("<a/>")), "default|other");
  }
}

} // namespace
