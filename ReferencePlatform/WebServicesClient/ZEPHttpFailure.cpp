#include "ZEPHttpFailure.h"

#include "PLMCfgInTraceClass.h"
#include "ZEPLastError.h"

#include <cstring>

namespace zep {
namespace {

PLMCfgInTraceClass& Trace() {
  static PLMCfgInTraceClass trace("ZEPHttpTransport", "CfgWeb");
  return trace;
}

const char* BaseName(const char* path) {
  const char* const separator = std::strrchr(path, '/');
  return separator == nullptr ? path : separator + 1;
}

} // namespace

long ReportHttpFailure(long code, const std::string& message, int line, const char* file) {
  ZEPSetLastError(code, message);
  PLMCfgInTraceClass& trace = Trace();
  trace.beginTrace(0) << PLMCfgInTraceClass::GetError();
  trace.endTraceWithLineNumber(0, line, BaseName(file));
  trace.beginTrace(0) << PLMCfgInTraceClass::GetErrorIndent() << message.c_str();
  trace.endTraceWithLineNumber(0, line, BaseName(file));
  return code;
}

} // namespace zep
