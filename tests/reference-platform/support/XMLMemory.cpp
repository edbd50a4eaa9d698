#include "XMLMemory.h"

#include <cstdlib>
#include <cstring>
#include <functional>
#include <mutex>
#include <unordered_set>

#include <libxml/xmlmemory.h>

namespace {

std::mutex mutex;
long requestCount = 0;
long untilFailure = 0;
bool failsOn = false;
bool failed = false;

// Not from operator new, which a test may make fail as well.
template <class Value>
struct MallocAllocator {
  using value_type = Value;
  MallocAllocator() = default;
  template <class Other>
  explicit MallocAllocator(const MallocAllocator<Other>&) {}
  Value* allocate(std::size_t count) { return static_cast<Value*>(std::malloc(count * sizeof(Value))); }
  void deallocate(Value* values, std::size_t) { std::free(values); }
  bool operator==(const MallocAllocator&) const { return true; }
};
using Blocks =
    std::unordered_set<const void*, std::hash<const void*>, std::equal_to<>, MallocAllocator<const void*>>;

Blocks& blocks() {
  static auto* const all = new Blocks(); // in use until the end of the process
  return *all;
}

bool isToFail() {
  ++requestCount;
  if (untilFailure == 0 || --untilFailure != 0) {
    return false;
  }
  failed = true;
  untilFailure = failsOn ? 1 : 0;
  return true;
}

void* noted(void* block) {
  if (block != nullptr) {
    blocks().insert(block);
  }
  return block;
}

void release(void* block) {
  const std::lock_guard<std::mutex> lock(mutex);
  if (block != nullptr && blocks().erase(block) == 0) {
    std::abort(); // freed twice, or not from here
  }
  std::free(block);
}

void* allocate(std::size_t bytes) {
  const std::lock_guard<std::mutex> lock(mutex);
  return isToFail() ? nullptr : noted(std::malloc(bytes));
}

void* reallocate(void* block, std::size_t bytes) {
  const std::lock_guard<std::mutex> lock(mutex);
  if (isToFail()) {
    return nullptr;
  }
  blocks().erase(block);
  return noted(std::realloc(block, bytes));
}

char* duplicate(const char* text) {
  void* const copy = allocate(std::strlen(text) + 1);
  return copy == nullptr ? nullptr : std::strcpy(static_cast<char*>(copy), text);
}

const int isSetUp = xmlMemSetup(release, allocate, reallocate, duplicate);

} // namespace

namespace memory {

long requests() {
  const std::lock_guard<std::mutex> lock(mutex);
  return requestCount;
}

long alive() {
  const std::lock_guard<std::mutex> lock(mutex);
  return isSetUp == 0 ? static_cast<long>(blocks().size()) : -1;
}

bool isAlive(const void* block) {
  const std::lock_guard<std::mutex> lock(mutex);
  return blocks().count(block) != 0;
}

void failAt(long nth, bool andAllBehind) {
  const std::lock_guard<std::mutex> lock(mutex);
  untilFailure = nth;
  failsOn = andAllBehind;
  failed = false;
}

bool hasFailed() {
  const std::lock_guard<std::mutex> lock(mutex);
  return failed;
}

} // namespace memory
