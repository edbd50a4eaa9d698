#include "ZEPUnitBuffer.h"

#include <atomic>
#include <cstdint>
#include <cstdlib>
#include <new>

#if defined(__linux__)
#include <sys/mman.h>
#include <unistd.h>
#endif

namespace zep {
namespace {

// Stands in front of the units.
struct Header {
  int owners;
  std::size_t capacity;
};

Header* HeaderOf(const char16_t* units) {
  return reinterpret_cast<Header*>(const_cast<char16_t*>(units)) - 1;
}

std::atomic_ref<int> OwnersOf(const char16_t* units) {
  return std::atomic_ref<int>(HeaderOf(units)->owners);
}

std::size_t ByteCountFor(std::size_t capacity) {
  return sizeof(Header) + (capacity + 1) * sizeof(char16_t);
}

// Memory that comes fresh from the system is given page by page, which for a long text costs more
// than writing it. In larger pages it does not.
void AskForLargePages([[maybe_unused]] void* memory, [[maybe_unused]] std::size_t byteCount) {
#if defined(MADV_HUGEPAGE)
  constexpr std::size_t kWorthIt = std::size_t{4} << 20;
  if (byteCount < kWorthIt) {
    return;
  }
  const auto pageSize = static_cast<std::uintptr_t>(sysconf(_SC_PAGESIZE));
  const auto begin = reinterpret_cast<std::uintptr_t>(memory);
  const std::uintptr_t firstPage = (begin + pageSize - 1) / pageSize * pageSize;
  const std::uintptr_t lastPage = (begin + byteCount) / pageSize * pageSize;
  // Only advice: that it was not taken changes nothing.
  static_cast<void>(madvise(reinterpret_cast<void*>(firstPage), lastPage - firstPage, MADV_HUGEPAGE));
#endif
}

char16_t* UnitsIn(void* memory, std::size_t capacity) {
  if (memory == nullptr) {
    throw std::bad_alloc();
  }
  AskForLargePages(memory, ByteCountFor(capacity));
  auto* const header = static_cast<Header*>(memory);
  header->capacity = capacity;
  return reinterpret_cast<char16_t*>(header + 1);
}

} // namespace

char16_t* NewUnits(std::size_t capacity) {
  char16_t* const units = UnitsIn(std::malloc(ByteCountFor(capacity)), capacity);
  HeaderOf(units)->owners = 1;
  return units;
}

char16_t* ResizedUnits(char16_t* units, std::size_t capacity) {
  return UnitsIn(std::realloc(HeaderOf(units), ByteCountFor(capacity)), capacity);
}

std::size_t CapacityOf(const char16_t* units) {
  return HeaderOf(units)->capacity;
}

bool HasSoleOwner(const char16_t* units) {
  return OwnersOf(units).load(std::memory_order_acquire) == 1;
}

void HoldUnits(char16_t* units) {
  OwnersOf(units).fetch_add(1, std::memory_order_relaxed);
}

void LetGoOfUnits(char16_t* units) {
  // A sole owner needs no atomic step: nobody else can come to own what only it can hand on.
  if (HasSoleOwner(units) || OwnersOf(units).fetch_sub(1, std::memory_order_acq_rel) == 1) {
    std::free(HeaderOf(units));
  }
}

} // namespace zep
