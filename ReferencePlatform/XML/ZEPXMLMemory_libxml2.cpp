#include "ZEPXMLMemory_libxml2.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <dlfcn.h>
#include <limits>
#include <mutex>
#include <new>
#include <string_view>
#include <utility>

#include <libxml/globals.h>

namespace zep {
namespace {

constexpr char kOverLimit[] = "more memory is needed than ZEP_XSLT_MAX_MEMORY_BYTES allows";
constexpr char kShort[] = "out of memory";
constexpr std::int64_t kNothingLeft = std::numeric_limits<std::int64_t>::min() / 2; // whatever is given back
constexpr std::int64_t kBytesBetweenLooksAtTheClock = 16384;
constexpr std::int64_t kEverything = std::numeric_limits<std::int64_t>::max() / 2;
constexpr std::size_t kMaxBytes = std::numeric_limits<std::size_t>::max() / 4; // sums do not overflow

// Asked for each block, also by a host that has nothing to do with us.
__attribute__((tls_model("initial-exec"))) thread_local XMLMemory* currentMemory = nullptr;

// ---- for tools ---------------------------------------------------------------------------------

// A tool that looks for errors in the use of memory has to see each block.
bool IsForTools() {
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
  return true;
#else
#if defined(__has_feature)
#if __has_feature(address_sanitizer) || __has_feature(thread_sanitizer) || __has_feature(memory_sanitizer)
  return true;
#endif
#endif
  static const bool isPlain = [] {
    const char* const value = std::getenv("ZEP_XML_MEMORY");
    return value != nullptr && std::string_view(value) == "plain";
  }();
  return isPlain;
#endif
}

// There, the blocks that come from elsewhere are all, and what a call leaves may be made larger by another.
class SharedBlocks {
public:
  void Remember(void* memory, std::size_t bytes) {
    const std::lock_guard<std::mutex> lock(m_mutex);
    m_blocks.insert_or_assign(memory, bytes);
  }
  std::size_t Forget(void* memory) {
    const std::lock_guard<std::mutex> lock(m_mutex);
    const auto found = m_blocks.find(memory);
    return found == m_blocks.end() ? 0 : m_blocks.extract(found).mapped();
  }

private:
  std::mutex m_mutex;
  XMLForeignBlocks m_blocks;
};

SharedBlocks& PlainBlocks() {
  static auto* const blocks = new SharedBlocks(); // in use until the end of the process
  return *blocks;
}

// ---- libxml2's functions -----------------------------------------------------------------------

// Those that were there before ours.
struct MemoryFunctions {
  xmlFreeFunc free;
  xmlMallocFunc malloc;
  xmlMallocFunc mallocAtomic;
  xmlReallocFunc realloc;
  xmlStrdupFunc strdup;
};
MemoryFunctions former;

void FreeAny(void* memory) {
  if (currentMemory != nullptr) {
    currentMemory->Free(memory);
  } else if (XMLBlockHeap::IsBlock(memory)) {
    XMLBlockHeap::FreeFromOutside(memory);
  } else {
    if (IsForTools()) {
      PlainBlocks().Forget(memory);
    }
    former.free(memory);
  }
}

void* Malloc(std::size_t bytes) {
  return currentMemory != nullptr ? currentMemory->Allocate(bytes) : former.malloc(bytes);
}

void* MallocAtomic(std::size_t bytes) {
  return currentMemory != nullptr ? currentMemory->Allocate(bytes) : former.mallocAtomic(bytes);
}

void* MovedOutside(void* block, std::size_t bytes) {
  void* const moved = former.malloc(bytes);
  if (moved != nullptr) {
    std::memcpy(moved, block, std::min(bytes, XMLBlockHeap::RoomOf(block)));
    XMLBlockHeap::FreeFromOutside(block);
  }
  return moved;
}

void* Realloc(void* memory, std::size_t bytes) {
  if (currentMemory != nullptr) {
    return currentMemory->Reallocate(memory, bytes);
  }
  return XMLBlockHeap::IsBlock(memory) ? MovedOutside(memory, bytes) : former.realloc(memory, bytes);
}

char* Strdup(const char* text) {
  if (currentMemory == nullptr) {
    return former.strdup(text);
  }
  const std::size_t bytes = std::strlen(text) + 1;
  void* const copy = currentMemory->Allocate(bytes);
  return copy == nullptr ? nullptr : static_cast<char*>(std::memcpy(copy, text, bytes));
}

// The functions and their blocks outlive a platform that is unloaded, and are in use until the end of the
// process: it stays where it is.
void StayLoaded() {
  Dl_info self;
  if (dladdr(reinterpret_cast<void*>(&FreeAny), &self) != 0) {
    dlopen(self.dli_fname, RTLD_LAZY | RTLD_NOLOAD | RTLD_NODELETE);
  }
}

void EnsureMemoryHooks() {
  static const bool isDone = [] {
    StayLoaded();
    xmlGcMemGet(&former.free, &former.malloc, &former.mallocAtomic, &former.realloc, &former.strdup);
    xmlGcMemSetup(FreeAny, Malloc, MallocAtomic, Realloc, Strdup);
    return true;
  }();
  static_cast<void>(isDone);
}

} // namespace

XMLMemory::XMLMemory(std::size_t maxBytes, Owner& owner)
    : m_heap(XMLBlockHeap::Take()),
      m_account{static_cast<std::int64_t>(maxBytes)},
      m_isPlain(IsForTools()),
      m_owner(owner),
      m_outer(currentMemory) {
  EnsureMemoryHooks();
  if (m_heap != nullptr) {
    currentMemory = this;
  }
}

XMLMemory::~XMLMemory() {
  currentMemory = m_outer;
  if (m_heap != nullptr) {
    m_heap->Leave();
  }
}

bool XMLMemory::Reserve(std::size_t bytes) {
  if (!m_hasFailed && !m_heap->Reserve(bytes)) {
    FailShort();
  }
  return !m_hasFailed;
}

bool XMLMemory::Allows(std::size_t bytes) {
  const std::int64_t left = m_account.Total();
  if (left < 0 || static_cast<std::uint64_t>(left) < bytes) {
    FailOverLimit();
  }
  return Reserve(bytes);
}

// ---- failures ----------------------------------------------------------------------------------

void XMLMemory::Fail(const char* reason) {
  if (!m_hasFailed) {
    m_hasFailed = true;
    m_owner.OnMemoryFailure(reason);
  }
}

void XMLMemory::TakeChunk() {
  m_account = {m_account.Total()};
  LookAtTime();
  if (IsOverLimit()) {
    FailOverLimit();
    return;
  }
  m_account.chunk = std::min(m_account.left, kBytesBetweenLooksAtTheClock);
  m_account.left -= m_account.chunk;
}

void XMLMemory::LookAtTime() {
  if (!m_hasFailed && !m_owner.HasTimeLeft()) {
    m_hasFailed = true;
    m_account = {kNothingLeft};
  }
}

void XMLMemory::FailOverLimit() {
  Fail(kOverLimit);
}

void XMLMemory::FailShort() {
  Fail(kShort);
}

// ---- blocks ------------------------------------------------------------------------------------

void* XMLMemory::Allocate(std::size_t bytes) {
  return bytes > XMLBlockHeap::kMaxBlockBytes || m_isPlain ? AllocateElsewhere(bytes) : AllocateBlock(bytes);
}

void* XMLMemory::AllocateBlock(std::size_t bytes) {
  Take(XMLBlockHeap::RoomFor(bytes));
  void* const block = m_heap->Allocate(bytes);
  if (m_heap->IsShort()) [[unlikely]] {
    FailShort();
  }
  return block;
}

void XMLMemory::Free(void* memory) {
  if (!XMLBlockHeap::IsBlock(memory)) {
    GiveBack(Forget(memory));
    former.free(memory);
  } else if (m_heap->Owns(memory)) [[likely]] {
    GiveBack(XMLBlockHeap::RoomOf(memory));
    m_heap->Free(memory);
  } else {
    XMLBlockHeap::FreeFromOutside(memory);
  }
}

void* XMLMemory::Reallocate(void* memory, std::size_t bytes) {
  if (memory == nullptr) {
    return Allocate(bytes);
  }
  if (!XMLBlockHeap::IsBlock(memory)) {
    return ReallocateElsewhere(memory, bytes);
  }
  const std::size_t room = XMLBlockHeap::RoomOf(memory);
  return bytes <= room && bytes > room / 2 ? memory : Moved(memory, room, bytes);
}

void* XMLMemory::Moved(void* memory, std::size_t oldBytes, std::size_t bytes) {
  void* const moved = Allocate(bytes);
  if (moved != nullptr) {
    std::memcpy(moved, memory, std::min(oldBytes, bytes));
    Free(memory);
  }
  return moved;
}

// ---- blocks from elsewhere ---------------------------------------------------------------------

void* XMLMemory::AllocateElsewhere(std::size_t bytes) {
  if (bytes > kMaxBytes) {
    FailOverLimit();
    return nullptr;
  }
  const bool isSmall = bytes <= XMLBlockHeap::kMaxBlockBytes;
  Take(bytes);
  void* const memory = IsOverLimit() && !isSmall ? nullptr : former.malloc(bytes);
  if (memory != nullptr) {
    Remember(memory, bytes);
    return memory;
  }
  GiveBack(bytes);
  FailShort();
  return isSmall ? AllocateBlock(bytes) : nullptr;
}

void* XMLMemory::ReallocateElsewhere(void* memory, std::size_t bytes) {
  if (bytes > kMaxBytes) {
    FailOverLimit();
    return nullptr;
  }
  const std::size_t oldBytes = Forget(memory);
  GiveBack(oldBytes);
  const bool isSmall = bytes <= XMLBlockHeap::kMaxBlockBytes;
  Take(bytes);
  void* const moved = IsOverLimit() && !isSmall ? nullptr : former.realloc(memory, bytes);
  if (moved != nullptr) {
    Remember(moved, bytes);
    return moved;
  }
  GiveBack(bytes);
  FailShort();
  if (oldBytes != 0) {
    Take(oldBytes);
    Remember(memory, oldBytes);
  }
  return isSmall && oldBytes != 0 ? Moved(memory, oldBytes, bytes) : nullptr;
}

// One that cannot be remembered is not given back to the limit, nothing else.
void XMLMemory::Remember(void* memory, std::size_t bytes) {
  try {
    if (IsForTools()) {
      PlainBlocks().Remember(memory, bytes);
    } else {
      m_elsewhere.insert_or_assign(memory, bytes);
    }
  } catch (const std::bad_alloc&) {
    FailShort();
  }
}

std::size_t XMLMemory::Forget(void* memory) {
  if (IsForTools()) {
    return PlainBlocks().Forget(memory);
  }
  const auto found = m_elsewhere.find(memory);
  return found == m_elsewhere.end() ? 0 : m_elsewhere.extract(found).mapped();
}

// ---- plain memory ------------------------------------------------------------------------------

XMLPlainMemory::XMLPlainMemory()
    : m_wasPlain(std::exchange(currentMemory->m_isPlain, true)),
      m_account(std::exchange(currentMemory->m_account, XMLMemory::Account{kEverything})) {}

XMLPlainMemory::~XMLPlainMemory() {
  currentMemory->m_isPlain = m_wasPlain;
  currentMemory->m_account = m_account;
}

} // namespace zep
