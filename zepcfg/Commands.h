#pragma once

#include <optional>
#include <string>

// The commands. Each returns the exit code, or throws CommandFailure.
namespace zep::cli {

struct OutputOptions {
  bool json = false;
  std::string file; // empty or "-": standard output
};

struct FormatOptions {
  std::string file = "-";
  std::optional<std::string> stylesheet;
  bool compact = false;
  OutputOptions output;
};
int runFormat(const FormatOptions& options);

struct CallOptions {
  std::string verb;
  std::string path;
  std::optional<std::string> data;
  bool legacy = false;
  OutputOptions output;
};
int runCall(const CallOptions& options);

struct StylesheetOptions {
  bool print = false;
  OutputOptions output;
};
int runStylesheet(const StylesheetOptions& options);

struct StylesheetCheckOptions {
  std::string file;
  OutputOptions output;
};
int runStylesheetCheck(const StylesheetCheckOptions& options);

struct DoctorOptions {
  OutputOptions output;
};
int runDoctor(const DoctorOptions& options);

} // namespace zep::cli
