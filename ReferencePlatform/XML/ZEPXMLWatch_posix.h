#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>

namespace zep {

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
