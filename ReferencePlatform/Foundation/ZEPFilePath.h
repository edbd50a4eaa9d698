#pragma once

#include <optional>
#include <string>
#include <sys/stat.h>

class ZEPUnicodeString;

namespace zep {

struct FoundFile {
  std::string path; // the form under which it exists
  struct stat info;
};

// What `path` names: as given or, where that does not exist, with each backslash turned into a
// slash. Nothing for an empty path and for one that holds a NUL character.
std::optional<FoundFile> FindFile(const ZEPUnicodeString& path);

} // namespace zep
