#include "ScriptedImports_win32.h"

#include <windows.h>

#include <cstddef>
#include <cstring>

namespace scripted {

namespace {

template <class T>
T* at(void* module, std::size_t offset) {
  return reinterpret_cast<T*>(static_cast<char*>(module) + offset);
}

void replace(void** place, void* function) {
  DWORD former = 0;
  if (VirtualProtect(place, sizeof *place, PAGE_READWRITE, &former) != 0) {
    *place = function;
    VirtualProtect(place, sizeof *place, former, &former);
  }
}

// The names that a module imports stand beside the addresses that the loader found for them.
void redirect(void* module, const IMAGE_IMPORT_DESCRIPTOR& imports, const char* wanted, void* function) {
  const auto* name = at<IMAGE_THUNK_DATA>(module, imports.OriginalFirstThunk);
  auto* address = at<IMAGE_THUNK_DATA>(module, imports.FirstThunk);
  for (; name->u1.AddressOfData != 0; ++name, ++address) {
    if (!IMAGE_SNAP_BY_ORDINAL(name->u1.Ordinal) &&
        std::strcmp(at<IMAGE_IMPORT_BY_NAME>(module, name->u1.AddressOfData)->Name, wanted) == 0) {
      replace(reinterpret_cast<void**>(&address->u1.Function), function);
    }
  }
}

void redirectIn(void* module, const char* name, void* function) {
  const auto* const headers =
      at<IMAGE_NT_HEADERS>(module, static_cast<std::size_t>(at<IMAGE_DOS_HEADER>(module, 0)->e_lfanew));
  const auto& directory = headers->OptionalHeader.DataDirectory[IMAGE_DIRECTORY_ENTRY_IMPORT];
  for (const auto* imports = at<IMAGE_IMPORT_DESCRIPTOR>(module, directory.VirtualAddress);
       imports->OriginalFirstThunk != 0; ++imports) {
    redirect(module, *imports, name, function);
  }
}

} // namespace

void redirectImports(const char* name, void* function) {
  redirectIn(GetModuleHandleA(nullptr), name, function);
  if (void* const library = GetModuleHandleA("libZEPCfgCommonServices.dll")) {
    redirectIn(library, name, function);
  }
}

} // namespace scripted
