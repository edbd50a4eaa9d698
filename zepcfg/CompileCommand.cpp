#include "Commands.h"

#include "CompiledFilter.h"
#include "Failure.h"
#include "Input.h"
#include "Output.h"
#include "Text.h"
#include "ZEPFilterCompiler.h"
#include "ZEPHResult.h"

#include <string_view>

namespace zep::cli {
namespace {

const char operation[] = "compiling the expression";

// Before anything is read: what is certain to fail fails at once.
void requirePlaceFor(const OutputOptions& output) {
  const bool hasFile = !output.file.empty() && output.file != "-";
  if (output.json && !hasFile) {
    failBadInput("standard output", operation, "it cannot take the compiled form and the JSON object",
                 "name a file for the compiled form with -o FILE");
  }
  if (isOutputTerminal(output.file)) {
    failBadInput("standard output", operation, "the compiled form is nothing for a terminal",
                 "name a file for it with -o FILE, or send it to a file or a pipe");
  }
}

void requireUncompiled(const std::string& file, const std::string& bytes) {
  if (IsCompiledFilter(ZEPBinary(bytes.data(), bytes.size()))) {
    failBadInput(inputName(file), operation, "it is compiled already",
                 "use it as it is, or name the expression in XML");
  }
}

} // namespace

int runCompile(const CompileOptions& options) {
  requirePlaceFor(options.output);
  const std::string bytes = readInput(options.file);
  requireUncompiled(options.file, bytes);
  const CompiledFilter filter = compileInput(options.file, bytes);
  const std::string_view compiled(reinterpret_cast<const char*>(filter.binary.Bytes()),
                                  filter.binary.ByteCount());
  writeResult(compiled, options.output.file);
  if (options.output.json) {
    nlohmann::ordered_json object = resultObject(S_OK);
    object["terms"] = filter.termCount;
    object["bytes"] = compiled.size();
    writeJSON(object, "");
  }
  return exitDone;
}

} // namespace zep::cli
