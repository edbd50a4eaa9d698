#pragma once

#include "XMLFormatTest.h"
#include "ZEPBaseUnknown_var.h"
#include "ZEPListValZEPUnicodeString.h"

#include <initializer_list>
#include <string>

// What the tests of the formatting sequence and of the batch share.

inline const std::string startEntry = entryLines("StartExpressionFormatting(const class ZEPUnicodeString &)");
inline const std::string elementEntry =
    entryLines("ExpressionFormatting(const class ZEPUnicodeString &,class ZEPUnicodeString &,"
               "const unsigned char &)");
inline const std::string endEntry = entryLines("EndExpressionFormatting(void)");

inline long startSequence(const char* customFile) {
  return ZEPCfgXMLExpressionServices::StartExpressionFormatting(customFile);
}

inline Outcome formatNext(const char* expression, unsigned char compactView = 0) {
  ZEPUnicodeString text = "as it was";
  const long result = ZEPCfgXMLExpressionServices::ExpressionFormatting(expression, text, compactView);
  return {result, text.ConvertToChar()};
}

inline long endSequence() {
  return ZEPCfgXMLExpressionServices::EndExpressionFormatting();
}

// A sequence on which nothing fails, with the caller's stylesheet file that names no encoding. What
// a sequence keeps is given back at the end of each test and row; everything else has to be gone by
// then. How the output is decoded is remembered for the life of the process, so a test that changes
// it needs a process of its own, which CTest gives it.
class SequenceTest : public XMLFormatTest {
protected:
  void TearDown() override {
    endSequence();
    XMLFormatTest::TearDown();
  }

  static void CloseRow() {
    endSequence();
    EXPECT_EQ(script().problems(), "");
    Start();
  }

  // An open sequence, with a log that starts behind it.
  static void Open(bool traced = true) {
    StartTraced(traced);
    EXPECT_EQ(startSequence(path), S_OK);
    script().clearLog();
  }

  static std::string UsualOpening() {
    const std::string oneShot = UsualStart();
    return startEntry + oneShot.substr(oneShot.find("| in_customXSLFile")) +
           "CreateZEPIXMLXSLFactory(CLSID_XSLT_JAVA)\n"
           "CreateTransformer(xslSourceId1)\n"
           "CreateZEPIXMLPPFactory(CLSID_XML4C5_PP)\n"
           "SetOption(OutputFormat, text)\n" +
           resultLines(S_OK);
  }

  // The first expression in a sequence, "<x/>".
  static std::string UsualElement(bool compactView = true) {
    return elementEntry +
           "ZEPXMLPPMemoryBuffer(1024)\n"
           "| in_xmlExpression = [<x/>]\n"
           "CreateInputSourceFromMemoryBuffer(<x/>, inputSourceId1)\n"
           "SetInputSource(inputSourceId1)\n"
           "CreateOutputSource()\n"
           "SetOutputSource(outputSource)\n" +
           (compactView ? "SetParameter(CompactView, \"\", TRUE)\n" : "") +
           "Transform()\n"
           "SetOutputSource(null)\n"
           "~outputSource\n"
           "GetBuffer()\n"
           "| byteArraySize = 20\n"
           "| result = [formatted]\n" +
           ElementEnding("formatted", S_OK);
  }

  // The objects of an expression are released behind the result.
  static std::string ElementEnding(const std::string& output, long result,
                                   const std::string& releases = "~memoryBuffer\n") {
    return "| out_formattedExpression = [" + output + "]\n| rc = " + scripted::codeName(result) + "\n" +
           releases + "exit\n<\n";
  }

  static std::string UsualEnd(const std::string& releases) { return endEntry + releases + resultLines(S_OK); }

  static std::string KeptObjects() {
    return "sax2Factory\nxslSourceId1\nxslFactory\ntransformer\nppFactory\n";
  }

  // The server's stylesheet is a text in memory.
  static void ServerSays(const char* text) {
    script().json =
        scripted::jsonObject({{"xslt", scripted::jsonObject({{"content", scripted::jsonText(text)}})}});
  }
};

inline ZEPListValZEPUnicodeString listOf(std::initializer_list<const char*> texts) {
  ZEPListValZEPUnicodeString list;
  for (const char* const text : texts) {
    list.Append(text);
  }
  return list;
}

// Each text in angle quotes, so that an empty one shows.
inline std::string shownList(const ZEPListValZEPUnicodeString& list) {
  std::string shown;
  for (int i = 1; i <= list.Size(); ++i) {
    shown += std::string("<") + list[i].ConvertToChar() + ">";
  }
  return shown;
}
