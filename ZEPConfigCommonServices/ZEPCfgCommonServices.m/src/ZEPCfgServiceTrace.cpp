#include "ZEPCfgServiceTrace.h"

#include "ZEPPLMID.h"
#include "valueToMacro.h"

namespace {

constexpr int entryLevel = 1;
constexpr int exitLevel = 2;

// What stands behind the last separator of the compile-time path, whichever system compiled it.
const char* baseName(const char* path) {
  const char* name = path;
  for (const char* at = path; *at != '\0'; ++at) {
    if (*at == '\\' || *at == '/') {
      name = at + 1;
    }
  }
  return name;
}

} // namespace

ZEPCfgServiceTrace::ZEPCfgServiceTrace(const char* className, const char* traceGroup, const char* sourcePath)
    : m_object(className, traceGroup),
      m_file(baseName(sourcePath)) {}

template <class... Parts>
void ZEPCfgServiceTrace::WriteError(int line, const Parts&... parts) {
  Write(line, PLMCfgInTraceClass::GetError());
  Write(line, PLMCfgInTraceClass::GetErrorIndent(), parts...);
}

void ZEPCfgServiceTrace::WriteEntry(char* signature, int line) {
  m_object.SetMethod(signature);
  m_object.beginTrace(entryLevel).endTraceWithLineNumber(entryLevel, line, m_file);
}

void ZEPCfgServiceTrace::WriteExit(int entryLine) {
  m_object.beginTrace(exitLevel).endTraceWithLineNumber(exitLevel, entryLine, nullptr);
  m_object.RemoveMethod();
}

void ZEPCfgServiceTrace::DumpId(const char* name, const ZEPPLMID& id, int line) {
  DumpMade(
      name, [&id] { return id.ToString(0); }, line);
}

void ZEPCfgServiceTrace::Error(const char* message, int line) {
  WriteError(line, message);
}

void ZEPCfgServiceTrace::Error(const char* message, const ZEPUnicodeString& more, int line) {
  WriteError(line, message, more);
}

void ZEPCfgServiceTrace::Error(const ZEPUnicodeString& message, int line) {
  WriteError(line, message);
}

void ZEPCfgServiceTrace::Notice(const ZEPUnicodeString& text, int line) {
  Write(line, text);
}

void ZEPCfgServiceTrace::WriteResult(long code, int line) {
  const auto macro = valueToMacro.find(code);
  if (macro != valueToMacro.end()) {
    Write(line, "rc", " = ", macro->second);
  } else {
    Write(line, "rc", " = ", code);
  }
}

bool ZEPCfgServiceTrace::IsPerfoActivated() {
  return m_object.IsPerfoActivated() != 0;
}

void ZEPCfgServiceTrace::Perfo(const char* text, int line) {
  Write(line, text);
}
