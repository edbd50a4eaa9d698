#include "ZEPFilePath.h"

#include "ZEPTranscoding.h"
#include "ZEPUnicodeString.h"

#include <algorithm>
#include <utility>

namespace zep {
namespace {

std::optional<FoundFile> FindExactly(std::string path) {
  FoundFile found{std::move(path), {}};
  if (stat(found.path.c_str(), &found.info) != 0) {
    return std::nullopt;
  }
  return found;
}

} // namespace

std::optional<FoundFile> FindFile(const ZEPUnicodeString& path) {
  std::string given = UTF8FromUTF16(path.CastToUnitPtr(), static_cast<std::size_t>(path.GetLengthInChar()));
  if (given.find('\0') != std::string::npos) {
    return std::nullopt;
  }
  std::optional<FoundFile> found = FindExactly(given);
  if (!found && given.find('\\') != std::string::npos) {
    std::replace(given.begin(), given.end(), '\\', '/');
    found = FindExactly(std::move(given));
  }
  return found;
}

} // namespace zep
