#include "TextResult.h"

#include "Failure.h"
#include "Output.h"
#include "Text.h"

namespace zep::cli {

void deliverText(long code, const ZEPUnicodeString& text, const OutputOptions& output) {
  if (!output.json) {
    writeResult(toUTF8(text), output.file);
    return;
  }
  nlohmann::ordered_json object = resultObject(code);
  object["text"] = toUTF8(text);
  writeJSON(object, output.file);
}

} // namespace zep::cli
