#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>

namespace zep::cli {

enum class TraceKind { entry, exit, detail, error, timing, result };

// One record of a trace file.
struct TraceRecord {
  std::string time; // as it is written
  long process = 0; // 0 where the trace does not say it
  long thread = 0;
  TraceKind kind = TraceKind::detail;
  std::string className;
  std::string operation; // empty where none runs
  std::string file;      // empty where it is not known
  long line = 0;
  std::optional<std::size_t> depth; // operations around it; nothing where they are too many to tell
  std::string text;
};

// The record of a line in either form; nothing where it is none, or a torn one.
std::optional<TraceRecord> readTraceRecord(std::string_view line);

const char* kindName(TraceKind kind);

// Milliseconds between two times of one trace; nothing where one of them is none.
std::optional<double> millisecondsBetween(const std::string& start, const std::string& end);

} // namespace zep::cli
