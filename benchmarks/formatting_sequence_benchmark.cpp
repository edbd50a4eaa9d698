#include "ZEPCfgXMLExpressionServices.h"
#include "ZEPHResult.h"
#include "ZEPUnicodeString.h"

#include <benchmark/benchmark.h>

#include <string>
#include <vector>

#include <libxml/parser.h>
#include <libxslt/transform.h>
#include <libxslt/xsltInternals.h>
#include <libxslt/xsltutils.h>

// The formatting sequence beside a plain loop over libxslt, on the same expressions of about 1 KB
// and the same prepared stylesheet. An item is one expression.

namespace {

constexpr int expressionCount = 1000;

std::string expressionOf(int number) {
  std::string text =
      "<EffectivityExpression xmlns=\"urn:zep:configuration-expression\">"
      "<Description><Summary>Winter equipment</Summary><Label Id=\"HS\">Heated seats</Label></Description>";
  for (int context = 0; context < 2; ++context) {
    text += "<Context HolderType=\"Model\" HolderName=\"Kestrel " + std::to_string(number % 90) +
            "\"><InheritedEff Domain=\"Variant\" FilterableId=\"1201\" HolderName=\"Kestrel family\"/>"
            "<And><Feature Name=\"HS\" DescId=\"HS\"><Value Name=\"front\"/><Value Name=\"rear\"/></Feature>"
            "<Not><DateRange From=\"2025-04-01\" To=\"2025-09-30\"/></Not>"
            "<Or><UnitRange From=\"" +
            std::to_string(number) + "\"/><UnitRange From=\"17\" To=\"17\"/></Or></And></Context>";
  }
  return text + "</EffectivityExpression>";
}

std::vector<std::string> expressions() {
  std::vector<std::string> all;
  for (int i = 0; i < expressionCount; ++i) {
    all.push_back(expressionOf(i));
  }
  return all;
}

void formattingSequence(benchmark::State& state) {
  std::vector<ZEPUnicodeString> inputs;
  for (const std::string& expression : expressions()) {
    inputs.emplace_back(expression.c_str());
  }
  if (ZEPFailed(ZEPCfgXMLExpressionServices::StartExpressionFormatting(ZEP_STYLESHEET))) {
    state.SkipWithError("the sequence does not start");
    return;
  }
  for (auto _ : state) {
    for (const ZEPUnicodeString& input : inputs) {
      ZEPUnicodeString formatted;
      if (ZEPFailed(ZEPCfgXMLExpressionServices::ExpressionFormatting(input, formatted, 0)) ||
          formatted.IsEmpty()) {
        state.SkipWithError("an expression is not formatted");
      }
      benchmark::DoNotOptimize(formatted);
    }
  }
  ZEPCfgXMLExpressionServices::EndExpressionFormatting();
  state.SetItemsProcessed(state.iterations() * expressionCount);
}
BENCHMARK(formattingSequence)->Unit(benchmark::kMillisecond);

void libxsltLoop(benchmark::State& state) {
  const std::vector<std::string> inputs = expressions();
  xsltStylesheetPtr stylesheet = xsltParseStylesheetFile(reinterpret_cast<const xmlChar*>(ZEP_STYLESHEET));
  for (auto _ : state) {
    for (const std::string& input : inputs) {
      xmlDocPtr document =
          xmlReadMemory(input.data(), static_cast<int>(input.size()), nullptr, "UTF-8", XSLT_PARSE_OPTIONS);
      xmlDocPtr result = xsltApplyStylesheet(stylesheet, document, nullptr);
      xmlChar* text = nullptr;
      int length = 0;
      if (xsltSaveResultToString(&text, &length, result, stylesheet) != 0 || length == 0) {
        state.SkipWithError("an expression is not formatted");
      }
      benchmark::DoNotOptimize(text);
      xmlFree(text);
      xmlFreeDoc(result);
      xmlFreeDoc(document);
    }
  }
  xsltFreeStylesheet(stylesheet);
  state.SetItemsProcessed(state.iterations() * expressionCount);
}
BENCHMARK(libxsltLoop)->Unit(benchmark::kMillisecond);

} // namespace

BENCHMARK_MAIN();
