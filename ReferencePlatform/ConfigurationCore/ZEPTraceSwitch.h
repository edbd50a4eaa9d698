#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace zep {

// What the value of ZEP_TRACE asks for.
struct TraceSwitch {
  bool on = false;                // anything at all
  bool everything = false;        // every class
  bool performance = false;       // timings too
  std::vector<std::string> names; // classes and groups, as written

  bool Selects(std::string_view className, std::string_view traceGroup) const;
};

TraceSwitch ParseTraceSwitch(std::string_view value);

} // namespace zep
