#include "ContractTest.h"
#include "PLMCfgInListVal.h"
#include "PLMCfgInString.h"
#include "ZEPCfgXMLWriter.h"
#include "ZEPError.h"
#include "ZEPIXMLPPFactory.h"
#include "ZEPIXMLSAX2Factory.h"
#include "ZEPIXMLXSLFactory.h"
#include "ZEPXMLPPMemoryBuffer.h"
#include "ZEPXMLXSLTransformerOptions.h"

#include <cstring>
#include <string>
#include <thread>
#include <vector>

// The XML library and the XML writer.

namespace {

using namespace zep::contract;

constexpr GUID kStrangeClass = {1, 2, 3, {4, 5, 6, 7, 8, 9, 10, 11}};

std::string Sheet(const std::string& output, const std::string& body) {
  return "<xsl:stylesheet version='1.0' xmlns:xsl='http://www.w3.org/1999/XSL/Transform'>" + output +
         "<xsl:param name='mode'/><xsl:template match='/'>" + body + "</xsl:template></xsl:stylesheet>";
}

const char* const kUtf8Output = "<xsl:output method='text' encoding='UTF-8'/>";
const std::string kValueSheet = Sheet(kUtf8Output, "<xsl:value-of select='/*'/>");

ZEPISAXInputSource_var SourceOf(const ZEPUnicodeString& text) {
  ZEPIXMLSAX2Factory_var factory;
  EXPECT_SUCCESS(CreateZEPIXMLSAX2Factory(factory, CLSID_XML4C_SAX));
  ZEPISAXInputSource_var source;
  EXPECT_SUCCESS(factory->CreateInputSourceFromMemoryBuffer(text, "contract", source));
  EXPECT_FALSE(!source);
  return source;
}

ZEPISAXInputSource_var SourceOfFile(const std::string& path) {
  ZEPIXMLSAX2Factory_var factory;
  EXPECT_SUCCESS(CreateZEPIXMLSAX2Factory(factory, CLSID_XML4C_SAX));
  ZEPISAXInputSource_var source;
  EXPECT_SUCCESS(factory->CreateInputSourceFromFile(Text(path), "contract", source));
  EXPECT_FALSE(!source);
  return source;
}

long Compile(const ZEPISAXInputSource_var& stylesheet, ZEPIXMLXSLTransformer_var& transformer) {
  ZEPIXMLXSLFactory_var factory;
  EXPECT_SUCCESS(CreateZEPIXMLXSLFactory(factory, CLSID_XSLT_JAVA));
  return factory->CreateTransformer(stylesheet, transformer);
}

ZEPIXMLXSLTransformer_var Compiled(const std::string& stylesheet) {
  ZEPIXMLXSLTransformer_var transformer;
  EXPECT_SUCCESS(Compile(SourceOf(Text(stylesheet)), transformer));
  EXPECT_FALSE(!transformer);
  return transformer;
}

ZEPIXMLPPOutputSource_var OutputTo(ZEPXMLPPMemoryBuffer& buffer) {
  ZEPIXMLPPFactory_var factory;
  EXPECT_SUCCESS(CreateZEPIXMLPPFactory(factory, CLSID_XML4C5_PP));
  ZEPIXMLPPOutputSource_var output;
  EXPECT_SUCCESS(factory->CreateOutputSource(buffer, output));
  EXPECT_FALSE(!output);
  return output;
}

// "(nothing)" where nothing was ever delivered.
std::string Content(ZEPXMLPPMemoryBuffer& buffer) {
  unsigned char* bytes = nullptr;
  unsigned int count = 4711;
  EXPECT_SUCCESS(buffer.GetBuffer(bytes, count));
  if (bytes == nullptr) {
    EXPECT_EQ(count, 0U);
    return "(nothing)";
  }
  return {reinterpret_cast<const char*>(bytes), count};
}

long TransformInto(ZEPXMLPPMemoryBuffer& buffer, const ZEPIXMLXSLTransformer_var& transformer,
                   const ZEPISAXInputSource_var& input) {
  EXPECT_SUCCESS(transformer->SetInputSource(input));
  EXPECT_SUCCESS(transformer->SetOutputSource(OutputTo(buffer)));
  const long result = transformer->Transform();
  EXPECT_SUCCESS(transformer->SetOutputSource(NULL_var));
  return result;
}

std::string Applied(const std::string& stylesheet, const std::string& input) {
  const ZEPIXMLXSLTransformer_var transformer = Compiled(stylesheet);
  EXPECT_SUCCESS(transformer->SetOption(ZEPXMLXSLTransformerOptions::OutputFormat, "text"));
  ZEPXMLPPMemoryBuffer buffer(4);
  EXPECT_SUCCESS(TransformInto(buffer, transformer, SourceOf(Text(input))));
  return Content(buffer);
}

bool HasMessage(long result) {
  ZEPError* const error = ZEPError::ZEPGetLastError(result, nullptr);
  if (error == nullptr) {
    return false;
  }
  const bool isThere = !error->GetMessageText().IsEmpty();
  error->Release();
  ZEPError::ZEPCleanLastError();
  return isThere;
}

// ---- factories ----

using XMLFactories = ContractTest;

template <class Handle>
void ExpectUnknownClassRefused(long (*create)(Handle&, const GUID&), const GUID& known) {
  Handle factory;
  EXPECT_SUCCESS(create(factory, known));
  EXPECT_FALSE(!factory);
  EXPECT_FAILURE(create(factory, kStrangeClass));
  EXPECT_TRUE(!factory) << "the handle is left empty";
  ZEPError::ZEPCleanLastError();
}

TEST_F(XMLFactories, SAX2Factory_IsMade_OfItsClassAlone) {
  ExpectUnknownClassRefused(CreateZEPIXMLSAX2Factory, CLSID_XML4C_SAX);
}

TEST_F(XMLFactories, XSLFactory_IsMade_OfItsClassAlone) {
  ExpectUnknownClassRefused(CreateZEPIXMLXSLFactory, CLSID_XSLT_JAVA);
}

TEST_F(XMLFactories, PPFactory_IsMade_OfItsClassAlone) {
  ExpectUnknownClassRefused(CreateZEPIXMLPPFactory, CLSID_XML4C5_PP);
}

TEST_F(XMLFactories, ClassIds_AreDistinct) {
  const GUID* const ids[] = {&CLSID_XML4C_SAX, &CLSID_XSLT_JAVA, &CLSID_XML4C5_PP};
  const GUID none{};
  for (const GUID* const id : ids) {
    EXPECT_NE(std::memcmp(id, &none, sizeof(GUID)), 0);
    for (const GUID* const other : ids) {
      EXPECT_EQ(std::memcmp(id, other, sizeof(GUID)) == 0, id == other);
    }
  }
}

TEST_F(XMLFactories, Objects_CountTheirReferences) {
  const ZEPISAXInputSource_var source = SourceOf("<a/>");
  const unsigned long counted = source->AddRef();
  EXPECT_GE(counted, 2U);
  EXPECT_EQ(source->Release(), counted - 1);
  {
    const ZEPISAXInputSource_var copy(source);
    EXPECT_EQ(source->AddRef(), counted + 1);
    EXPECT_EQ(source->Release(), counted);
  }
  EXPECT_EQ(source->AddRef(), counted);
  EXPECT_EQ(source->Release(), counted - 1);
}

TEST_F(XMLFactories, Products_OutliveTheirFactory) {
  ZEP_NEEDS(TheWorld().PrepareTransformation("x"));
  const ZEPIXMLXSLTransformer_var transformer = Compiled(kValueSheet); // no factory is left
  ZEPXMLPPMemoryBuffer buffer(64);
  EXPECT_SUCCESS(TransformInto(buffer, transformer, SourceOf("<a>x</a>")));
  EXPECT_EQ(Content(buffer), "x");
}

// ---- sources ----

using InputSources = ContractTest;

TEST_F(InputSources, MemorySource_KeepsItsText) {
  ZEP_NEEDS(TheWorld().PrepareTransformation("kept"));
  ZEPUnicodeString text("<a>kept</a>");
  ZEPUnicodeString sheet = Text(kValueSheet);
  const ZEPISAXInputSource_var input = SourceOf(text);
  const ZEPISAXInputSource_var stylesheet = SourceOf(sheet);
  text = "changed";
  sheet = "changed";
  ZEPIXMLXSLTransformer_var transformer;
  EXPECT_SUCCESS(Compile(stylesheet, transformer));
  ZEPXMLPPMemoryBuffer buffer(64);
  EXPECT_SUCCESS(TransformInto(buffer, transformer, input));
  EXPECT_EQ(Content(buffer), "kept");
}

TEST_F(InputSources, FileSource_IsReadWhenItIsUsed) {
  ZEP_NEEDS(TheWorld().PrepareTransformation("there now"));
  std::string folderOf;
  ZEP_NEEDS(TheWorld().MakeFile("first.xsl", kValueSheet, folderOf));
  const std::string latePath = folderOf.substr(0, folderOf.size() - 9) + "later.xsl";
  const ZEPISAXInputSource_var stylesheet = SourceOfFile(latePath);
  std::string path;
  ZEP_NEEDS(TheWorld().MakeFile("later.xsl", kValueSheet, path));
  ASSERT_EQ(path, latePath);
  ZEPIXMLXSLTransformer_var transformer;
  ASSERT_GE(Compile(stylesheet, transformer), 0);
  ZEPXMLPPMemoryBuffer buffer(64);
  EXPECT_SUCCESS(TransformInto(buffer, transformer, SourceOf("<a>there now</a>")));
  EXPECT_EQ(Content(buffer), "there now");
}

TEST_F(InputSources, MissingFile_FailsWhenItIsUsed) {
  ZEP_NEEDS(TheWorld().LetFail(Failing::Stylesheet));
  ZEPIXMLXSLTransformer_var transformer;
  const long result = Compile(SourceOfFile("/zep/contract/missing.xsl"), transformer);
  EXPECT_FAILURE(result);
  EXPECT_TRUE(!transformer);
  EXPECT_TRUE(HasMessage(result));
}

TEST_F(InputSources, EncodingDeclaredInAMemoryText_DoesNotMislead) {
  ZEP_NEEDS(TheWorld().Has(Ability::Transformations));
  for (const char* const name : {"ISO-8859-1", "UTF-16", "UTF-8"}) {
    const std::string declaration = std::string("<?xml version='1.0' encoding='") + name + "'?>";
    EXPECT_EQ(Applied(declaration + kValueSheet, declaration + "<a>\xC3\xA4\xF0\x9F\x98\x80</a>"),
              "\xC3\xA4\xF0\x9F\x98\x80");
  }
}

// ---- transformer ----

using Transformer = ContractTest;

TEST_F(Transformer, Stylesheet_ThatIsNone_IsAFailureWithAMessage) {
  for (const char* const text : {"<a", "", "<a/>"}) {
    ZEP_NEEDS(TheWorld().LetFail(Failing::Stylesheet));
    ZEPIXMLXSLTransformer_var transformer;
    const long result = Compile(SourceOf(text), transformer);
    EXPECT_FAILURE(result);
    EXPECT_TRUE(!transformer);
    EXPECT_TRUE(HasMessage(result)) << text;
  }
}

TEST_F(Transformer, EmptyHandle_Raises) {
  const ZEPIXMLXSLTransformer_var none;
  EXPECT_THROW(none->Transform(), ZEPErrorNullVar);
}

TEST_F(Transformer, Bytes_AreInTheStylesheetsEncoding) {
  ZEP_NEEDS(TheWorld().Has(Ability::Transformations));
  EXPECT_EQ(Applied(kValueSheet, "<a>\xC3\xA4</a>"), "\xC3\xA4");
  EXPECT_EQ(Applied(Sheet("<xsl:output method='text' encoding='ISO-8859-1'/>", "<xsl:value-of select='/*'/>"),
                    "<a>\xC3\xA4</a>"),
            "\xE4");
}

TEST_F(Transformer, Bytes_AreUtf16BehindAMark_WithoutAnEncoding) {
  ZEP_NEEDS(TheWorld().Has(Ability::Transformations));
  const char16_t expected[] = {0xFEFF, u'a', 0xE4, 0xD83D, 0xDE00};
  EXPECT_EQ(Applied(Sheet("<xsl:output method='text'/>", "<xsl:value-of select='/*'/>"),
                    "<a>a\xC3\xA4\xF0\x9F\x98\x80</a>"),
            std::string(reinterpret_cast<const char*>(expected), sizeof expected));
}

TEST_F(Transformer, OptionText_OverridesTheStylesheetsMethod) {
  ZEP_NEEDS(TheWorld().Has(Ability::Transformations));
  EXPECT_EQ(Applied(Sheet("<xsl:output method='xml' encoding='UTF-8'/>", "<b>1 &lt; 2</b>"), "<a/>"),
            "1 < 2");
}

TEST_F(Transformer, UnknownOption_IsRefused) {
  ZEP_NEEDS(TheWorld().Has(Ability::Transformations));
  const ZEPIXMLXSLTransformer_var transformer = Compiled(kValueSheet);
  EXPECT_EQ(transformer->SetOption("ContractOption", "text"), E_INVALIDARG);
  EXPECT_EQ(transformer->SetOption(ZEPXMLXSLTransformerOptions::OutputFormat, "contract"), E_INVALIDARG);
  ZEPError::ZEPCleanLastError();
}

TEST_F(Transformer, Parameter_IsAString_AndStaysSet) {
  ZEP_NEEDS(TheWorld().Has(Ability::Transformations));
  const ZEPIXMLXSLTransformer_var transformer =
      Compiled(Sheet(kUtf8Output, "[<xsl:value-of select='$mode'/>]"));
  const char* const expected[] = {"[]", "['a\" b]", "['a\" b]", "[]"};
  for (int round = 0; round < 4; ++round) {
    if (round == 1) {
      EXPECT_SUCCESS(transformer->SetParameter("mode", "", "'a\" b"));
    } else if (round == 3) {
      EXPECT_SUCCESS(transformer->SetParameter("mode", "", ""));
    }
    ZEPXMLPPMemoryBuffer buffer(64);
    EXPECT_SUCCESS(TransformInto(buffer, transformer, SourceOf("<a/>")));
    EXPECT_EQ(Content(buffer), expected[round]);
  }
}

TEST_F(Transformer, Sources_AreShared_NotBorrowed) {
  ZEP_NEEDS(TheWorld().PrepareTransformation("x"));
  const ZEPIXMLXSLTransformer_var transformer = Compiled(kValueSheet);
  ZEPXMLPPMemoryBuffer buffer(64);
  EXPECT_SUCCESS(transformer->SetInputSource(SourceOf("<a>x</a>"))); // the handles end here
  EXPECT_SUCCESS(transformer->SetOutputSource(OutputTo(buffer)));
  EXPECT_SUCCESS(transformer->Transform());
  EXPECT_SUCCESS(transformer->SetOutputSource(NULL_var));
  EXPECT_EQ(Content(buffer), "x");
}

TEST_F(Transformer, EmptyResult_IsDelivered) {
  ZEP_NEEDS(TheWorld().PrepareTransformation(""));
  const ZEPIXMLXSLTransformer_var transformer = Compiled(kValueSheet);
  ZEPXMLPPMemoryBuffer buffer(64);
  EXPECT_SUCCESS(TransformInto(buffer, transformer, SourceOf("<a/>")));
  EXPECT_EQ(Content(buffer), "") << "a buffer that is not null, of size 0";
}

TEST_F(Transformer, Transformer_ServesManyTimes_EachInItsBuffer) {
  const ZEPIXMLXSLTransformer_var transformer = Compiled(kValueSheet);
  EXPECT_SUCCESS(transformer->SetOption(ZEPXMLXSLTransformerOptions::OutputFormat, "text"));
  ZEPXMLPPMemoryBuffer first(64);
  ZEPXMLPPMemoryBuffer second(64);
  ZEP_NEEDS(TheWorld().PrepareTransformation("1"));
  EXPECT_SUCCESS(TransformInto(first, transformer, SourceOf("<a>1</a>")));
  const std::string longText(5000, 'x');
  ZEP_NEEDS(TheWorld().PrepareTransformation(longText));
  EXPECT_SUCCESS(TransformInto(second, transformer, SourceOf(Text("<a>" + longText + "</a>"))));
  EXPECT_EQ(Content(first), "1");
  EXPECT_EQ(Content(second), longText);
}

TEST_F(Transformer, Failure_DeliversNothing_LeavesAMessageAndATransformer) {
  ZEP_NEEDS(TheWorld().PrepareTransformation("fine"));
  const ZEPIXMLXSLTransformer_var transformer = Compiled(kValueSheet);
  ZEPXMLPPMemoryBuffer buffer(64);
  ZEP_NEEDS(TheWorld().LetFail(Failing::Transform));
  const long result = TransformInto(buffer, transformer, SourceOf("<a>half"));
  EXPECT_FAILURE(result);
  EXPECT_EQ(Content(buffer), "(nothing)");
  EXPECT_TRUE(HasMessage(result));
  ZEPXMLPPMemoryBuffer again(64);
  EXPECT_SUCCESS(TransformInto(again, transformer, SourceOf("<a>fine</a>")));
  EXPECT_EQ(Content(again), "fine");
}

TEST_F(Transformer, Transformers_WorkOnThreads_AtOnce) {
  ZEP_NEEDS(TheWorld().PrepareTransformation("x"));
  std::vector<std::thread> threads;
  for (int i = 0; i < 4; ++i) {
    threads.emplace_back([] {
      ZEPXMLPPMemoryBuffer buffer(64);
      EXPECT_SUCCESS(TransformInto(buffer, Compiled(kValueSheet), SourceOf("<a>x</a>")));
      EXPECT_EQ(Content(buffer), "x");
    });
  }
  for (std::thread& thread : threads) {
    thread.join();
  }
}

TEST_F(Transformer, OptionNames_AreThere) {
  EXPECT_FALSE(ZEPXMLXSLTransformerOptions::OutputFormat.IsEmpty());
}

// ---- memory buffer ----

using MemoryBuffer = ContractTest;

TEST_F(MemoryBuffer, AsConstructed_IsNullWithoutBytes) {
  for (const unsigned int size : {0U, 1024U}) {
    ZEPXMLPPMemoryBuffer buffer(size);
    EXPECT_EQ(Content(buffer), "(nothing)");
  }
}

TEST_F(MemoryBuffer, Bytes_AreTheBuffersOwn_AndStay) {
  ZEP_NEEDS(TheWorld().PrepareTransformation("x"));
  ZEPXMLPPMemoryBuffer buffer(64);
  EXPECT_SUCCESS(TransformInto(buffer, Compiled(kValueSheet), SourceOf("<a>x</a>")));
  unsigned char* first = nullptr;
  unsigned char* second = nullptr;
  unsigned int count = 0;
  EXPECT_SUCCESS(buffer.GetBuffer(first, count));
  EXPECT_SUCCESS(buffer.GetBuffer(second, count));
  EXPECT_EQ(first, second);
  EXPECT_EQ(count, 1U);
}

TEST_F(MemoryBuffer, OutputSource_OutlivesIt_WithoutTouchingIt) {
  ZEP_NEEDS(TheWorld().PrepareTransformation("x"));
  const ZEPIXMLXSLTransformer_var transformer = Compiled(kValueSheet);
  EXPECT_SUCCESS(transformer->SetInputSource(SourceOf("<a>x</a>")));
  {
    ZEPXMLPPMemoryBuffer buffer(64);
    EXPECT_SUCCESS(transformer->SetOutputSource(OutputTo(buffer)));
  }
  static_cast<void>(transformer->Transform()); // whatever the code: the buffer is gone
  ZEPError::ZEPCleanLastError();
}

// ---- writer ----

using XMLWriter = ContractTest;

// One element with attributes and a text, with another in it.
ZEPUnicodeString WrittenDocument() {
  ZEPCfgXMLWriter writer;
  EXPECT_SUCCESS(writer.WriteStartDocument());
  {
    PLMCfgInListVal names(PLMCfgInString::sType());
    PLMCfgInListVal values(PLMCfgInString::sType());
    names.PutBack("second");
    values.PutBack("<&\"'>");
    names.PutBack(PLMCfgInString(ZEPUnicodeString("first")));
    values.PutBack("\xC3\xA4");
    EXPECT_SUCCESS(writer.WriteStartElement("outer", &names, &values));
  }
  EXPECT_SUCCESS(writer.WriteStartElement("inner", nullptr, nullptr));
  EXPECT_SUCCESS(writer.WriteCharacters("1 < 2 & 3"));
  EXPECT_SUCCESS(writer.WriteEndElement());
  EXPECT_SUCCESS(writer.WriteEndElement());
  EXPECT_SUCCESS(writer.WriteEndDocument());
  ZEPUnicodeString xml("before");
  EXPECT_SUCCESS(writer.GetGeneratedXML(xml));
  EXPECT_FALSE(xml == "before");
  return xml;
}

TEST_F(XMLWriter, Document_IsGivenOutWhole) {
  EXPECT_FALSE(WrittenDocument().IsEmpty());
}

TEST_F(XMLWriter, Document_IsWellFormed_EscapedAndInOrder) {
  ZEP_NEEDS(TheWorld().Has(Ability::XMLWriting));
  ZEP_NEEDS(TheWorld().Has(Ability::Transformations));
  const std::string xml = Bytes(WrittenDocument());
  EXPECT_LT(xml.find("second="), xml.find("first=")) << xml;
  EXPECT_EQ(
      Applied(Sheet(kUtf8Output, "<xsl:for-each select='//@*'>[<xsl:value-of select='.'/>]</xsl:for-each>"
                                 "<xsl:value-of select='/outer/inner'/>"),
              xml),
      "[<&\"'>][\xC3\xA4]1 < 2 & 3");
}

TEST_F(XMLWriter, WrongName_LosesTheDocument) {
  ZEP_NEEDS(TheWorld().Has(Ability::XMLWriting));
  ZEPCfgXMLWriter writer;
  EXPECT_SUCCESS(writer.WriteStartDocument());
  EXPECT_EQ(writer.WriteStartElement("no name", nullptr, nullptr), E_INVALIDARG);
  EXPECT_FAILURE(writer.WriteStartElement("name", nullptr, nullptr));
  EXPECT_FAILURE(writer.WriteCharacters("x"));
  EXPECT_FAILURE(writer.WriteEndElement());
  EXPECT_FAILURE(writer.WriteEndDocument());
}

TEST_F(XMLWriter, CharacterThatXMLCannotHold_IsRefused) {
  ZEP_NEEDS(TheWorld().Has(Ability::XMLWriting));
  ZEPCfgXMLWriter writer;
  EXPECT_SUCCESS(writer.WriteStartDocument());
  EXPECT_SUCCESS(writer.WriteStartElement("name", nullptr, nullptr));
  EXPECT_FAILURE(writer.WriteCharacters("\x01"));
}

TEST_F(XMLWriter, Failure_LeavesTheOutput) {
  ZEP_NEEDS(TheWorld().LetFail(Failing::XMLDocument));
  ZEPCfgXMLWriter writer;
  static_cast<void>(writer.WriteStartDocument());
  static_cast<void>(writer.WriteStartElement("no name", nullptr, nullptr));
  ZEPUnicodeString xml("before");
  EXPECT_FAILURE(writer.GetGeneratedXML(xml));
  EXPECT_STREQ(xml.ConvertToChar(), "before");
}

TEST_F(XMLWriter, ListOfAttributes_IsEmptiedByClear) {
  ZEP_NEEDS(TheWorld().Has(Ability::XMLWriting));
  PLMCfgInListVal names(PLMCfgInString::sType());
  PLMCfgInListVal values(PLMCfgInString::sType());
  for (PLMCfgInListVal* const list : {&names, &values}) {
    list->PutBack("gone");
    list->Clear();
    list->PutBack("kept");
  }
  ZEPCfgXMLWriter writer;
  EXPECT_SUCCESS(writer.WriteStartDocument());
  EXPECT_SUCCESS(writer.WriteStartElement("name", &names, &values));
  EXPECT_SUCCESS(writer.WriteEndElement());
  EXPECT_SUCCESS(writer.WriteEndDocument());
  ZEPUnicodeString xml;
  EXPECT_SUCCESS(writer.GetGeneratedXML(xml));
  EXPECT_EQ(xml.SearchSubString("gone", 0, 1), -1);
  EXPECT_NE(xml.SearchSubString("kept", 0, 1), -1);
}

} // namespace
