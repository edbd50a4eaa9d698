#include "AllocationWatch.h"

#include <algorithm>
#include <cstdlib>
#include <new>

namespace {

constexpr std::size_t mostNoted = 1024;

long aliveBlocks = 0;
long untilFailure = 0;
bool failsOn = false;
bool failed = false;
std::vector<const void*>* freed = nullptr; // has room for mostNoted

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
  ++aliveBlocks;
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
  failsOn = failed = false;
}

void failFrom(long nth) {
  failAt(nth);
  failsOn = true;
}

bool hasFailed() {
  return failed;
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
