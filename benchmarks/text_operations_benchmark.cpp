#include "ZEPCfgContextExpression.h"
#include "ZEPCfgXMLExpressionServices.h"
#include "ZEPCollec.h"
#include "ZEPListValZEPCfgContextExpression.h"
#include "ZEPUnicodeString.h"

#include <benchmark/benchmark.h>

#include <cstdint>
#include <string>

// Time of the text operations over texts of 10 KB to 10 MB, and of texts with many description
// identifiers. The size of a text is that of its UTF-8 form, which is ASCII here.
// What does not grow in proportion shows in the RMS: the times are fitted to a line.

namespace {

constexpr std::int64_t smallest = 10 * 1000;
constexpr std::int64_t largest = 10 * 1000 * 1000;

ZEPUnicodeString textOf(const std::string& utf8) {
  ZEPUnicodeString text;
  text.BuildFromUTF8(utf8.data(), utf8.size());
  return text;
}

void appendUpTo(std::string& text, std::size_t size, const std::string& repeated) {
  while (text.size() < size) {
    text += repeated;
  }
}

// One context: each further one would write the whole text once more.
std::string expressionOf(std::int64_t size) {
  std::string text = "<EffectivityExpression><Description><Summary>text</Summary></Description>"
                     "<Context HolderType=\"Model\" HolderName=\"Kestrel 40\" DescId=\"d\">";
  appendUpTo(text, static_cast<std::size_t>(size),
             "<InheritedEff Domain=\"Variant\" FilterableId=\"1201\" HolderName=\"Kestrel family\"/>\n"
             "<Change Name=\"CHG-2210\" OperationHandlerId=\"91220\" DescId=\"chg\"/>\n"
             "<And DescId=\"winter\"><Feature Name=\"HS\"><Value Name=\"HS2\"/></Feature></And>\n");
  return text + "</Context></EffectivityExpression>";
}

std::string identifiers(std::int64_t count) {
  std::string text = "<X";
  for (std::int64_t i = 0; i < count; ++i) {
    text += " DescId=\"winter\"";
  }
  return text + "/>";
}

// Each cut joins the next identifier.
std::string joinedIdentifiers(std::int64_t count) {
  std::string text;
  for (std::int64_t i = 1; i < count; ++i) {
    text += "Desc";
  }
  text += "DescId=\"x\"";
  for (std::int64_t i = 1; i < count; ++i) {
    text += "Id=\"x\"";
  }
  return text;
}

void report(benchmark::State& state, const std::string& text) {
  state.SetBytesProcessed(static_cast<std::int64_t>(text.size()) * state.iterations());
  state.SetComplexityN(state.range(0));
}

void splitByContext(benchmark::State& state) {
  const std::string utf8 = expressionOf(state.range(0));
  const ZEPUnicodeString text = textOf(utf8);
  for (auto _ : state) {
    ZEPListValZEPCfgContextExpression contexts;
    benchmark::DoNotOptimize(ZEPCfgXMLExpressionServices::SplitByContext(text, contexts));
    if (contexts.Size() != 1) {
      state.SkipWithError("not one context");
    }
  }
  report(state, utf8);
}
BENCHMARK(splitByContext)
    ->RangeMultiplier(10)
    ->Range(smallest, largest)
    ->Unit(benchmark::kMicrosecond)
    ->Complexity(benchmark::oN);

template <std::string (*makeText)(std::int64_t)>
void removeDescription(benchmark::State& state) {
  const std::string utf8 = makeText(state.range(0));
  const ZEPUnicodeString text = textOf(utf8);
  for (auto _ : state) {
    ZEPUnicodeString cleaned;
    if (ZEPCfgXMLExpressionServices::RemoveDescription(text, cleaned) != 0) {
      state.SkipWithError("not cleaned");
    }
    benchmark::DoNotOptimize(cleaned.GetLengthInChar());
  }
  report(state, utf8);
}
BENCHMARK(removeDescription<expressionOf>)
    ->Name("removeDescription")
    ->RangeMultiplier(10)
    ->Range(smallest, largest)
    ->Unit(benchmark::kMicrosecond)
    ->Complexity(benchmark::oN);
BENCHMARK(removeDescription<identifiers>)
    ->Name("removeDescription, identifiers")
    ->RangeMultiplier(10)
    ->Range(100, 100000)
    ->Unit(benchmark::kMicrosecond)
    ->Complexity(benchmark::oN);
BENCHMARK(removeDescription<joinedIdentifiers>)
    ->Name("removeDescription, joined identifiers")
    ->RangeMultiplier(10)
    ->Range(100, 100000)
    ->Unit(benchmark::kMicrosecond)
    ->Complexity(benchmark::oN);

} // namespace

BENCHMARK_MAIN();
