#include "PLMCfgInListVal.h"
#include "PLMCfgInString.h"
#include "PLMCfgXMLVocabulary.h"
#include "ZEPCfgXMLExpressionServices.h"
#include "ZEPCfgXMLWriter.h"
#include "ZEPHResult.h"
#include "ZEPUTF8Conversion.h"
#include "ZEPUnicodeString.h"

#include <gtest/gtest.h>

#include <libxml/parser.h>
#include <libxml/tree.h>
#include <libxml/xmlschemas.h>

#include <functional>
#include <memory>
#include <string>
#include <utility>
#include <vector>

// The configuration XML writer on its own, and the always-true filter that is written with it.

namespace {

struct DocumentDeleter {
  void operator()(xmlDoc* document) const { xmlFreeDoc(document); }
};
using Document = std::unique_ptr<xmlDoc, DocumentDeleter>;

using Attribute = std::pair<std::string, ZEPUnicodeString>;

std::string utf8Of(const ZEPUnicodeString& text) {
  const ZEPUTF8Conversion converted(text);
  return {converted.Bytes(), converted.ByteCount()};
}

ZEPUnicodeString unitsOf(const std::u16string& units) {
  return {units.data(), units.size()};
}

Document parse(const std::string& xml) {
  return Document(xmlReadMemory(xml.data(), static_cast<int>(xml.size()), "document.xml", nullptr,
                                XML_PARSE_NONET | XML_PARSE_NOERROR | XML_PARSE_NOWARNING));
}

std::string textOf(const xmlChar* text) {
  return text == nullptr ? "" : reinterpret_cast<const char*>(text);
}

// The content of an attribute or element, entities resolved.
std::string contentOf(const xmlNode* node) {
  xmlChar* const content = xmlNodeGetContent(node);
  std::string text = textOf(content);
  xmlFree(content);
  return text;
}

long startElement(ZEPCfgXMLWriter& writer, const char* name, const std::vector<Attribute>& attributes) {
  PLMCfgInListVal names(PLMCfgInString::sType());
  PLMCfgInListVal values(PLMCfgInString::sType());
  for (const auto& [attribute, value] : attributes) {
    names.PutBack(attribute.c_str());
    values.PutBack(value);
  }
  return writer.WriteStartElement(name, &names, &values);
}

long startPlainElement(ZEPCfgXMLWriter& writer, const char* name) {
  return writer.WriteStartElement(name, nullptr, nullptr);
}

// A document of one element with one attribute and a text in it.
long write(const ZEPUnicodeString& value, const ZEPUnicodeString& text, ZEPUnicodeString& xml) {
  ZEPCfgXMLWriter writer;
  writer.WriteStartDocument();
  startElement(writer, "E", {{"a", value}});
  writer.WriteCharacters(text);
  writer.WriteEndElement();
  writer.WriteEndDocument();
  return writer.GetGeneratedXML(xml);
}

// ---- what may stand in a document --------------------------------------------------------------

TEST(XMLWriterTest, textsThatXMLCanHold_surviveAReparse) {
  struct Row {
    int line;
    std::u16string text;
  };
  const Row rows[] = {
      Row{__LINE__, u""},
      Row{__LINE__, u"Kestrel 40"},
      Row{__LINE__, u"& < > \" ' &amp; &lt; ]]> <!-- --> <?x?> <![CDATA["},
      Row{__LINE__, u"\n"},
      Row{__LINE__, u"\t"},
      Row{__LINE__, u"\r"},
      Row{__LINE__, u"a\r\nb\tc\n\n d "},
      Row{__LINE__, u"  blanks  at both  ends  "},
      Row{__LINE__, u"\u00E9\u0416\u4E2D\u0085\u2028\u007F\uFFFD"},
      Row{__LINE__, u"\U0001F600\U0010FFFF\U00010000"},
      Row{__LINE__, std::u16string(100000, u'&')},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE("row at line " + std::to_string(row.line));
    ZEPUnicodeString xml;
    ASSERT_EQ(write(unitsOf(row.text), unitsOf(row.text), xml), S_OK);
    const Document document = parse(utf8Of(xml));
    ASSERT_NE(document, nullptr) << utf8Of(xml);
    const xmlNode* const root = xmlDocGetRootElement(document.get());
    EXPECT_EQ(textOf(root->name), "E");
    ASSERT_NE(root->properties, nullptr);
    EXPECT_EQ(contentOf(reinterpret_cast<const xmlNode*>(root->properties)), utf8Of(unitsOf(row.text)));
    EXPECT_EQ(contentOf(root), utf8Of(unitsOf(row.text)));
  }
}

TEST(XMLWriterTest, textsThatXMLCannotHold_areRefused) {
  std::vector<std::u16string> texts;
  for (char16_t control = 0; control < 0x20; ++control) {
    if (control != u'\t' && control != u'\n' && control != u'\r') {
      texts.push_back(std::u16string(1, control));
    }
  }
  texts.insert(texts.end(), {{0xD800},
                             {0xDC00},
                             {u'a', 0xDBFF},
                             {0xD83D, u'a'},
                             {0xDE00, 0xD83D},
                             {0xD83D, 0xD83D, 0xDE00},
                             {0xFFFE},
                             {0xFFFF},
                             {u'a', 0, u'b'}});
  for (const std::u16string& text : texts) {
    SCOPED_TRACE(::testing::PrintToString(text));
    ZEPCfgXMLWriter writer;
    EXPECT_EQ(writer.WriteStartDocument(), S_OK);
    EXPECT_EQ(startElement(writer, "E", {{"a", unitsOf(text)}}), E_INVALIDARG);
    ZEPUnicodeString xml = "as it was";
    EXPECT_EQ(writer.GetGeneratedXML(xml), E_INVALIDARG) << "the document is lost";
    EXPECT_EQ(xml, "as it was");

    ZEPCfgXMLWriter other;
    EXPECT_EQ(other.WriteStartDocument(), S_OK);
    EXPECT_EQ(startPlainElement(other, "E"), S_OK);
    EXPECT_EQ(other.WriteCharacters(unitsOf(text)), E_INVALIDARG);
    EXPECT_EQ(other.WriteEndElement(), E_INVALIDARG);
    EXPECT_EQ(other.WriteEndDocument(), E_INVALIDARG);
  }
}

TEST(XMLWriterTest, names_haveToBeNames) {
  for (const char* name : {"", " ", "1a", "-", "a b", "a>", "a=\"1\"", "<", "a&", "a:b:c", ":", "a\n"}) {
    SCOPED_TRACE(name);
    ZEPCfgXMLWriter writer;
    writer.WriteStartDocument();
    EXPECT_EQ(startPlainElement(writer, name), E_INVALIDARG);
    ZEPCfgXMLWriter other;
    other.WriteStartDocument();
    EXPECT_EQ(startElement(other, "E", {{name, "1"}}), E_INVALIDARG);
  }
  for (const char* name : {"a", "_", "a.b-c", "\xC3\xA9"}) {
    SCOPED_TRACE(name);
    ZEPCfgXMLWriter writer;
    writer.WriteStartDocument();
    EXPECT_EQ(startElement(writer, name, {{name, "1"}}), S_OK);
  }
}

TEST(XMLWriterTest, attributes_comeInTheirOrder_inListsOfOneSize_eachOnce) {
  ZEPCfgXMLWriter writer;
  EXPECT_EQ(writer.WriteStartDocument(), S_OK);
  EXPECT_EQ(startElement(writer, "E", {{"c", "1"}, {"a", "2"}, {"b", "3"}}), S_OK);
  EXPECT_EQ(writer.WriteEndElement(), S_OK);
  EXPECT_EQ(writer.WriteEndDocument(), S_OK);
  ZEPUnicodeString xml;
  EXPECT_EQ(writer.GetGeneratedXML(xml), S_OK);
  EXPECT_NE(utf8Of(xml).find("<E c=\"1\" a=\"2\" b=\"3\""), std::string::npos) << utf8Of(xml);

  ZEPCfgXMLWriter twice;
  twice.WriteStartDocument();
  EXPECT_EQ(startElement(twice, "E", {{"a", "1"}, {"a", "2"}}), E_INVALIDARG);

  ZEPCfgXMLWriter uneven;
  uneven.WriteStartDocument();
  PLMCfgInListVal names(PLMCfgInString::sType());
  names.PutBack("a");
  const PLMCfgInListVal none(PLMCfgInString::sType());
  EXPECT_EQ(uneven.WriteStartElement("E", &names, &none), E_INVALIDARG);
}

// ---- order of calls ----------------------------------------------------------------------------

using Call = std::function<long(ZEPCfgXMLWriter&)>;

const Call startDocument = [](ZEPCfgXMLWriter& writer) { return writer.WriteStartDocument(); };
const Call start = [](ZEPCfgXMLWriter& writer) { return startPlainElement(writer, "E"); };
const Call characters = [](ZEPCfgXMLWriter& writer) { return writer.WriteCharacters("text"); };
const Call end = [](ZEPCfgXMLWriter& writer) { return writer.WriteEndElement(); };
const Call endDocument = [](ZEPCfgXMLWriter& writer) { return writer.WriteEndDocument(); };
const Call getXML = [](ZEPCfgXMLWriter& writer) {
  ZEPUnicodeString xml = "as it was";
  const long result = writer.GetGeneratedXML(xml);
  EXPECT_EQ(xml == "as it was", ZEPFailed(result));
  return result;
};

TEST(XMLWriterTest, callsInTheWrongOrder_fail) {
  struct Row {
    int line;
    std::vector<Call> before; // succeed
    Call failing;
  };
  const Row rows[] = {
      Row{__LINE__, {}, start},
      Row{__LINE__, {}, characters},
      Row{__LINE__, {}, end},
      Row{__LINE__, {}, endDocument},
      Row{__LINE__, {}, getXML},
      Row{__LINE__, {startDocument}, startDocument},
      Row{__LINE__, {startDocument}, characters},
      Row{__LINE__, {startDocument}, end},
      Row{__LINE__, {startDocument}, endDocument},
      Row{__LINE__, {startDocument}, getXML},
      Row{__LINE__, {startDocument, start}, startDocument},
      Row{__LINE__, {startDocument, start}, endDocument},
      Row{__LINE__, {startDocument, start}, getXML},
      Row{__LINE__, {startDocument, start, start, end}, endDocument},
      Row{__LINE__, {startDocument, start, end}, start},
      Row{__LINE__, {startDocument, start, end}, characters},
      Row{__LINE__, {startDocument, start, end}, end},
      Row{__LINE__, {startDocument, start, end}, getXML},
      Row{__LINE__, {startDocument, start, end, endDocument}, startDocument},
      Row{__LINE__, {startDocument, start, end, endDocument}, start},
      Row{__LINE__, {startDocument, start, end, endDocument}, endDocument},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE("row at line " + std::to_string(row.line));
    ZEPCfgXMLWriter writer;
    for (const Call& call : row.before) {
      EXPECT_EQ(call(writer), S_OK);
    }
    EXPECT_EQ(row.failing(writer), E_UNEXPECTED);
    for (const Call& call : {startDocument, start, characters, end, endDocument, getXML}) {
      EXPECT_EQ(call(writer), E_UNEXPECTED) << "the first failure stands";
    }
  }
}

TEST(XMLWriterTest, document_canBeFetchedAgain) {
  ZEPCfgXMLWriter writer;
  for (const Call& call :
       {startDocument, start, characters, start, end, characters, end, endDocument, getXML, getXML}) {
    EXPECT_EQ(call(writer), S_OK);
  }
}

TEST(XMLWriterTest, unfinishedDocument_isReleased) {
  const auto writer = std::make_unique<ZEPCfgXMLWriter>();
  EXPECT_EQ(writer->WriteStartDocument(), S_OK);
  EXPECT_EQ(startElement(*writer, "E", {{"a", "1"}}), S_OK);
}

// ---- the always-true filter --------------------------------------------------------------------

std::string generate(const ZEPUnicodeString& holderName) {
  ZEPUnicodeString xml;
  EXPECT_EQ(ZEPCfgXMLExpressionServices::GenerateFilterExpressionTrue(holderName, xml), S_OK);
  return utf8Of(xml);
}

struct SchemaDeleter {
  void operator()(xmlSchema* schema) const { xmlSchemaFree(schema); }
};
using Schema = std::unique_ptr<xmlSchema, SchemaDeleter>;

Schema vocabulary() {
  xmlSchemaParserCtxt* const parser = xmlSchemaNewParserCtxt(ZEP_SCHEMA_FILE);
  Schema schema(parser == nullptr ? nullptr : xmlSchemaParse(parser));
  xmlSchemaFreeParserCtxt(parser);
  return schema;
}

bool isValid(const std::string& xml) {
  const Schema schema = vocabulary();
  const Document document = parse(xml);
  if (schema == nullptr || document == nullptr) {
    ADD_FAILURE() << "no schema, or not well-formed: " << xml;
    return false;
  }
  xmlSchemaValidCtxt* const context = xmlSchemaNewValidCtxt(schema.get());
  xmlSchemaSetValidStructuredErrors(
      context, [](void*, auto) {}, nullptr); // nothing on the console
  const int result = xmlSchemaValidateDoc(context, document.get());
  xmlSchemaFreeValidCtxt(context);
  return result == 0;
}

// Elements, attributes in their order, namespaces and texts, one line each.
void describe(const xmlNode* node, const std::string& indent, std::string& lines) {
  for (; node != nullptr; node = node->next) {
    if (node->type == XML_TEXT_NODE) {
      lines += xmlIsBlankNode(node) ? "" : indent + "text " + textOf(node->content) + "\n";
      continue;
    }
    lines +=
        indent + textOf(node->name) + (node->ns == nullptr ? "" : " in " + textOf(node->ns->href)) + "\n";
    for (const xmlNs* name = node->nsDef; name != nullptr; name = name->next) {
      lines += indent + "  xmlns " + textOf(name->prefix) + " = " + textOf(name->href) + "\n";
    }
    for (const xmlAttr* attribute = node->properties; attribute != nullptr; attribute = attribute->next) {
      lines += indent + "  " + (attribute->ns == nullptr ? "" : textOf(attribute->ns->href) + " ") +
               textOf(attribute->name) + " = " + contentOf(reinterpret_cast<const xmlNode*>(attribute)) +
               "\n";
    }
    describe(node->children, indent + "  ", lines);
  }
}

std::string described(const Document& document) {
  std::string lines;
  if (document != nullptr) {
    describe(xmlDocGetRootElement(document.get()), "", lines);
  }
  return lines;
}

TEST(AlwaysTrueFilterTest, filter_agreesWithTheVocabulary) {
  EXPECT_TRUE(isValid(generate("")));
  EXPECT_TRUE(isValid(generate("Kestrel 40")));
  EXPECT_TRUE(isValid(generate("& < > \" '\n\t\r \xF0\x9F\x98\x80")));
}

TEST(AlwaysTrueFilterTest, vocabulary_refusesOtherFilters) {
  std::string filter = generate("Kestrel 40");
  const auto changed = [&filter](const std::string& from, const std::string& to) {
    std::string text = filter;
    const std::size_t at = text.find(from);
    EXPECT_NE(at, std::string::npos) << from;
    return text.replace(at, from.size(), to);
  };
  EXPECT_FALSE(isValid(changed("Strict", "Harsh")));
  EXPECT_FALSE(isValid(changed(">true<", ">maybe<")));
  EXPECT_FALSE(isValid(changed("HolderType", "HolderKind")));
  EXPECT_FALSE(isValid(changed("Kestrel 40", "")));
}

TEST(AlwaysTrueFilterTest, filter_isThatOfTheSamples) {
  const Document sample(xmlReadFile(ZEP_SAMPLE_FILE, nullptr, XML_PARSE_NONET));
  ASSERT_NE(sample, nullptr);
  const std::string expected = described(sample);
  EXPECT_NE(expected.find("HolderName = Kestrel 40"), std::string::npos) << expected;
  EXPECT_EQ(described(parse(generate("Kestrel 40"))), expected);
}

TEST(AlwaysTrueFilterTest, filterWithoutAHolder_hasTheBooleanUnderTheSelection) {
  const std::string ns = std::string(" in ") + CFG_NAMESPACE + "\n";
  const std::string xsi = VAL_XML_NAMESPACE;
  EXPECT_EQ(described(parse(generate(""))),
            "FilterExpression" + ns + "  xmlns  = " + CFG_NAMESPACE + "\n  xmlns xsi = " + xsi + "\n  " +
                xsi + " schemaLocation = " + FILTEREXPR_SCHEMA_LOCATION + "\n  FilterSelection" + ns +
                "    SelectionMode = Strict\n    Boolean" + ns + "      text true\n");
}

TEST(AlwaysTrueFilterTest, holderName_standsInItsContextAsGiven) {
  for (const char16_t* name : {u" ", u"a", u"<&>\"'", u"a\r\n\tb", u"\U0001F600", u"\u00E9"}) {
    const Document document = parse(generate(unitsOf(name)));
    EXPECT_NE(described(document).find("HolderName = " + utf8Of(unitsOf(name)) + "\n"), std::string::npos)
        << described(document);
  }
}

TEST(AlwaysTrueFilterTest, holderNameThatXMLCannotHold_fails_andLeavesTheOutput) {
  for (const std::u16string& name :
       {std::u16string(1, u'\0'), std::u16string(1, u'\x1B'), std::u16string(1, 0xD800)}) {
    ZEPUnicodeString xml = "as it was";
    EXPECT_EQ(ZEPCfgXMLExpressionServices::GenerateFilterExpressionTrue(unitsOf(name), xml), E_INVALIDARG);
    EXPECT_EQ(xml, "as it was");
  }
}

} // namespace
