#include "CompiledFilter.h"

#include "Input.h"
#include "Remedy.h"
#include "Text.h"
#include "TraceCollector.h"
#include "ZEPFilterCompiler.h"
#include "ZEPHResult.h"

#include <string_view>
#include <utility>

namespace zep::cli {
namespace {

[[noreturn]] void failCompiling(const TraceCollector& trace, const std::string& file, long result) {
  Failure failure = describeFailure(trace, inputName(file), "CompileFilter", result);
  constexpr std::string_view place = "expression:"; // what the XML reader calls the text that it is given
  if (startsWith(failure.message, place)) {
    failure.message.replace(0, place.size(), "line ");
    failure.remedy = remedyFor(failure);
  }
  throw CommandFailure(std::move(failure));
}

} // namespace

CompiledFilter compileInput(const std::string& file, const std::string& bytes) {
  const ZEPUnicodeString expression = decodeXMLInput(file, bytes);
  const TraceCollector trace;
  CompiledFilter filter;
  const long result = CompileFilter(expression, filter.binary, filter.termCount);
  if (ZEPFailed(result)) {
    failCompiling(trace, file, result);
  }
  return filter;
}

ZEPBinary readFilter(const std::string& file) {
  const std::string bytes = readInput(file);
  const ZEPBinary binary(bytes.data(), bytes.size());
  return IsCompiledFilter(binary) ? binary : compileInput(file, bytes).binary;
}

} // namespace zep::cli
