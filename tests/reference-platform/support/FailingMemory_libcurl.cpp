#include "FailingMemory.h"

#include <curl/curl.h>

#include <cstdlib>
#include <cstring>
#include <new>
#include <stdexcept>

namespace {

using memory::Course;
using memory::Source;

struct Plan {
  long untilFailure = 0; // 0: none fails
  Source source = Source::Both;
  Course course = Course::Once;
  long failures = 0;
};

thread_local Plan plan;
thread_local long heldOfNew = 0;
thread_local long heldOfCurl = 0;

bool Fails(Source source) {
  if (plan.untilFailure == 0 || (plan.source != Source::Both && plan.source != source)) {
    return false;
  }
  if (plan.untilFailure > 1) {
    --plan.untilFailure;
    return false;
  }
  plan.untilFailure = plan.course == Course::Once ? 0 : 1;
  ++plan.failures;
  return true;
}

void* CurlMalloc(std::size_t size) {
  void* const block = Fails(Source::Curl) ? nullptr : std::malloc(size);
  heldOfCurl += block != nullptr ? 1 : 0;
  return block;
}

void CurlFree(void* block) {
  heldOfCurl -= block != nullptr ? 1 : 0;
  std::free(block);
}

void* CurlRealloc(void* block, std::size_t size) {
  if (Fails(Source::Curl)) {
    return nullptr;
  }
  void* const other = std::realloc(block, size);
  heldOfCurl += block == nullptr && other != nullptr ? 1 : 0;
  return other;
}

char* CurlStrdup(const char* text) {
  const std::size_t size = std::strlen(text) + 1;
  void* const block = CurlMalloc(size);
  return block != nullptr ? static_cast<char*>(std::memcpy(block, text, size)) : nullptr;
}

void* CurlCalloc(std::size_t count, std::size_t size) {
  void* const block = Fails(Source::Curl) ? nullptr : std::calloc(count, size);
  heldOfCurl += block != nullptr ? 1 : 0;
  return block;
}

void* Take(std::size_t size) {
  void* const block = Fails(Source::New) ? nullptr : std::malloc(size == 0 ? 1 : size);
  if (block == nullptr) {
    throw std::bad_alloc();
  }
  ++heldOfNew;
  return block;
}

void GiveBack(void* block) {
  heldOfNew -= block != nullptr ? 1 : 0;
  std::free(block);
}

} // namespace

void* operator new(std::size_t size) {
  return Take(size);
}
void* operator new[](std::size_t size) {
  return Take(size);
}
void operator delete(void* block) noexcept {
  GiveBack(block);
}
void operator delete[](void* block) noexcept {
  GiveBack(block);
}
void operator delete(void* block, std::size_t /*size*/) noexcept {
  GiveBack(block);
}
void operator delete[](void* block, std::size_t /*size*/) noexcept {
  GiveBack(block);
}

namespace memory {

void ServeCurl() {
  if (curl_global_init_mem(CURL_GLOBAL_DEFAULT, CurlMalloc, CurlFree, CurlRealloc, CurlStrdup, CurlCalloc) !=
      CURLE_OK) {
    throw std::runtime_error("libcurl cannot be initialised");
  }
}

void FailAt(long nth, Source source, Course course) {
  plan = {nth, source, course, 0};
}

long StopFailing() {
  plan.untilFailure = 0;
  return plan.failures;
}

long BlocksHeld(Source source) {
  return (source == Source::Curl ? 0 : heldOfNew) + (source == Source::New ? 0 : heldOfCurl);
}

} // namespace memory
