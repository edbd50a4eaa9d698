#pragma once

#include "ZEPPlatformExport.h"

#include <cstddef>
#include <string>
#include <vector>

// This process as its system sees it.
namespace scripted {

// Paths of the files in its memory that are programs or libraries and hold `part`, each once.
ZEP_PLATFORM_API std::vector<std::string> loadedFiles(const std::string& part);

// A library that is loaded as long as this lives.
class ZEP_PLATFORM_API LoadedFile {
public:
  explicit LoadedFile(const std::string& path);
  ~LoadedFile();
  LoadedFile(const LoadedFile&) = delete;
  LoadedFile& operator=(const LoadedFile&) = delete;

  const std::string& Problem() const { return m_problem; } // empty: it is loaded
  void* Symbol(const char* name) const;                    // null: there is none

private:
  void* m_handle;
  std::string m_problem;
};

// Bytes that the C library has given out and not taken back.
ZEP_PLATFORM_API std::size_t memoryInUse();

} // namespace scripted
