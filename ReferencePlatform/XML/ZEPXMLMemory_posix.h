#pragma once

#include <chrono>
#include <cstddef>

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

// Whether this thread's stack has room left for what libxslt and libxml2 do between two looks.
bool HasStackLeft();

} // namespace zep
