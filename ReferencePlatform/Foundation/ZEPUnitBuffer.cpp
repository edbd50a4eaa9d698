#include "ZEPUnitBuffer.h"

#include <cstdint>
#include <cstdlib>
#include <new>

#if defined(__linux__)
#include <sys/mman.h>
#include <unistd.h>
#endif

namespace zep {
namespace {

std::size_t ByteCountFor(std::size_t capacity) {
  return sizeof(UnitBufferHeader) + (capacity + 1) * sizeof(char16_t);
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
  auto* const header = static_cast<UnitBufferHeader*>(memory);
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

void FreeUnits(char16_t* units) {
  std::free(HeaderOf(units));
}

} // namespace zep
