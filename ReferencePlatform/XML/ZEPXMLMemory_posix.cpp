#include "ZEPXMLMemory_posix.h"

#include <algorithm>
#include <atomic>
#include <charconv>
#include <cstdint>
#include <cstring>
#include <fcntl.h>
#include <pthread.h>
#include <time.h>
#include <unistd.h>

namespace zep {
namespace {

constexpr std::chrono::milliseconds kBetweenLooks(20);
constexpr std::size_t kMaxStackReserve = std::size_t{1} << 20;

std::atomic<std::size_t> running{0};

// 0 where the system does not tell: then nothing is ever over.
std::size_t ResidentBytes() {
  const int descriptor = open("/proc/self/statm", O_RDONLY | O_CLOEXEC);
  if (descriptor < 0) {
    return 0;
  }
  char text[128] = {};
  const ssize_t count = read(descriptor, text, sizeof text - 1);
  close(descriptor);
  const char* const second = count > 0 ? std::strchr(text, ' ') : nullptr;
  std::size_t pages = 0;
  if (second != nullptr) {
    std::from_chars(second + 1, text + count, pages);
  }
  static const auto pageBytes = static_cast<std::size_t>(sysconf(_SC_PAGESIZE));
  return pages * pageBytes;
}

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

XMLMemoryWatch::XMLMemoryWatch(std::size_t maxBytes)
    : m_maxBytes(maxBytes),
      m_nextLook(std::chrono::steady_clock::now() + kBetweenLooks) {
  ++running;
}

XMLMemoryWatch::~XMLMemoryWatch() {
  --running;
}

bool XMLMemoryWatch::IsOver(std::chrono::steady_clock::time_point now) {
  if (now < m_nextLook) {
    return false;
  }
  m_nextLook = now + kBetweenLooks;
  const std::size_t bytes = ResidentBytes();
  if (m_bytesAtFirstLook == 0) {
    m_bytesAtFirstLook = bytes;
  }
  return bytes > m_bytesAtFirstLook && (bytes - m_bytesAtFirstLook) / running > m_maxBytes;
}

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
