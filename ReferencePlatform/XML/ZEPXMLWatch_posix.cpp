#include "ZEPXMLWatch_posix.h"

#include <algorithm>
#include <cstdint>
#include <pthread.h>
#include <time.h>

namespace zep {
namespace {

constexpr std::size_t kMaxStackReserve = std::size_t{1} << 20;

struct Stack {
  std::uintptr_t lowest = 0;
  std::size_t bytes = 0;
};

Stack FindStack() {
  Stack stack;
  pthread_attr_t attributes;
  if (pthread_getattr_np(pthread_self(), &attributes) == 0) {
    void* lowest = nullptr;
    if (pthread_attr_getstack(&attributes, &lowest, &stack.bytes) == 0) {
      stack.lowest = reinterpret_cast<std::uintptr_t>(lowest);
    }
    pthread_attr_destroy(&attributes);
  }
  return stack;
}

} // namespace

XMLStackWatch::XMLStackWatch() {
  thread_local const Stack stack = FindStack(); // slow on the first thread of a process
  if (stack.bytes != 0) {
    m_lowest = stack.lowest;
    m_enough = stack.lowest + std::min(kMaxStackReserve, stack.bytes / 2);
  }
}

std::chrono::steady_clock::time_point XMLQuickNow() {
#ifdef CLOCK_MONOTONIC_COARSE
  timespec now;
  if (clock_gettime(CLOCK_MONOTONIC_COARSE, &now) == 0) {
    return std::chrono::steady_clock::time_point(std::chrono::seconds(now.tv_sec) +
                                                 std::chrono::nanoseconds(now.tv_nsec));
  }
#endif
  return std::chrono::steady_clock::now();
}

} // namespace zep
