#include "ProcessView.h"

#include <malloc.h>
#include <windows.h>

#include <psapi.h>

#include <algorithm>

namespace scripted {

std::vector<std::string> loadedFiles(const std::string& part) {
  std::vector<HMODULE> modules(1024);
  DWORD bytes = 0;
  K32EnumProcessModules(GetCurrentProcess(), modules.data(),
                        static_cast<DWORD>(modules.size() * sizeof(HMODULE)), &bytes);
  modules.resize(std::min(modules.size(), bytes / sizeof(HMODULE)));
  std::vector<std::string> files;
  for (const HMODULE module : modules) {
    std::string path(MAX_PATH, '\0');
    path.resize(GetModuleFileNameA(module, path.data(), MAX_PATH));
    std::replace(path.begin(), path.end(), '\\', '/');
    if (path.find(part) != std::string::npos) {
      files.push_back(path);
    }
  }
  return files;
}

LoadedFile::LoadedFile(const std::string& path) : m_handle(LoadLibraryA(path.c_str())) {
  if (m_handle == nullptr) {
    m_problem = "error " + std::to_string(GetLastError());
  }
}

LoadedFile::~LoadedFile() {
  if (m_handle != nullptr) {
    FreeLibrary(static_cast<HMODULE>(m_handle));
  }
}

void* LoadedFile::Symbol(const char* name) const {
  return reinterpret_cast<void*>(GetProcAddress(static_cast<HMODULE>(m_handle), name));
}

std::size_t memoryInUse() {
  std::size_t bytes = 0;
  _HEAPINFO block = {};
  while (_heapwalk(&block) == _HEAPOK) {
    bytes += block._useflag == _USEDENTRY ? block._size : 0;
  }
  return bytes;
}

} // namespace scripted
