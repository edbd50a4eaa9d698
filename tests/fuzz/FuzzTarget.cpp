#include "FuzzTarget.h"

#include <cstdlib>
#include <fstream>
#include <iostream>
#include <stdexcept>
#include <system_error>

namespace fuzz {
namespace {

constexpr std::string_view kSeparator = "====\n";

bool IsSurrogate(char16_t unit, char16_t first) {
  return unit >= first && unit < first + 0x400;
}

} // namespace

void Require(bool holds, const char* promise) {
  if (!holds) {
    // The engine shows of what a child process writes the lines with this word.
    std::cerr << "ERROR: broken promise: " << promise << std::endl;
    std::abort();
  }
}

Parts SplitInput(std::string_view input) {
  std::size_t at = input.find(kSeparator);
  while (at != std::string_view::npos && at > 0 && input[at - 1] != '\n') {
    at = input.find(kSeparator, at + 1);
  }
  if (at == std::string_view::npos) {
    return {input, {}, false};
  }
  // The line end in front belongs to the separator.
  return {input.substr(0, at > 0 ? at - 1 : 0), input.substr(at + kSeparator.size()), true};
}

ZEPUnicodeString Text(std::string_view utf8) {
  ZEPUnicodeString text;
  text.BuildFromUTF8(utf8.data(), utf8.size());
  return text;
}

bool IsWellFormed(const ZEPUnicodeString& text) {
  const std::u16string_view units(text.CastToUnitPtr(), static_cast<std::size_t>(text.GetLengthInChar()));
  for (std::size_t i = 0; i < units.size(); ++i) {
    if (IsSurrogate(units[i], 0xDC00)) {
      return false;
    }
    if (IsSurrogate(units[i], 0xD800) && (++i == units.size() || !IsSurrogate(units[i], 0xDC00))) {
      return false;
    }
  }
  return true;
}

ScratchFolder::ScratchFolder() {
  std::string pattern = (std::filesystem::temp_directory_path() / "zep-fuzz-XXXXXX").string();
  if (mkdtemp(pattern.data()) == nullptr) {
    throw std::runtime_error("no temporary folder");
  }
  m_path = pattern;
}

ScratchFolder::~ScratchFolder() {
  std::error_code ignored;
  std::filesystem::remove_all(m_path, ignored);
}

std::string ScratchFolder::Path(const std::string& name) const {
  return (name.empty() ? m_path : m_path / name).string();
}

void ScratchFolder::Write(const std::string& name, std::string_view content) const {
  std::ofstream file(Path(name), std::ios::binary | std::ios::trunc);
  file.write(content.data(), static_cast<std::streamsize>(content.size()));
  file.close();
  if (!file) {
    throw std::runtime_error("a file of the target cannot be written");
  }
}

void SetEnvironment(std::initializer_list<Variable> variables) {
  for (const char* const name : {"ZEP_TRACE", "ZEP_TRACE_FILE", "ZEP_URL", "ZEP_CONTEXT", "ZEP_BRANCHING",
                                 "ZEP_SETTINGS_DIR", "ZEPInstallPath", "CFG_OldCallWebService"}) {
    unsetenv(name);
  }
  for (const auto& [name, value] : variables) {
    setenv(name, value.c_str(), 1);
  }
}

} // namespace fuzz
