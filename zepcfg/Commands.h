#pragma once

#include <optional>
#include <string>
#include <vector>

// The commands. Each returns the exit code, or throws CommandFailure.
namespace zep::cli {

struct OutputOptions {
  bool json = false;
  std::string file; // empty or "-": standard output
};

// A stream of JSON lines instead of one text.
struct StreamOptions {
  bool isWanted = false;
  int jobs = 1;
};

struct FormatOptions {
  std::vector<std::string> files; // none: standard input
  std::optional<std::string> stylesheet;
  bool compact = false;
  bool batch = false;
  StreamOptions stream;
  OutputOptions output;
};
int runFormat(const FormatOptions& options);

struct SplitOptions {
  std::string file = "-";
  StreamOptions stream;
  OutputOptions output;
};
int runSplit(const SplitOptions& options);

struct StripOptions {
  std::string file = "-";
  StreamOptions stream;
  OutputOptions output;
};
int runStrip(const StripOptions& options);

struct AlwaysTrueOptions {
  std::string model;
  OutputOptions output;
};
int runAlwaysTrue(const AlwaysTrueOptions& options);

struct CompileOptions {
  std::string file = "-";
  OutputOptions output; // the file is for the compiled form, never for the JSON object
};
int runCompile(const CompileOptions& options);

struct IncludesOptions {
  std::string a;
  std::string b;
  bool explain = false;
  OutputOptions output;
};
int runIncludes(const IncludesOptions& options);

struct CallOptions {
  std::string verb;
  std::string path;
  std::optional<std::string> data;
  bool legacy = false;
  OutputOptions output;
};
int runCall(const CallOptions& options);

struct IdsOptions {
  std::vector<std::string> ids;
  OutputOptions output;
};
int runIds(const IdsOptions& options);

struct StylesheetOptions {
  bool print = false;
  OutputOptions output;
};
int runStylesheet(const StylesheetOptions& options);

struct StylesheetCheckOptions {
  std::string file;
  bool isForServer = false;
  OutputOptions output;
};
int runStylesheetCheck(const StylesheetCheckOptions& options);

struct TraceOptions {
  std::string file = "-";
  bool isOfFailures = false;
  bool isFull = false;
  OutputOptions output;
};
int runTrace(const TraceOptions& options);

struct DoctorOptions {
  OutputOptions output;
};
int runDoctor(const DoctorOptions& options);

} // namespace zep::cli
