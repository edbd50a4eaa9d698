#pragma once

#include <cstddef>
#include <cstring>
#include <stdexcept>
#include <string>

#include <sys/mman.h>
#include <unistd.h>

// Memory behind which lies a page that may not be touched: code that reads or writes one unit too
// far ends the process.
template <class Unit>
class GuardedMemory {
public:
  explicit GuardedMemory(std::size_t capacity) {
    const auto pageSize = static_cast<std::size_t>(sysconf(_SC_PAGESIZE));
    const std::size_t pages = (capacity * sizeof(Unit) + pageSize - 1) / pageSize;
    m_byteCount = (pages + 1) * pageSize;
    m_memory = mmap(nullptr, m_byteCount, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
    if (m_memory == MAP_FAILED) {
      throw std::runtime_error("no memory for a guarded buffer");
    }
    char* const guard = static_cast<char*>(m_memory) + pages * pageSize;
    if (mprotect(guard, pageSize, PROT_NONE) != 0) {
      throw std::runtime_error("a page cannot be guarded");
    }
    m_end = reinterpret_cast<Unit*>(guard);
  }
  ~GuardedMemory() { munmap(m_memory, m_byteCount); }
  GuardedMemory(const GuardedMemory&) = delete;
  GuardedMemory& operator=(const GuardedMemory&) = delete;

  // Room for that many units, right in front of the guard.
  Unit* Last(std::size_t count) const { return m_end - count; }
  // The text's units, right in front of the guard. REQUIRES: no more than the capacity.
  Unit* EndingWith(const std::basic_string<Unit>& text) const {
    Unit* const place = Last(text.size());
    if (!text.empty()) {
      std::memcpy(place, text.data(), text.size() * sizeof(Unit));
    }
    return place;
  }

private:
  void* m_memory;
  std::size_t m_byteCount;
  Unit* m_end;
};
