#include "AllocationWatch.h"

#include "ScriptedPlatform.h"

#include <algorithm>
#include <cstdlib>
#include <new>
#include <unordered_set>

namespace {

constexpr std::size_t mostNoted = 1024;

long aliveBlocks = 0;
long untilFailure = 0;
std::vector<const void*>* freed = nullptr; // has room for mostNoted

// ---- watch ----

bool isWatching = false;
long watchedCount = 0;
long firstFailure = 0;
bool failsOnward = false;

// While set, the list of blocks is at work, with allocations of its own.
bool isListing = false;

std::unordered_set<const void*>& watchedBlocks() {
  static auto* const blocks = new std::unordered_set<const void*>;
  return *blocks;
}

bool isWatched() {
  return isWatching && !isListing && !scripted::isBookkeeping();
}

bool mayTake() {
  if (!isWatched()) {
    return true;
  }
  ++watchedCount;
  return firstFailure == 0 || watchedCount < firstFailure || (watchedCount > firstFailure && !failsOnward);
}

void noteTaken(const void* block) {
  if (isWatched()) {
    isListing = true;
    watchedBlocks().insert(block);
    isListing = false;
  }
}

void noteGivenBack(const void* block) {
  if (!isListing) {
    isListing = true;
    watchedBlocks().erase(block);
    isListing = false;
  }
}

const scripted::MemoryWatch ofValueTypes = {mayTake, noteTaken, noteGivenBack};

// ---- the operators ----

void* allocate(std::size_t size) {
  if (untilFailure > 0 && --untilFailure == 0) {
    throw std::bad_alloc();
  }
  void* const block = mayTake() ? std::malloc(size == 0 ? 1 : size) : nullptr;
  if (block == nullptr) {
    throw std::bad_alloc();
  }
  ++aliveBlocks;
  noteTaken(block);
  return block;
}

void release(void* block) {
  if (block == nullptr) {
    return;
  }
  --aliveBlocks;
  if (freed != nullptr && freed->size() < mostNoted) {
    freed->push_back(block); // within its capacity
  }
  noteGivenBack(block);
  std::free(block);
}

} // namespace

void* operator new(std::size_t size) {
  return allocate(size);
}
void* operator new[](std::size_t size) {
  return allocate(size);
}
void operator delete(void* block) noexcept {
  release(block);
}
void operator delete[](void* block) noexcept {
  release(block);
}
void operator delete(void* block, std::size_t) noexcept {
  release(block);
}
void operator delete[](void* block, std::size_t) noexcept {
  release(block);
}

namespace allocations {

long alive() {
  return aliveBlocks;
}

void failAt(long nth) {
  untilFailure = nth;
}

Watch::Watch(long iFirstFailure, bool iFailsOnward) {
  watchedBlocks();
  watchedCount = 0;
  firstFailure = iFirstFailure;
  failsOnward = iFailsOnward;
  scripted::watchMemory(&ofValueTypes);
  isWatching = true;
}

// What was taken under it is still looked for when it is given back.
Watch::~Watch() {
  isWatching = false;
}

long Watch::Count() {
  return watchedCount;
}

long Watch::Alive() {
  return static_cast<long>(watchedBlocks().size());
}

FreedBlocks::FreedBlocks() {
  m_blocks.reserve(mostNoted);
  freed = &m_blocks;
}

FreedBlocks::~FreedBlocks() {
  freed = nullptr;
}

std::vector<int> FreedBlocks::PlacesOf(const std::vector<const void*>& known) const {
  std::vector<int> places;
  const std::vector<const void*> blocks = m_blocks;
  for (const void* block : blocks) {
    const auto place = std::find(known.begin(), known.end(), block);
    if (place != known.end()) {
      places.push_back(static_cast<int>(place - known.begin()));
    }
  }
  return places;
}

} // namespace allocations
