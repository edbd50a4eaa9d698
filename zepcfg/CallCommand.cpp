#include "Commands.h"

#include "Failure.h"
#include "Input.h"
#include "JSONText.h"
#include "Output.h"
#include "Remedy.h"
#include "Server.h"
#include "Text.h"
#include "TraceCollector.h"
#include "ZEPCfgWebServices.h"
#include "ZEPHResult.h"
#include "ZEPUnicodeString.h"

#include <utility>

namespace zep::cli {
namespace {

void deliver(long result, const std::string& body, const OutputOptions& output) {
  if (output.json) {
    nlohmann::ordered_json object = resultObject(result);
    object["body"] = body;
    writeJSON(object, output.file);
    return;
  }
  const bool isForPerson = isOutputTerminal(output.file);
  writeResult(isForPerson ? indentedJSON(body).value_or(body) : body, output.file);
}

} // namespace

int runCall(const CallOptions& options) {
  const ZEPUnicodeString data = options.data ? readData(*options.data) : ZEPUnicodeString();
  if (options.data && options.verb == "GET" && !options.legacy) {
    writeNote("zepcfg: a GET carries no body, --data is not sent (the legacy stack would send it)\n");
  }
  const TraceCollector trace;
  ZEPUnicodeString body;
  const auto call = options.legacy ? ZEPCfgWebServices::OldCallWebService : ZEPCfgWebServices::CallWebService;
  const long result = call(fromUTF8(options.verb), fromUTF8(options.path), data, body);
  if (ZEPFailed(result)) {
    Failure failure = describeFailure(trace, options.verb + " " + options.path,
                                      options.legacy ? "OldCallWebService" : "CallWebService", result);
    failure.server = serverURL();
    failure.members["body"] = toUTF8(body);
    throw CommandFailure(std::move(failure));
  }
  deliver(result, toUTF8(body), options.output);
  return exitDone;
}

} // namespace zep::cli
