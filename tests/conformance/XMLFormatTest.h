#pragma once

#include "XMLExpressionTest.h"

#include <set>
#include <string>

// A formatting on which nothing fails, and its log: the expression "<x/>" in compact view, with a
// stylesheet file that the caller names and that names no encoding. Failures are compared with it.
class XMLFormatTest : public XMLExpressionTest {
protected:
  static constexpr const char* path = "C:\\x.xsl";

  void SetUp() override {
    XMLExpressionTest::SetUp();
    Start();
  }

  static void Start() {
    script().reset();
    script().files[path] = "<xsl:output/>";
  }

  static void StartTraced(bool traced = true) {
    Start();
    if (traced) {
      script().traceOn();
    }
  }

  static Outcome Format() { return formatExpression("<x/>", path, 1); }

  static std::string UsualLog() {
    return UsualStart() + UsualPipeline() +
           "GetBuffer()\n"
           "| byteArraySize = 20\n"
           "| result = [formatted]\n" +
           ReleaseBuffer() + Ending("formatted", S_OK);
  }

  static std::string UsualStart() {
    return formatEntry +
           "| in_xmlExpression = [<x/>]\n"
           "| in_customXSLFile = [C:\\x.xsl]\n"
           "ZEPGetFileInfo(C:\\x.xsl)\n"
           "| XSLTFilePath = [C:\\x.xsl]\n"
           "CreateZEPIXMLSAX2Factory(CLSID_XML4C_SAX)\n"
           "| XSLTFilePath = [C:\\x.xsl]\n" +
           encodingEntry +
           "| in_XSLFilePath = [C:\\x.xsl]\n"
           "ZEPFOpen(C:\\x.xsl, r)\n"
           "ZEPFEof(11)\n"
           "ZEPFGets(1024, 11)\n"
           "ZEPFClose(11)\n"
           "| rc = S_OK\n"
           "exit\n"
           "<\n"
           "CreateInputSourceFromFile(C:\\x.xsl, xslSourceId1)\n";
  }

  // From the expression's source to the end of the transformation.
  static std::string UsualPipeline() {
    return "CreateInputSourceFromMemoryBuffer(<x/>, inputSourceId1)\n"
           "CreateZEPIXMLXSLFactory(CLSID_XSLT_JAVA)\n"
           "CreateTransformer(xslSourceId1)\n"
           "CreateZEPIXMLPPFactory(CLSID_XML4C5_PP)\n"
           "SetInputSource(inputSourceId1)\n"
           "SetOption(OutputFormat, text)\n"
           "ZEPXMLPPMemoryBuffer(1024)\n"
           "CreateOutputSource()\n"
           "SetOutputSource(outputSource)\n"
           "SetParameter(CompactView, \"\", TRUE)\n"
           "Transform()\n"
           "SetOutputSource(null)\n"
           "~outputSource\n";
  }

  // The usual log up to its first line that is `lastLine`.
  static std::string UsualUntil(const std::string& lastLine) { return Until(UsualLog(), lastLine); }

  static std::string Until(const std::string& log, const std::string& lastLine) {
    const std::size_t at = ("\n" + log).find("\n" + lastLine + "\n");
    EXPECT_NE(at, std::string::npos) << lastLine;
    return at == std::string::npos ? "" : log.substr(0, at + lastLine.size() + 1);
  }

  // Objects go in the opposite order of their making.
  static std::string ReleaseSAX2Factory() { return "~sax2Factory\n"; }
  static std::string ReleaseXSLSource() { return "~xslSourceId1\n" + ReleaseSAX2Factory(); }
  static std::string ReleaseInputSource() { return "~inputSourceId1\n" + ReleaseXSLSource(); }
  static std::string ReleaseXSLFactory() { return "~xslFactory\n" + ReleaseInputSource(); }
  static std::string ReleaseTransformer() { return "~transformer\n" + ReleaseXSLFactory(); }
  static std::string ReleasePPFactory() { return "~ppFactory\n" + ReleaseTransformer(); }
  static std::string ReleaseBuffer() { return "~memoryBuffer\n" + ReleasePPFactory(); }
  // While the transformer still holds the output source.
  static std::string ReleaseBufferAndHeldOutput() {
    return "~memoryBuffer\n~ppFactory\n~transformer\n~outputSource\n" + ReleaseXSLFactory();
  }

  static std::string Ending(const std::string& output, long result) {
    return "| out_formattedExpression = [" + output + "]\n" + resultLines(result);
  }

  static std::string CallsOf(const std::string& log) {
    return LinesOf(log, [](const std::string& line) { return !IsTrace(line); });
  }

  // What the trace holds while it is off.
  static std::string ErrorsOf(const std::string& log) {
    return LinesOf(log, [](const std::string& line) {
      return line.starts_with("| <ERROR>") || line.starts_with("| <INDENT>");
    });
  }

  // The operations called since the log was cleared.
  static std::set<scripted::Op> CalledOperations() {
    std::set<scripted::Op> called;
#define NOTE_WHEN_CALLED(name, text)                                                                         \
  if (script().count(scripted::Op::name) > 0) {                                                              \
    called.insert(scripted::Op::name);                                                                       \
  }
    SCRIPTED_OPERATIONS(NOTE_WHEN_CALLED)
#undef NOTE_WHEN_CALLED
    return called;
  }

private:
  static bool IsTrace(const std::string& line) {
    return line.starts_with("| ") || line.starts_with("> ") || line.starts_with("<\n") || line == "entry\n" ||
           line == "exit\n";
  }
};
