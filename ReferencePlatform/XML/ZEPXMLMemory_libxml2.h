#pragma once

#include "ZEPXMLBlocks_posix.h"

#include <cstddef>
#include <cstdint>
#include <unordered_map>

namespace zep {

// Blocks that come from elsewhere, with their sizes.
using XMLForeignBlocks = std::unordered_map<void*, std::size_t>;

// The memory that libxml2 and libxslt take on this thread while an object of this class lives: from a heap
// of blocks, counted, and with a reserve.
//
// When the call takes more than it may, or when the system gives nothing, the owner is told at once, so that
// it ends the work, and fails it, at the next look that the libraries take. Until then they get what they
// ask for, above the limit and in the end from the reserve: asked for a few bytes, neither of them knows
// what to do without. Only blocks of more than 64 KB are refused. The same holds once the time is over.
//
// Both libraries get all their memory through functions that libxml2 keeps for the process. Ours stand in
// front of those that are there. They pass everything on, except on a thread where an object of this class
// lives, and except blocks that were made on such a thread, whoever frees them.
class XMLMemory {
public:
  class Owner {
  public:
    // Called from inside an allocation: takes notes, and allocates and frees nothing.
    virtual void OnMemoryFailure(const char* reason) = 0;
    // Called from there now and then, under the same rule: false when the time is over.
    virtual bool HasTimeLeft() { return true; }

  protected:
    ~Owner() = default;
  };

  XMLMemory(std::size_t maxBytes, Owner& owner);
  ~XMLMemory();
  XMLMemory(const XMLMemory&) = delete;
  XMLMemory& operator=(const XMLMemory&) = delete;

  // False if there is no reserve: then nothing may begin.
  bool IsReady() const { return m_heap != nullptr; }
  // Before work that nothing can end: whether the system has so many bytes, and keeps them ready; and whether
  // the limit allows them as well. Tells the owner if not.
  bool Reserve(std::size_t bytes);
  bool Allows(std::size_t bytes);

  // For what libxml2 calls.
  void* Allocate(std::size_t bytes);
  void* Reallocate(void* memory, std::size_t bytes);
  void Free(void* memory);

private:
  friend class XMLPlainMemory;

  // What may be taken is taken from a chunk of it, and what is given back is put aside until the chunk is
  // used up: the clock is looked at then, since some loops of both libraries look at nothing else.
  struct Account {
    std::int64_t Total() const { return left + chunk + returned; }

    std::int64_t left;
    std::int64_t chunk = 0;
    std::int64_t returned = 0;
  };

  [[gnu::noinline]] void* AllocateElsewhere(std::size_t bytes);
  void* ReallocateElsewhere(void* memory, std::size_t bytes);
  void* Moved(void* memory, std::size_t oldBytes, std::size_t bytes);
  void* AllocateBlock(std::size_t bytes);
  void Take(std::size_t bytes) {
    m_account.chunk -= static_cast<std::int64_t>(bytes);
    if (m_account.chunk < 0) [[unlikely]] {
      TakeChunk();
    }
  }
  [[gnu::noinline, gnu::cold]] void TakeChunk();
  bool IsOverLimit() const { return m_account.left < 0; }
  void LookAtTime();
  void GiveBack(std::size_t bytes) { m_account.returned += static_cast<std::int64_t>(bytes); }
  void FailOverLimit();
  void FailShort();
  void Fail(const char* reason);
  void Remember(void* memory, std::size_t bytes);
  std::size_t Forget(void* memory);

  XMLBlockHeap* m_heap;
  Account m_account;
  bool m_isPlain;
  bool m_hasFailed = false;
  Owner& m_owner;
  XMLMemory* m_outer;
  XMLForeignBlocks m_elsewhere; // of this call
};

// While it lives, memory on this thread comes from where it came from before us, uncounted, and from the
// reserve when there is none: for what stays in the libraries after the call.
class XMLPlainMemory {
public:
  XMLPlainMemory();
  ~XMLPlainMemory();
  XMLPlainMemory(const XMLPlainMemory&) = delete;
  XMLPlainMemory& operator=(const XMLPlainMemory&) = delete;

private:
  bool m_wasPlain;
  XMLMemory::Account m_account;
};

} // namespace zep
