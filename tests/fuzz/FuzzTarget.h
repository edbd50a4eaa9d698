#pragma once

#include "ZEPUnicodeString.h"

#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <string>
#include <string_view>
#include <utility>

// One input of a target: runs it, and ends the process where a promise is broken. Each target defines it;
// the fuzzing engine calls it, and so does the replay program.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size);

namespace fuzz {

// What LLVMFuzzerTestOneInput passes on to.
inline std::string_view Bytes(const std::uint8_t* data, std::size_t size) {
  return {reinterpret_cast<const char*>(data), size};
}

// Ends the process with the message unless the promise holds.
void Require(bool holds, const char* promise);

// Two inputs in one: what stands in front of the first line "====", and what stands behind it. Without such
// a line the second one is missing.
struct Parts {
  std::string_view first;
  std::string_view second;
  bool areTwo;
};
Parts SplitInput(std::string_view input);

ZEPUnicodeString Text(std::string_view utf8);
// Whether every surrogate of the text has its other half.
bool IsWellFormed(const ZEPUnicodeString& text);

// What an output holds before the call that must not touch it.
inline constexpr const char* kUntouched = "untouched";

// A folder for the files of a target, removed at the end of the process.
class ScratchFolder {
public:
  ScratchFolder();
  ~ScratchFolder();
  ScratchFolder(const ScratchFolder&) = delete;
  ScratchFolder& operator=(const ScratchFolder&) = delete;

  std::string Path(const std::string& name = {}) const;
  // Replaces the file's content.
  void Write(const std::string& name, std::string_view content) const;

private:
  std::filesystem::path m_path;
};

// Sets environment variables when the target begins, so that none of the user's own is seen.
using Variable = std::pair<const char*, std::string>;
void SetEnvironment(std::initializer_list<Variable> variables);

} // namespace fuzz
