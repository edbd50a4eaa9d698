#include "ScriptedPlatform.h"

#include <atomic>
#include <cstddef>

// The linker sends the calls of the C library's functions in this shared object to the functions
// here, which let a test watch them. The names are the linker's.

namespace {

constinit std::atomic<const scripted::MemoryWatch*> theWatch = nullptr;

} // namespace

void scripted::watchMemory(const MemoryWatch* watch) {
  theWatch = watch;
}

// NOLINTBEGIN(bugprone-reserved-identifier)
extern "C" {

void* __real_malloc(std::size_t size);
void* __real_realloc(void* block, std::size_t size);
void __real_free(void* block);

void* __wrap_malloc(std::size_t size) {
  const scripted::MemoryWatch* const watch = theWatch;
  if (watch == nullptr) {
    return __real_malloc(size);
  }
  if (!watch->mayTake()) {
    return nullptr;
  }
  void* const block = __real_malloc(size);
  watch->taken(block);
  return block;
}

// What could not be resized stays as it is.
void* __wrap_realloc(void* block, std::size_t size) {
  const scripted::MemoryWatch* const watch = theWatch;
  if (watch == nullptr) {
    return __real_realloc(block, size);
  }
  if (!watch->mayTake()) {
    return nullptr;
  }
  watch->givenBack(block);
  void* const resized = __real_realloc(block, size);
  watch->taken(resized);
  return resized;
}

void __wrap_free(void* block) {
  const scripted::MemoryWatch* const watch = theWatch;
  if (watch != nullptr) {
    watch->givenBack(block);
  }
  __real_free(block);
}
}
// NOLINTEND(bugprone-reserved-identifier)
