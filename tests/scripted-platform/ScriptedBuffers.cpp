#include "ScriptedState.h"

#include <array>
#include <atomic>
#include <cstdlib>
#include <cstring>

// Buffers that belong to the caller come back through the C library's free(). Every call of free()
// is seen here, either because this object's free() stands before the C library's, or through the
// sanitizer's hooks, or, on Windows, because the imports of free() are turned to this object's,
// so that it is known which buffers were given back, and that none was twice.
// Under valgrind no call is seen here; it reports both by itself.

#if defined(_WIN32)
#include "ScriptedImports_win32.h"
#elif defined(SCRIPTED_UNDER_ASAN)
// Declared here because not every compiler comes with the header.
extern "C" int __sanitizer_install_malloc_and_free_hooks( // NOLINT(bugprone-reserved-identifier)
    void (*onMalloc)(const volatile void*, std::size_t), void (*onFree)(const volatile void*));
#endif

namespace scripted {

namespace {

// No allocation may happen while a free() is looked at, so the places are fixed in number.
struct Buffer {
  std::atomic<void*> address{nullptr};
  std::atomic<int> timesFreed{0};
};

constexpr std::size_t maxBuffers = 4096;
std::array<Buffer, maxBuffers> buffers;
std::atomic<std::size_t> bufferCount{0};

Buffer* findBuffer(const void* address) {
  for (std::size_t i = bufferCount.load(); i-- > 0;) {
    if (buffers[i].address.load() == address) {
      return &buffers[i];
    }
  }
  return nullptr;
}

// True when the address is one that was handed out.
bool noteFree(const volatile void* address) {
  if (address == nullptr || bufferCount.load() == 0) {
    return false;
  }
  Buffer* const buffer = findBuffer(const_cast<const void*>(address));
  if (buffer == nullptr) {
    return false;
  }
  ++buffer->timesFreed;
#if defined(SCRIPTED_UNDER_ASAN)
  buffer->address = nullptr; // the address may be used again from now on
#endif
  return true;
}

#if defined(_WIN32)
void watchedFree(void* address) {
  if (!noteFree(address)) {
    std::free(address);
  }
}

void watchFree() {
  redirectImports("free", reinterpret_cast<void*>(watchedFree));
}
#elif defined(SCRIPTED_UNDER_ASAN)
void watchFree() {
  static const int installed = __sanitizer_install_malloc_and_free_hooks(
      [](const volatile void*, std::size_t) {}, [](const volatile void* address) { noteFree(address); });
  static_cast<void>(installed);
}
#else
void watchFree() {}
#endif

} // namespace

#if !defined(SCRIPTED_UNDER_ASAN) && !defined(_WIN32)
extern "C" void __libc_free(void* address); // NOLINT(bugprone-reserved-identifier)

// A buffer that was handed out stays allocated until the test is over, so that its address is not
// used again and a second free() of it is known for what it is.
extern "C" ZEP_PLATFORM_API void free(void* address) noexcept {
  if (!noteFree(address)) {
    __libc_free(address);
  }
}
#endif

bool runsUnderValgrind() {
  const char* const preloaded = std::getenv("LD_PRELOAD");
  return preloaded != nullptr && std::strstr(preloaded, "vgpreload") != nullptr;
}

char* handOut(const std::string& bytes) {
  const Lock lock(State::Get().mutex);
  watchFree();
  const std::size_t place = bufferCount.load();
  if (place == maxBuffers) {
    reportMisuse("more buffers handed out in one test than can be watched");
    return nullptr;
  }
  auto* const address = static_cast<char*>(std::malloc(bytes.size()));
  if (address == nullptr && !bytes.empty()) {
    throw std::bad_alloc();
  }
  std::memcpy(address, bytes.data(), bytes.size());
  if (runsUnderValgrind()) {
    return address;
  }
  buffers[place].timesFreed = 0;
  buffers[place].address = address;
  bufferCount = place + 1;
  return address;
}

std::string bufferProblems() {
  std::string problems;
  for (std::size_t i = 0; i < bufferCount.load(); ++i) {
    const int timesFreed = buffers[i].timesFreed.load();
    if (timesFreed == 0) {
      problems += "buffer " + std::to_string(i + 1) + " was not freed\n";
    } else if (timesFreed > 1) {
      problems += "buffer " + std::to_string(i + 1) + " was freed " + std::to_string(timesFreed) + " times\n";
    }
  }
  return problems;
}

void forgetBuffers() {
  const std::size_t count = bufferCount.exchange(0);
  for (std::size_t i = 0; i < count; ++i) {
    void* const address = buffers[i].address.exchange(nullptr);
#if defined(_WIN32)
    std::free(address);
#elif defined(SCRIPTED_UNDER_ASAN)
    if (buffers[i].timesFreed.load() == 0) {
      std::free(address);
    }
#else
    __libc_free(address);
#endif
  }
}

} // namespace scripted
