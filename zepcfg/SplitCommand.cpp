#include "Commands.h"

#include "Failure.h"
#include "Input.h"
#include "LineStream.h"
#include "Output.h"
#include "Text.h"
#include "ZEPCfgContextExpression.h"
#include "ZEPCfgXMLExpressionServices.h"
#include "ZEPListValZEPCfgContextExpression.h"
#include "ZEPUnicodeString.h"

namespace zep::cli {
namespace {

nlohmann::ordered_json numbers(const ZEPRawCollint& list) {
  nlohmann::ordered_json array = nlohmann::ordered_json::array();
  for (int i = 1; i <= list.Size(); ++i) {
    array.push_back(list[i]);
  }
  return array;
}

nlohmann::ordered_json texts(const ZEPListValZEPUnicodeString& list) {
  nlohmann::ordered_json array = nlohmann::ordered_json::array();
  for (int i = 1; i <= list.Size(); ++i) {
    array.push_back(toUTF8(list[i]));
  }
  return array;
}

nlohmann::ordered_json asJSON(const ZEPCfgContextExpression& context) {
  return {{"contextName", toUTF8(context.m_contextName)},
          {"contextExpression", toUTF8(context.m_contextExpression)},
          {"inheritedEffIds", numbers(context.m_inheritedEffIds)},
          {"holderNames", texts(context.m_holderNames)},
          {"operationHandlerIds", numbers(context.m_operationHandlerIds)}};
}

nlohmann::ordered_json splitLine(const ZEPUnicodeString& expression) {
  ZEPListValZEPCfgContextExpression contexts;
  nlohmann::ordered_json object =
      resultObject(ZEPCfgXMLExpressionServices::SplitByContext(expression, contexts));
  object["contexts"] = nlohmann::ordered_json::array();
  for (int i = 1; i <= contexts.Size(); ++i) {
    object["contexts"].push_back(asJSON(contexts[i]));
  }
  return object;
}

// One after the other: all of them together may be many times as long as the expression.
void writeTexts(const ZEPListValZEPCfgContextExpression& contexts, const OutputOptions& output) {
  ResultStream result(output.file);
  for (int i = 1; i <= contexts.Size(); ++i) {
    const std::string text = toUTF8(contexts[i].m_contextExpression);
    result.write(text);
    result.write(!text.empty() && text.back() == '\n' ? "" : "\n");
  }
  result.finish();
}

} // namespace

int runSplit(const SplitOptions& options) {
  if (options.stream.isWanted) {
    return runLineStream(options.file, options.stream.jobs, splitLine, options.output);
  }
  const ZEPUnicodeString expression = readXML(options.file);
  if (options.output.json) {
    writeJSON(splitLine(expression), options.output.file);
    return exitDone;
  }
  ZEPListValZEPCfgContextExpression contexts;
  ZEPCfgXMLExpressionServices::SplitByContext(expression, contexts);
  writeTexts(contexts, options.output);
  return exitDone;
}

} // namespace zep::cli
