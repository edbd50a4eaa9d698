#pragma once

#include "ConformanceTest.h"
#include "ZEPCfgWebServices.h"
#include "ZEPCfgXMLExpressionServices.h"

#include <functional>
#include <string>

// What the tests of the XML-expression operations share.

inline const std::string xmlClass = "ZEPCfgXMLExpressionServices";

inline const std::string stylesheetServiceUrl =
    "http://server/resources/modeler/configuration/navigationServices/getConfiguredExpressionXSLT/";

// The first two lines of an operation in the log.
inline std::string entryLines(const std::string& signature) {
  return "> long __cdecl ZEPCfgXMLExpressionServices::" + signature + "\nentry\n";
}

inline std::string errorLines(const std::string& message) {
  return "| <ERROR>\n| <INDENT> " + message + "\n";
}

// The last lines of an operation in the log.
inline std::string resultLines(long result) {
  return "| rc = " + scripted::codeName(result) + "\nexit\n<\n";
}

inline const std::string formatEntry =
    entryLines("FormatExpression(const class ZEPUnicodeString &,class ZEPUnicodeString &,"
               "const class ZEPUnicodeString &,const unsigned char &)");
inline const std::string encodingEntry = entryLines("IsEncodingUTF16(class ZEPUnicodeString)");
inline const std::string fetchEntry = entryLines("GetConfigExpressionXSLT(class ZEPUnicodeString &)");
inline const std::string parseEntry =
    entryLines("ParseQueryResponse(const class ZEPOmxAny &,class ZEPUnicodeString &)");

// What the platform is asked about a failure, and what the trace says of it, when the platform has
// nothing to say.
inline std::string reportLines(long result) {
  return "ZEPGetLastError(" + scripted::codeName(result) +
         ", null)\nZEPCleanLastError()\n| message = [XSLTProcessor has failed:\\n]\n";
}

// A result and the text that stands in the output then.
struct Outcome {
  long result = 0;
  std::string text;

  bool operator==(const Outcome&) const = default;
};

inline void PrintTo(const Outcome& outcome, std::ostream* out) {
  *out << scripted::codeName(outcome.result) << " \"" << outcome.text << '"';
}

inline Outcome formatExpression(const char* expression, const char* customFile, unsigned char compactView = 0,
                                const char* before = "as it was") {
  ZEPUnicodeString text = before;
  const long result =
      ZEPCfgXMLExpressionServices::FormatExpression(expression, text, customFile, compactView);
  return {result, text.ConvertToChar()};
}

inline Outcome fetchStylesheet(const char* before) {
  ZEPUnicodeString text = before;
  const long result = ZEPCfgXMLExpressionServices::GetConfigExpressionXSLT(text);
  return {result, text.ConvertToChar()};
}

inline Outcome parseResponse(const ZEPOmxAny& response, const char* before) {
  ZEPUnicodeString text = before;
  const long result = ZEPCfgXMLExpressionServices::ParseQueryResponse(response, text);
  return {result, text.ConvertToChar()};
}

// The server's stylesheet, once there is one, is kept for the life of the process: a test that has
// the server answer with one needs a process of its own, which CTest gives it.
class XMLExpressionTest : public ConformanceTest {
protected:
  void SetUp() override {
    ConformanceTest::SetUp();
    AskForTheStackOnce();
    script().reset();
  }

  // The log without the name of the class, which every trace line of it has at its start.
  static std::string Log() { return WithoutClass(scripted::script().log()); }

  static std::string WithoutClass(const std::string& log) {
    return MapLines(log, [](const std::string& line) {
      return line.starts_with(xmlClass + " ") ? line.substr(xmlClass.size() + 1) : line;
    });
  }

  static std::string LinesOf(const std::string& log, const std::function<bool(const std::string&)>& wanted) {
    return MapLines(log, [&wanted](const std::string& line) { return wanted(line) ? line : ""; });
  }

  static std::string Trace() { return scripted::script().traceOf(xmlClass); }

  static scripted::ScriptedPlatform& script() { return scripted::script(); }

  // From now on the server is asked and has no stylesheet, so nothing is kept of its answer.
  static void ServerHasNone() {
    script().json =
        scripted::jsonObject({{"xslt", scripted::jsonObject({{"content", scripted::jsonText("")}})}});
  }

private:
  static std::string MapLines(const std::string& log,
                              const std::function<std::string(const std::string&)>& change) {
    std::string result;
    for (std::size_t start = 0; start < log.size();) {
      const std::size_t end = log.find('\n', start) + 1;
      result += change(log.substr(start, end - start));
      start = end;
    }
    return result;
  }

  // The choice of the web stack reads the environment at its first call only; here, so that no test
  // depends on whether it is the first.
  static void AskForTheStackOnce() {
    script().context = "";
    ZEPUnicodeString answer;
    ZEPCfgWebServices::CallWebService("GET", "/", "", answer);
  }
};
