#pragma once

#include "PLMCfgInTraceClass.h"
#include "ZEPUnicodeString.h"

#include <cstdint>
#include <type_traits>

class ZEPPLMID;

// The trace of one source file: its trace object, and the forms of record that the operations
// write. Each record takes the line of the call that wrote it, so a call stays on one line: for a
// call over several lines compilers disagree about its line.
//
// Details are written only while the trace is on, which is asked anew for each record. Errors are
// always handed over; the trace object decides whether they show.
class ZEPCfgServiceTrace {
public:
  ZEPCfgServiceTrace(const char* className, const char* traceGroup, const char* sourcePath);

  void Enter(char* signature, int line) {
    if (m_object.IsActivated()) {
      WriteEntry(signature, line);
    }
  }
  void Leave(int entryLine) {
    if (m_object.IsActivated()) {
      WriteExit(entryLine);
    }
  }

  void Label(const char* text, int line = __builtin_LINE()) { WriteDetail(line, text); }
  void Label(const char* text, const ZEPUnicodeString& more, int line = __builtin_LINE()) {
    WriteDetail(line, text, more);
  }
  // name = [text]
  void Dump(const char* name, const ZEPUnicodeString& text, int line = __builtin_LINE()) {
    WriteDetail(line, name, " = [", text, "]");
  }
  // The same of a text that is put together only while the trace is on.
  template <class MakeText>
  void DumpMade(const char* name, MakeText makeText, int line = __builtin_LINE()) {
    if (m_object.IsActivated()) {
      Write(line, name, " = [", makeText(), "]");
    }
  }
  // The same of an identifier, whose text is asked for only while the trace is on.
  void DumpId(const char* name, const ZEPPLMID& id, int line = __builtin_LINE());
  // A number without a name.
  void Number(unsigned int number, int line = __builtin_LINE()) { WriteDetail(line, number); }
  // name = value, without brackets
  void Value(const char* name, const ZEPUnicodeString& text, int line = __builtin_LINE()) {
    WriteDetail(line, name, " = ", text);
  }
  void Value(const char* name, const char* text, int line = __builtin_LINE()) {
    WriteDetail(line, name, " = ", text);
  }
  void Value(const char* name, int number, int line = __builtin_LINE()) {
    WriteDetail(line, name, " = ", number);
  }
  void Value(const char* name, unsigned int number, int line = __builtin_LINE()) {
    WriteDetail(line, name, " = ", number);
  }

  // Two records: the error prefix, then the indented message.
  void Error(const char* message, int line = __builtin_LINE());
  void Error(const char* message, const ZEPUnicodeString& more, int line = __builtin_LINE());
  void Error(const ZEPUnicodeString& message, int line = __builtin_LINE());
  // One record, without prefix and indent, whether or not the trace is on.
  void Notice(const ZEPUnicodeString& text, int line = __builtin_LINE());

  // rc = the code's macro name, or its number when it has none.
  void Result(long code, int line = __builtin_LINE()) {
    if (m_object.IsActivated()) {
      WriteResult(code, line);
    }
  }

  bool IsPerfoActivated();
  void Perfo(const char* text, int line = __builtin_LINE());

private:
  // What a part is handed on as. A reference to a number would have it stored in memory before it is known
  // whether anybody wants the record.
  template <class Part>
  using Handed = std::conditional_t<std::is_class_v<Part>, const Part&, std::decay_t<const Part>>;

  // Here alone, so that an operation pays next to nothing for the records that nobody wants.
  template <class... Parts>
  void WriteDetail(int line, const Parts&... parts) {
    if (m_object.IsActivated()) {
      Write(line, parts...);
    }
  }
  template <class... Parts>
  void WriteError(int line, const Parts&... parts);
  template <class... Parts>
  void Write(int line, const Parts&... parts) {
    WriteParts<Handed<Parts>...>(line, parts...);
  }
  // Kept out of the operations, which hardly ever come here.
  [[gnu::cold]] void WriteEntry(char* signature, int line);
  [[gnu::cold]] void WriteExit(int entryLine);
  [[gnu::cold]] void WriteResult(long code, int line);
  template <class... Parts>
  [[gnu::cold]] void WriteParts(int line, Parts... parts) {
    PLMCfgInTraceClass& record = m_object.beginTrace(detailLevel);
    (record << ... << parts);
    record.endTraceWithLineNumber(detailLevel, line, m_file);
  }

  static constexpr int detailLevel = 0;

  PLMCfgInTraceClass m_object;
  const char* m_file;
};

// Stands at the top of every traced operation: writes the entry record, and the exit record on
// every way out. The exit record carries the line of the entry, because a destructor has no line
// of its own worth showing.
template <ZEPCfgServiceTrace& trace>
class ZEPCfgTracedMethod {
public:
  explicit ZEPCfgTracedMethod(char* signature, int line = __builtin_LINE()) : m_entryLine(line) {
    trace.Enter(signature, line);
  }
  ~ZEPCfgTracedMethod() { trace.Leave(m_entryLine); }
  ZEPCfgTracedMethod(const ZEPCfgTracedMethod&) = delete;
  ZEPCfgTracedMethod& operator=(const ZEPCfgTracedMethod&) = delete;

private:
  std::int32_t m_entryLine;
};
