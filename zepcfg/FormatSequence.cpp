#include "FormatSequence.h"

#include "Failure.h"
#include "FormatFailure.h"
#include "Input.h"
#include "LineStream.h"
#include "Output.h"
#include "Progress.h"
#include "Text.h"
#include "TraceCollector.h"
#include "ZEPCfgXMLExpressionServices.h"
#include "ZEPHResult.h"
#include "ZEPListValZEPUnicodeString.h"
#include "ZEPUnicodeString.h"

#include <vector>

namespace zep::cli {
namespace {

const char starting[] = "StartExpressionFormatting";
const char formattingOne[] = "ExpressionFormatting";

// The library's one formatting sequence, open as long as this lives.
class Sequence {
public:
  // `input` names what is formatted. A sequence without a stylesheet is a failure here.
  Sequence(const FormatOptions& options, const std::string& input) : m_isCompact(options.compact) {
    const TraceCollector trace;
    const long result =
        ZEPCfgXMLExpressionServices::StartExpressionFormatting(fromUTF8(options.stylesheet.value_or("")));
    try {
      requireServerStylesheet(trace, input, starting);
      if (ZEPFailed(result)) {
        failFormatting(trace, input, starting, result);
      }
      if (!hasStylesheet(trace)) {
        failWithNothingFormatted(trace, input, starting, result);
      }
    } catch (...) {
      ZEPCfgXMLExpressionServices::EndExpressionFormatting();
      throw;
    }
  }
  ~Sequence() { ZEPCfgXMLExpressionServices::EndExpressionFormatting(); }
  Sequence(const Sequence&) = delete;
  Sequence& operator=(const Sequence&) = delete;

  long format(const ZEPUnicodeString& expression, const std::string& input,
              ZEPUnicodeString& formatted) const {
    const unsigned char compactView = m_isCompact ? 1 : 0;
    const long result = ZEPCfgXMLExpressionServices::ExpressionFormatting(expression, formatted, compactView);
    if (ZEPFailed(result)) {
      explain(expression, input);
    }
    return result;
  }

private:
  // Formats it again with an ear on the trace, which costs those alone that fail.
  void explain(const ZEPUnicodeString& expression, const std::string& input) const {
    const TraceCollector trace;
    ZEPUnicodeString formatted;
    const long result = ZEPCfgXMLExpressionServices::ExpressionFormatting(expression, formatted, 0);
    failFormatting(trace, input, formattingOne, ZEPFailed(result) ? result : E_FAIL);
  }

  bool m_isCompact;
};

// The texts one after the other, or an object that says which is of which file.
void deliverTexts(long result, const std::vector<std::string>& files, const std::vector<std::string>& texts,
                  const OutputOptions& output) {
  if (!output.json) {
    ResultStream stream(output.file);
    for (const std::string& text : texts) {
      stream.write(text);
    }
    stream.finish();
    return;
  }
  nlohmann::ordered_json object = resultObject(result);
  object["items"] = nlohmann::ordered_json::array();
  for (std::size_t i = 0; i < files.size(); ++i) {
    object["items"].push_back({{"file", files[i]}, {"text", texts[i]}});
  }
  writeJSON(object, output.file);
}

std::vector<std::string> filesOf(const FormatOptions& options) {
  return options.files.empty() ? std::vector<std::string>{"-"} : options.files;
}

} // namespace

void formatFiles(const FormatOptions& options) {
  const Sequence sequence(options, inputName(options.files.front()));
  std::vector<std::string> texts;
  Progress progress;
  for (const std::string& file : options.files) {
    ZEPUnicodeString formatted;
    sequence.format(readXML(file), inputName(file), formatted);
    texts.push_back(toUTF8(formatted));
    progress.show(texts.size(), "files",
                  static_cast<double>(texts.size()) / static_cast<double>(options.files.size()));
  }
  progress.clear();
  deliverTexts(S_OK, options.files, texts, options.output);
}

void formatBatch(const FormatOptions& options) {
  const char operation[] = "FormatExpressions";
  const std::vector<std::string> files = filesOf(options);
  if (options.compact) {
    writeNote("zepcfg: a batch is never compact, --compact has no effect\n");
  }
  ZEPListValZEPUnicodeString expressions;
  for (const std::string& file : files) {
    expressions.Append(readXML(file));
  }
  const TraceCollector trace;
  ZEPListValZEPUnicodeString formatted;
  const long result = ZEPCfgXMLExpressionServices::FormatExpressions(
      expressions, formatted, fromUTF8(options.stylesheet.value_or("")), options.compact ? 1 : 0);
  // What was appended tells which one failed.
  const auto next = static_cast<std::size_t>(formatted.Size());
  const std::string input = inputName(files[next < files.size() ? next : 0]);
  requireServerStylesheet(trace, input, operation);
  if (ZEPFailed(result)) {
    failFormatting(trace, input, operation, result);
  }
  std::vector<std::string> texts;
  for (int i = 1; i <= formatted.Size(); ++i) {
    texts.push_back(toUTF8(formatted[i]));
  }
  deliverTexts(result, files, texts, options.output);
}

int formatLines(const FormatOptions& options) {
  const std::string file = filesOf(options).front();
  const Sequence sequence(options, inputName(file));
  return runLineStream(
      file, options.stream.jobs,
      [&sequence](const ZEPUnicodeString& expression) {
        ZEPUnicodeString formatted;
        nlohmann::ordered_json object = resultObject(sequence.format(expression, lineExpression, formatted));
        object["text"] = toUTF8(formatted);
        return object;
      },
      options.output);
}

} // namespace zep::cli
