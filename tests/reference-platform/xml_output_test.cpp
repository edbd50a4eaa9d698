#include "XMLTest.h"

#include <bit>

namespace {

using namespace xml;

class XMLOutput : public QuietTest {};

std::string UTF16(const std::u16string& text, std::endian order) {
  std::string bytes;
  for (const char16_t unit : text) {
    const char low = static_cast<char>(unit & 0xFF);
    const char high = static_cast<char>(unit >> 8);
    bytes += order == std::endian::little ? std::string{low, high} : std::string{high, low};
  }
  return bytes;
}

std::string OutputSheet(const std::string& attributes, const std::string& body) {
  return Sheet("<xsl:output " + attributes + "/><xsl:template match='/'>" + body + "</xsl:template>");
}

const std::u16string kMark = u"\xFEFF";

TEST_F(XMLOutput, xml_output_in_the_stylesheets_encoding) {
  struct Row {
    int line;
    const char* encoding;
    std::string bytes;
  };
  const std::u16string text = u"aä中😀";
  const Row rows[] = {Row{__LINE__, "encoding='UTF-8'", "aä中😀"},
                      Row{__LINE__, "encoding='utf-8'", "aä中😀"},
                      Row{__LINE__, "encoding='UTF8'", "aä中😀"},
                      Row{__LINE__, "", UTF16(kMark + text, std::endian::native)},
                      Row{__LINE__, "encoding='UTF-16'", UTF16(kMark + text, std::endian::native)},
                      Row{__LINE__, "encoding='utf-16'", UTF16(kMark + text, std::endian::native)},
                      Row{__LINE__, "encoding='UTF-16LE'", UTF16(text, std::endian::little)},
                      Row{__LINE__, "encoding='UTF-16BE'", UTF16(text, std::endian::big)},
                      Row{__LINE__, "encoding='ISO-8859-1'", "a\xE4&#20013;&#128512;"},
                      Row{__LINE__, "encoding='US-ASCII'", "a&#228;&#20013;&#128512;"}};
  for (const Row& row : rows) {
    for (const Format format : {Format::Text, Format::AsWritten}) {
      SCOPED_TRACE(std::to_string(row.line) + (format == Format::Text ? " option text" : " as written"));
      const std::string sheet = OutputSheet(std::string("method='text' ") + row.encoding, "aä中😀");
      ExpectText(Applied(sheet, "<a/>", format), row.bytes);
    }
  }
}

TEST_F(XMLOutput, xml_output_longer_than_any_inner_buffer) {
  std::u16string text;
  for (int i = 0; i < 20'000; ++i) {
    text += u"ä😀b";
  }
  const std::string body = Repeated("ä😀b", 20'000);
  ExpectText(Applied(OutputSheet("method='text'", body), "<a/>"), UTF16(kMark + text, std::endian::native));
  ExpectText(Applied(OutputSheet("method='text'", body), "<a/>", Format::AsWritten),
             UTF16(kMark + text, std::endian::native));
}

// Characters of one to four bytes, so that any cut between bytes of the text would be one inside of them.
TEST_F(XMLOutput, xml_output_of_many_characters_that_the_encoding_lacks) {
  struct Row {
    int line;
    const char* output;
    std::string body;
    std::string begin;
    std::string end;
  };
  const std::string value = "<xsl:value-of select='.'/>";
  const std::string unescaped = "<xsl:value-of select='.' disable-output-escaping='yes'/>";
  const std::string head = "<?xml version=\"1.0\" encoding=\"KOI8-R\"?>\n";
  const std::string xml = "encoding='KOI8-R'";
  const std::string html = "method='html' encoding='KOI8-R' indent='no'";
  const std::string cdata = xml + " cdata-section-elements='o'";
  const Row rows[] = {
      Row{__LINE__, "method='text' encoding='KOI8-R'", value, "", ""},
      Row{__LINE__, xml.c_str(), "<o>" + value + "</o>", head + "<o>", "</o>\n"},
      Row{__LINE__, xml.c_str(), "<o>" + unescaped + "</o>", head + "<o>", "</o>\n"},
      Row{__LINE__, xml.c_str(), "<o a='{.}'/>", head + "<o a=\"", "\"/>\n"},
      Row{__LINE__, cdata.c_str(), "<o>" + value + "</o>", head + "<o><![CDATA[", "]]></o>\n"},
      Row{__LINE__, xml.c_str(), "<o><xsl:comment>" + value + "</xsl:comment></o>", head + "<o><!--",
          "--></o>\n"},
      Row{__LINE__, html.c_str(), "<p>" + value + "</p>", "<p>", "</p>\n"},
      Row{__LINE__, html.c_str(), "<p title='{.}'></p>", "<p title=\"", "\"></p>\n"}};
  constexpr int kTimes = 5'000;
  const std::string text = Repeated("aäя中😀", kTimes);
  const std::string written = Repeated("a&#228;\xD1&#20013;&#128512;", kTimes);
  for (const Row& row : rows) {
    SCOPED_TRACE(row.line);
    ExpectText(Applied(OutputSheet(row.output, row.body), "<r>" + text + "</r>", Format::AsWritten),
               row.begin + written + row.end);
  }
}

TEST_F(XMLOutput, xml_output_unknown_encoding_gives_no_transformer) {
  for (const char* name : {"nonsense", "UTF-99", "", "UTF-8x"}) {
    SCOPED_TRACE(name);
    const std::string encoding = std::string("encoding='") + name + "'";
    ExpectFailure(Applied(OutputSheet(encoding, "x"), "<a/>"), "encoding");
  }
}

TEST_F(XMLOutput, xml_output_empty_result_is_delivered) {
  for (const char* encoding : {"", "encoding='UTF-8'", "encoding='UTF-16'", "encoding='ISO-8859-1'"}) {
    for (const char* method :
         {"method='text' ", "method='xml' omit-xml-declaration='yes' ", "method='html' "}) {
      for (const Format format : {Format::Text, Format::AsWritten}) {
        SCOPED_TRACE(std::string(method) + encoding + (format == Format::Text ? " text" : " as written"));
        ExpectText(Applied(OutputSheet(std::string(method) + encoding, ""), "<a/>", format), "");
      }
    }
  }
}

TEST_F(XMLOutput, xml_output_option_text_overrides_the_method) {
  const std::string body = "<p title='no'>a &lt; b<br/><!-- n --><i>c</i></p>d";
  struct Row {
    int line;
    const char* method;
    Format format;
    const char* text;
  };
  const Row rows[] = {
      Row{__LINE__, "method='xml' encoding='UTF-8'", Format::Text, "a < bcd"},
      Row{__LINE__, "method='html' encoding='UTF-8'", Format::Text, "a < bcd"},
      Row{__LINE__, "encoding='UTF-8'", Format::Text, "a < bcd"},
      Row{__LINE__, "method='xml' encoding='UTF-8' doctype-system='x.dtd' indent='yes'", Format::Text,
          "a < bcd"},
      Row{__LINE__, "method='xml' encoding='UTF-8' cdata-section-elements='p i'", Format::Text, "a < bcd"},
      Row{__LINE__, "method='text' encoding='UTF-8'", Format::AsWritten, "a < bcd"},
      Row{__LINE__, "method='xml' encoding='UTF-8' omit-xml-declaration='yes'", Format::AsWritten,
          "<p title=\"no\">a &lt; b<br/><i>c</i></p>d\n"},
      Row{__LINE__, "method='xml' encoding='UTF-8'", Format::AsWritten,
          "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<p title=\"no\">a &lt; b<br/><i>c</i></p>d\n"},
      Row{__LINE__, "method='html' encoding='UTF-8'", Format::AsWritten,
          "<p title=\"no\">a &lt; b<br><i>c</i></p>d\n"}};
  for (const Row& row : rows) {
    SCOPED_TRACE(row.line);
    ExpectText(Applied(OutputSheet(row.method, body), "<a/>", row.format), row.text);
  }
}

TEST_F(XMLOutput, xml_output_text_nodes_in_document_order) {
  const std::string body = "1<a>2<b>3</b>4<xsl:comment>no</xsl:comment></a>"
                           "<xsl:processing-instruction name='p'>no</xsl:processing-instruction>5"
                           "<c><d><e/></d></c>6<xsl:copy-of select='/x/node()'/>9";
  ExpectText(Applied(OutputSheet("encoding='UTF-8'", body), "<x><!--no-->7<y z='no'>8</y><?p no?></x>"),
             "123456789");
}

TEST_F(XMLOutput, xml_output_is_not_escaped) {
  const std::string body =
      "<xsl:value-of select='/*'/><xsl:value-of select='/*' disable-output-escaping='yes'/>";
  ExpectText(Applied(TextSheet(body), "<a>&lt;&amp;<![CDATA[<b>]]></a>"), "<&<b><&<b>");
  ExpectText(Applied(OutputSheet("method='xml' encoding='UTF-8' omit-xml-declaration='yes'", body),
                     "<a>&lt;b/></a>", Format::AsWritten),
             "&lt;b/&gt;<b/>\n");
}

TEST_F(XMLOutput, xml_output_cdata_in_the_expression_is_text) {
  ExpectText(Applied(TextSheet("<xsl:for-each select='//text()'>[<xsl:value-of select='.'/>]</xsl:for-each>"),
                     "<a>x<![CDATA[<&]]>y</a>"),
             "[x<&y]");
}

TEST_F(XMLOutput, xml_output_of_the_importing_stylesheet_counts) {
  ExpectText(Applied(Sheet("<xsl:output encoding='UTF-16BE'/><xsl:output encoding='UTF-8' method='text'/>"
                           "<xsl:template match='/'>ä</xsl:template>"),
                     "<a/>"),
             "ä");
}

TEST_F(XMLOutput, xml_output_replaces_what_was_delivered_before) {
  const ZEPIXMLXSLTransformer_var transformer = Compiled(TextSheet("<xsl:value-of select='/*'/>"));
  ZEPXMLPPMemoryBuffer buffer(4);
  EXPECT_EQ(Content(buffer), "(nothing)");
  ASSERT_EQ(transformer->SetOutputSource(OutputTo(buffer)), S_OK);
  for (const char* text : {"the first one", "2nd", ""}) {
    ASSERT_EQ(transformer->SetInputSource(Expression(std::string("<a>") + text + "</a>")), S_OK);
    ASSERT_EQ(transformer->Transform(), S_OK);
    EXPECT_EQ(Content(buffer), text);
  }
}

TEST_F(XMLOutput, xml_output_options_that_are_not_known) {
  const ZEPIXMLXSLTransformer_var transformer = Compiled(TextSheet("x"));
  struct Row {
    int line;
    ZEPUnicodeString option;
    const char* value;
  };
  const Row rows[] = {Row{__LINE__, ZEPXMLXSLTransformerOptions::OutputFormat, "html"},
                      Row{__LINE__, ZEPXMLXSLTransformerOptions::OutputFormat, ""},
                      Row{__LINE__, ZEPXMLXSLTransformerOptions::OutputFormat, "TEXT"},
                      Row{__LINE__, "", "text"}, Row{__LINE__, "Colour", "text"}};
  for (const Row& row : rows) {
    SCOPED_TRACE(row.line);
    EXPECT_EQ(transformer->SetOption(row.option, row.value), E_INVALIDARG);
    EXPECT_NE(LastMessage(E_INVALIDARG), "");
  }
}

} // namespace
