#pragma once

#include <string>

namespace zep {

// Says in the trace and as the thread's last error why a call over HTTP failed; returns `code`.
long ReportHttpFailure(long code, const std::string& message, int line = __builtin_LINE(),
                       const char* file = __builtin_FILE());

} // namespace zep
