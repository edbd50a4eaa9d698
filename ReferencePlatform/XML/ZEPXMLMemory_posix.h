#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>

namespace zep {

// How much memory the process has taken since an object of this class first looked, which is 20 ms
// after it was made: short work, which is most, never asks the system. libxml2 keeps one
// allocator for the process, so the memory of one thread cannot be told from that of others: each
// transformation that runs adds its own share to what is allowed.
class XMLMemoryWatch {
public:
  explicit XMLMemoryWatch(std::size_t maxBytes);
  ~XMLMemoryWatch();
  XMLMemoryWatch(const XMLMemoryWatch&) = delete;
  XMLMemoryWatch& operator=(const XMLMemoryWatch&) = delete;

  // Called often: looks only now and then. Does not throw.
  bool IsOver(std::chrono::steady_clock::time_point now);

private:
  std::size_t m_maxBytes;
  std::size_t m_bytesAtFirstLook = 0;
  std::chrono::steady_clock::time_point m_nextLook;
};

// Whether the stack of the thread that made it has room left for what libxslt and libxml2 do between
// two looks.
class XMLStackWatch {
public:
  XMLStackWatch();

  bool IsOver() const {
    const auto here = reinterpret_cast<std::uintptr_t>(__builtin_frame_address(0));
    // Outside is a stack of the host's own making.
    return here >= m_lowest && here <= m_enough;
  }

  std::size_t Reserve() const { return m_enough - m_lowest; }

private:
  std::uintptr_t m_lowest = 1;
  std::uintptr_t m_enough = 0;
};

// A clock that is looked at before each instruction: a few milliseconds late, and a fifth as dear as
// the exact one.
std::chrono::steady_clock::time_point XMLQuickNow();

} // namespace zep
