#pragma once

#include "ZEPError.h"
#include "ZEPHResult.h"
#include "ZEPIXMLPPFactory.h"
#include "ZEPIXMLSAX2Factory.h"
#include "ZEPIXMLXSLFactory.h"
#include "ZEPUnicodeString.h"
#include "ZEPXMLPPMemoryBuffer.h"
#include "ZEPXMLXSLTransformerOptions.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <string>

namespace xml {

inline ZEPUnicodeString Unicode(const std::string& utf8) {
  ZEPUnicodeString text;
  text.BuildFromUTF8(utf8.data(), utf8.size());
  return text;
}

// Forgets the error, as a caller that has read it does.
inline std::string LastMessage(long code) {
  ZEPError* const error = ZEPError::ZEPGetLastError(code, nullptr);
  if (error == nullptr) {
    return {};
  }
  const std::string message = error->GetMessageText().ConvertToChar();
  error->Release();
  ZEPError::ZEPCleanLastError();
  return message;
}

inline ZEPISAXInputSource_var TextSource(const ZEPUnicodeString& text, const char* sourceId) {
  ZEPIXMLSAX2Factory_var factory;
  EXPECT_EQ(CreateZEPIXMLSAX2Factory(factory, CLSID_XML4C_SAX), S_OK);
  ZEPISAXInputSource_var source;
  EXPECT_EQ(factory->CreateInputSourceFromMemoryBuffer(text, sourceId, source), S_OK);
  return source;
}

inline ZEPISAXInputSource_var FileSource(const std::string& path, const char* sourceId) {
  ZEPIXMLSAX2Factory_var factory;
  EXPECT_EQ(CreateZEPIXMLSAX2Factory(factory, CLSID_XML4C_SAX), S_OK);
  ZEPISAXInputSource_var source;
  EXPECT_EQ(factory->CreateInputSourceFromFile(Unicode(path), sourceId, source), S_OK);
  return source;
}

inline ZEPISAXInputSource_var Stylesheet(const std::string& text) {
  return TextSource(Unicode(text), "sheet");
}

inline ZEPISAXInputSource_var Expression(const std::string& text) {
  return TextSource(Unicode(text), "expression");
}

inline ZEPIXMLPPOutputSource_var OutputTo(ZEPXMLPPMemoryBuffer& buffer) {
  ZEPIXMLPPFactory_var factory;
  EXPECT_EQ(CreateZEPIXMLPPFactory(factory, CLSID_XML4C5_PP), S_OK);
  ZEPIXMLPPOutputSource_var output;
  EXPECT_EQ(factory->CreateOutputSource(buffer, output), S_OK);
  return output;
}

inline long Compile(const ZEPISAXInputSource_var& stylesheet, ZEPIXMLXSLTransformer_var& transformer) {
  ZEPIXMLXSLFactory_var factory;
  EXPECT_EQ(CreateZEPIXMLXSLFactory(factory, CLSID_XSLT_JAVA), S_OK);
  return factory->CreateTransformer(stylesheet, transformer);
}

inline ZEPIXMLXSLTransformer_var Compiled(const std::string& stylesheet) {
  ZEPIXMLXSLTransformer_var transformer;
  const long result = Compile(Stylesheet(stylesheet), transformer);
  EXPECT_EQ(result, S_OK) << LastMessage(result);
  return transformer;
}

inline std::string Content(ZEPXMLPPMemoryBuffer& buffer) {
  unsigned char* bytes = nullptr;
  unsigned int count = 0;
  EXPECT_EQ(buffer.GetBuffer(bytes, count), S_OK);
  return bytes == nullptr ? "(nothing)" : std::string(reinterpret_cast<const char*>(bytes), count);
}

struct Outcome {
  long code;
  std::string message;
  std::string output; // "(nothing)" when nothing was delivered
};

enum class Format { Text, AsWritten };

inline Outcome Transformed(const ZEPIXMLXSLTransformer_var& transformer, const ZEPISAXInputSource_var& input,
                           Format format = Format::Text) {
  ZEPXMLPPMemoryBuffer buffer(64);
  if (format == Format::Text) {
    EXPECT_EQ(transformer->SetOption(ZEPXMLXSLTransformerOptions::OutputFormat, "text"), S_OK);
  }
  EXPECT_EQ(transformer->SetInputSource(input), S_OK);
  EXPECT_EQ(transformer->SetOutputSource(OutputTo(buffer)), S_OK);
  const long code = transformer->Transform();
  EXPECT_EQ(transformer->SetOutputSource(NULL_var), S_OK);
  return {code, code == S_OK ? "" : LastMessage(code), Content(buffer)};
}

// Compiles and applies.
inline Outcome Applied(const ZEPISAXInputSource_var& stylesheet, const ZEPISAXInputSource_var& input,
                       Format format = Format::Text) {
  ZEPIXMLXSLTransformer_var transformer;
  const long code = Compile(stylesheet, transformer);
  if (code != S_OK) {
    EXPECT_TRUE(!transformer) << "a failure gives no transformer";
    return {code, LastMessage(code), "(nothing)"};
  }
  return Transformed(transformer, input, format);
}

inline Outcome Applied(const std::string& stylesheet, const std::string& expression,
                       Format format = Format::Text) {
  return Applied(Stylesheet(stylesheet), Expression(expression), format);
}

// A stylesheet with these declarations; `attributes` go to its root.
inline std::string Sheet(const std::string& declarations, const std::string& attributes = {}) {
  return "<xsl:stylesheet version='1.0' xmlns:xsl='http://www.w3.org/1999/XSL/Transform' " + attributes +
         ">\n" + declarations + "\n</xsl:stylesheet>";
}

const char* const kUTF8Output = "<xsl:output method='text' encoding='UTF-8'/>";

// One whose root template is `body`, with text in UTF-8.
inline std::string TextSheet(const std::string& body, const std::string& attributes = {}) {
  return Sheet(kUTF8Output + ("<xsl:template match='/'>" + body + "</xsl:template>"), attributes);
}

inline std::string Repeated(const std::string& text, int count) {
  std::string result;
  result.reserve(text.size() * static_cast<std::size_t>(count));
  for (int i = 0; i < count; ++i) {
    result += text;
  }
  return result;
}

// What no test of this area may change: nothing is ever written to the error output.
class QuietTest : public testing::Test {
protected:
  void SetUp() override { testing::internal::CaptureStderr(); }
  void TearDown() override { EXPECT_EQ(testing::internal::GetCapturedStderr(), ""); }
};

inline void ExpectFailure(const Outcome& outcome, const std::string& messagePart) {
  EXPECT_TRUE(ZEPFailed(outcome.code)) << outcome.output.substr(0, 200);
  EXPECT_NE(outcome.message.find(messagePart), std::string::npos)
      << "expected: " << messagePart << "\nmessage: " << outcome.message;
  EXPECT_FALSE(outcome.message.empty());
  EXPECT_EQ(outcome.output, "(nothing)");
}

inline void ExpectText(const Outcome& outcome, const std::string& text) {
  EXPECT_EQ(outcome.code, S_OK) << outcome.message;
  EXPECT_EQ(outcome.output, text);
}

} // namespace xml
