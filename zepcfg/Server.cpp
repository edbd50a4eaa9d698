#include "Server.h"

#include "Environment.h"
#include "Remedy.h"
#include "Text.h"
#include "ZEPCfgInfraServices.h"
#include "ZEPCfgXMLExpressionServices.h"
#include "ZEPHResult.h"
#include "ZEPUnicodeString.h"

#include <algorithm>

namespace zep::cli {
namespace {

// What a formatting sequence traces of every failure of the operation.
constexpr char failedSomehow[] = "ERROR: GetConfigExpressionXSLT failed";

bool saysNothing(const std::vector<std::string>& errors) {
  return std::all_of(errors.begin(), errors.end(),
                     [](const std::string& error) { return error == failedSomehow; });
}

} // namespace

std::string serverURL() {
  return environmentValue("ZEP_URL").value_or("");
}

Failure describeFetchFailure(const TraceCollector& trace, const std::string& input,
                             const std::string& operation, long code) {
  Failure failure = describeFailure(trace, input, operation, code);
  failure.server = serverURL();
  if (saysNothing(failure.errors)) {
    failure.errors = {"the server's answer is not {\"xslt\":{\"content\":\"...\"}}"};
    failure.remedy = "check that this is the URL of a PLM server";
  }
  failure.remedy += "; or do without the server's stylesheet: name one with --stylesheet FILE, or no server";
  return failure;
}

ServerInquiry askServer() {
  ServerInquiry inquiry;
  if (ZEPCfgInfraServices::IsATSTProvider()) {
    return inquiry;
  }
  const TraceCollector trace;
  ZEPUnicodeString stylesheet;
  inquiry.answer.wasAsked = true;
  inquiry.answer.result = ZEPCfgXMLExpressionServices::GetConfigExpressionXSLT(stylesheet);
  inquiry.answer.stylesheet = toUTF8(stylesheet);
  if (ZEPFailed(inquiry.answer.result)) {
    inquiry.failure = describeFetchFailure(trace, "the server's stylesheet", "GetConfigExpressionXSLT",
                                           inquiry.answer.result);
  }
  return inquiry;
}

} // namespace zep::cli
