#include "XMLTest.h"
#include "session_test_support.h"

#include <sys/stat.h>

namespace {

using namespace xml;

constexpr GUID kStrangeClass = {1, 2, 3, {4, 5, 6, 7, 8, 9, 10, 11}};

class XMLFactories : public QuietTest {};

template <class Handle>
void ExpectUnknownClassRefused(long (*create)(Handle&, const GUID&), const GUID& known,
                               const GUID& otherFactorysClass) {
  for (const GUID& unknown : {kStrangeClass, otherFactorysClass}) {
    Handle factory;
    ASSERT_EQ(create(factory, known), S_OK);
    EXPECT_FALSE(!factory);
    const long result = create(factory, unknown);
    EXPECT_TRUE(ZEPFailed(result));
    EXPECT_TRUE(!factory) << "the handle is left empty";
    EXPECT_NE(LastMessage(result), "");
  }
}

TEST_F(XMLFactories, xml_sax_factory_unknown_class) {
  ExpectUnknownClassRefused(CreateZEPIXMLSAX2Factory, CLSID_XML4C_SAX, CLSID_XSLT_JAVA);
}

TEST_F(XMLFactories, xml_xsl_factory_unknown_class) {
  ExpectUnknownClassRefused(CreateZEPIXMLXSLFactory, CLSID_XSLT_JAVA, CLSID_XML4C5_PP);
}

TEST_F(XMLFactories, xml_output_factory_unknown_class) {
  ExpectUnknownClassRefused(CreateZEPIXMLPPFactory, CLSID_XML4C5_PP, CLSID_XML4C_SAX);
}

TEST_F(XMLFactories, xml_class_with_one_bit_changed_is_unknown) {
  GUID nearly = CLSID_XSLT_JAVA;
  nearly.Data4[7] ^= 1;
  ZEPIXMLXSLFactory_var factory;
  EXPECT_TRUE(ZEPFailed(CreateZEPIXMLXSLFactory(factory, nearly)));
  EXPECT_TRUE(!factory);
}

// ---- sources -----------------------------------------------------------------------------------

const std::string kValueSheet = TextSheet("<xsl:value-of select='/*'/>");

class XMLSources : public QuietTest {};

TEST_F(XMLSources, xml_memory_source_outlives_the_callers_text) {
  ZEPISAXInputSource_var stylesheet;
  ZEPISAXInputSource_var expression;
  {
    ZEPUnicodeString sheetText = Unicode(kValueSheet);
    ZEPUnicodeString expressionText = "<a>kept</a>";
    stylesheet = TextSource(sheetText, "sheet");
    expression = TextSource(expressionText, "expression");
    sheetText = "changed";
    expressionText = "changed";
  }
  ExpectText(Applied(stylesheet, expression), "kept");
}

TEST_F(XMLSources, xml_file_source_is_read_when_used) {
  const session::TempDirectory folder;
  const ZEPISAXInputSource_var stylesheet = FileSource(folder.Path("late.xsl"), "sheet");
  const ZEPISAXInputSource_var expression = FileSource(folder.Path("late.xml"), "expression");
  ExpectFailure(Applied(stylesheet, expression), "late.xsl");
  folder.Write("late.xsl", kValueSheet);
  folder.Write("late.xml", "<a>there now</a>");
  ExpectText(Applied(stylesheet, expression), "there now");
  folder.Write("late.xml", "<a>and changed</a>");
  ExpectText(Applied(stylesheet, expression), "and changed");
}

TEST_F(XMLSources, xml_file_with_its_own_encoding) {
  const session::TempDirectory folder;
  folder.Write("a.xml", "<?xml version='1.0' encoding='ISO-8859-1'?><a>\xE4</a>");
  ExpectText(Applied(Stylesheet(kValueSheet), FileSource(folder.Path("a.xml"), "a")), "ä");
}

TEST_F(XMLSources, xml_file_path_with_backslashes) {
  const session::TempDirectory folder;
  folder.Write("sub/a.xsl", kValueSheet);
  ExpectText(Applied(FileSource(folder.Path() + "\\sub\\a.xsl", "s"), Expression("<a>x</a>")), "x");
}

TEST_F(XMLSources, xml_file_not_usable) {
  const session::TempDirectory folder;
  struct Row {
    int line;
    std::string path;
    std::string part;
  };
  folder.Write("text.xsl", "no markup");
  folder.Write("empty.xsl", "");
  folder.Write("other.xsl", "<a/>");
  ASSERT_EQ(mkfifo(folder.Path("pipe.xsl").c_str(), 0600), 0);
  const Row rows[] = {Row{__LINE__, "absent.xsl", "does not exist"},
                      Row{__LINE__, "", "not a regular file"},
                      Row{__LINE__, "pipe.xsl", "not a regular file"},
                      Row{__LINE__, "text.xsl", "text.xsl:1"},
                      Row{__LINE__, "empty.xsl", "empty"},
                      Row{__LINE__, "other.xsl", "stylesheet"}};
  for (const Row& row : rows) {
    SCOPED_TRACE(row.line);
    const Outcome outcome = Applied(FileSource(folder.Path(row.path), "s"), Expression("<a/>"));
    ExpectFailure(outcome, row.part);
    EXPECT_NE(outcome.message.find(folder.Path(row.path)), std::string::npos) << outcome.message;
  }
}

TEST_F(XMLSources, xml_memory_text_with_misleading_encoding) {
  for (const char* name : {"ISO-8859-1", "UTF-16", "UTF-16BE", "US-ASCII", "nonsense", "UTF-8"}) {
    SCOPED_TRACE(name);
    const std::string declaration = std::string("<?xml version='1.0' encoding='") + name + "'?>\n";
    ExpectText(Applied(declaration + kValueSheet, declaration + "<a>ä中😀</a>"), "ä中😀");
    ExpectText(Applied(declaration + TextSheet("ä中😀"), declaration + "<a/>"), "ä中😀");
  }
}

TEST_F(XMLSources, xml_memory_text_that_no_document_may_hold) {
  struct Row {
    int line;
    std::u16string text;
  };
  const Row rows[] = {Row{__LINE__, u"<a>\xD83D</a>"},
                      Row{__LINE__, u"<a>\xDE00 x</a>"},
                      Row{__LINE__, u"<a>\xDE00\xD83D</a>"},
                      Row{__LINE__, u"<a b='\xD83D'/>"},
                      Row{__LINE__, u"<a/>\xD83D"},
                      Row{__LINE__, std::u16string(u"<a>\0</a>", 8)},
                      Row{__LINE__, std::u16string(u"<a/>\0", 5)},
                      Row{__LINE__, u"<a>\xFFFF</a>"},
                      Row{__LINE__, u"<a>\xFFFE</a>"},
                      Row{__LINE__, u"<a>\x0001</a>"},
                      Row{__LINE__, u"<a>&#xD83D;</a>"},
                      Row{__LINE__, u"<a>&#0;</a>"},
                      Row{__LINE__, u""},
                      Row{__LINE__, u"<a>"},
                      Row{__LINE__, u"<a/><b/>"}};
  for (const Row& row : rows) {
    SCOPED_TRACE(row.line);
    const ZEPUnicodeString text(row.text.data(), row.text.size());
    ExpectFailure(Applied(Stylesheet(kValueSheet), TextSource(text, "expression")), "expression");
    ExpectFailure(Applied(TextSource(text, "sheet"), Expression("<a/>")), "sheet");
  }
}

TEST_F(XMLSources, xml_memory_text_with_byte_order_mark_character) {
  ExpectText(Applied(Stylesheet(kValueSheet), TextSource(Unicode("\xEF\xBB\xBF<a>x</a>"), "e")), "x");
}

TEST_F(XMLSources, xml_transformer_without_stylesheet_source) {
  ZEPIXMLXSLTransformer_var transformer = Compiled(kValueSheet);
  const long result = Compile(NULL_var, transformer);
  EXPECT_TRUE(ZEPFailed(result));
  EXPECT_TRUE(!transformer);
  EXPECT_NE(LastMessage(result), "");
}

} // namespace
