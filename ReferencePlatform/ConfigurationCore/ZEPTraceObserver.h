#pragma once

#include "ZEPPlatformExport.h"

// For programs on the reference platform that show a person what the library traced. The library
// itself knows nothing of it.

// One record.
struct ZEPTraceRecord {
  const char* className;  // of the trace object, as the library named it
  const char* traceGroup; // empty for the default group
  const char* method;     // signature of the current method, or empty
  int level;              // 0 detail or error, 1 entry, 2 exit
  int line;               // in the source file
  const char* file;       // base name of the source file, or null
  const char* text;       // UTF-8, empty for entry and exit records
};

// Called for every record that reaches the trace, whether or not it is written anywhere, on the
// thread that wrote it, one call at a time. It does not throw and does not trace. The record is
// valid during the call.
using ZEPTraceObserver = void (*)(const ZEPTraceRecord& record, void* context);

// Replaces the observer; null removes it. With an observer that wants all records
// (`wantsDetails`), every trace object answers that it is activated.
ZEP_PLATFORM_API void ZEPSetTraceObserver(ZEPTraceObserver observer, void* context, bool wantsDetails);
