#include "FailingNew.h"

#include <cstdlib>
#include <new>

namespace {

thread_local long untilFailure = 0;
thread_local bool failsOn = false;
thread_local bool failed = false;

void* allocate(std::size_t size) {
  if (untilFailure > 0 && --untilFailure == 0) {
    failed = true;
    untilFailure = failsOn ? 1 : 0;
    throw std::bad_alloc();
  }
  void* const block = std::malloc(size == 0 ? 1 : size);
  if (block == nullptr) {
    throw std::bad_alloc();
  }
  return block;
}

void* allocateOrNull(std::size_t size) noexcept {
  try {
    return allocate(size);
  } catch (const std::bad_alloc&) {
    return nullptr;
  }
}

} // namespace

void* operator new(std::size_t size) {
  return allocate(size);
}
void* operator new[](std::size_t size) {
  return allocate(size);
}
void* operator new(std::size_t size, const std::nothrow_t& /*tag*/) noexcept {
  return allocateOrNull(size);
}
void* operator new[](std::size_t size, const std::nothrow_t& /*tag*/) noexcept {
  return allocateOrNull(size);
}
void operator delete(void* block) noexcept {
  std::free(block);
}
void operator delete[](void* block) noexcept {
  std::free(block);
}
void operator delete(void* block, std::size_t) noexcept {
  std::free(block);
}
void operator delete[](void* block, std::size_t) noexcept {
  std::free(block);
}

namespace allocations {

void failAt(long nth) {
  untilFailure = nth;
  failsOn = failed = false;
}

void failFrom(long nth) {
  failAt(nth);
  failsOn = true;
}

bool hasFailed() {
  return failed;
}

} // namespace allocations
