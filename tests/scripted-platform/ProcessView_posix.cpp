#include "ProcessView.h"

#include <dlfcn.h>
#include <malloc.h>

#include <fstream>
#include <set>

namespace scripted {

std::vector<std::string> loadedFiles(const std::string& part) {
  std::ifstream maps("/proc/self/maps");
  std::set<std::string> files;
  for (std::string line; std::getline(maps, line);) {
    const std::size_t path = line.find('/');
    if (path != std::string::npos && line.find(part, path) != std::string::npos) {
      files.insert(line.substr(path));
    }
  }
  return {files.begin(), files.end()};
}

LoadedFile::LoadedFile(const std::string& path) : m_handle(dlopen(path.c_str(), RTLD_NOW | RTLD_LOCAL)) {
  if (m_handle == nullptr) {
    m_problem = dlerror();
  }
}

LoadedFile::~LoadedFile() {
  if (m_handle != nullptr) {
    dlclose(m_handle);
  }
}

void* LoadedFile::Symbol(const char* name) const {
  return dlsym(m_handle, name);
}

std::size_t memoryInUse() {
  const auto info = mallinfo2();
  return info.uordblks + info.hblkhd;
}

} // namespace scripted
