#include "ZEPXMLBlocks_posix.h"

#include <algorithm>
#include <new>

#include <sys/mman.h>

namespace zep {
namespace {

// One chunk for each size, and some more.
constexpr std::size_t kChunksReservedAlways = 64;
constexpr std::size_t kFreshBytesAtOnce = 4096;
constexpr std::size_t kFreeChunksKept = 192; // by a heap that nobody uses: 12 MB
constexpr std::size_t kSegmentsWithSmallPages = 4;
constexpr std::uint64_t kAllChunks = ~std::uint64_t{1};

void* MapAligned(std::size_t bytes) {
  void* const mapped =
      mmap(nullptr, 2 * bytes, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS | MAP_NORESERVE, -1, 0);
  if (mapped == MAP_FAILED) {
    return nullptr;
  }
  char* const begin = static_cast<char*>(mapped);
  const std::size_t before = (bytes - reinterpret_cast<std::uintptr_t>(begin) % bytes) % bytes;
  if (before != 0) {
    munmap(begin, before);
  }
  munmap(begin + before + bytes, bytes - before);
  return begin + before;
}

} // namespace

// None of these has a destructor: blocks are freed until the very end of the process.
constinit std::array<unsigned char, (XMLBlockHeap::kSegmentNumbers + 7) / 8> XMLBlockHeap::segmentBits{};
constinit XMLBlockHeap::Chunk XMLBlockHeap::nothing{};
constinit std::atomic<XMLBlockHeap*> XMLBlockHeap::heaps{nullptr};

// ---- heaps -------------------------------------------------------------------------------------

XMLBlockHeap::XMLBlockHeap() {
  m_open.fill(&nothing);
}

bool XMLBlockHeap::TryTake() {
  return !m_isTaken.load(std::memory_order_relaxed) && !m_isTaken.exchange(true, std::memory_order_acquire);
}

// Heaps are never destroyed, so that this needs no lock, which a fork could leave locked.
XMLBlockHeap* XMLBlockHeap::TakeFree() {
  for (XMLBlockHeap* heap = heaps.load(std::memory_order_acquire); heap != nullptr; heap = heap->m_next) {
    if (heap->TryTake()) {
      return heap;
    }
  }
  return nullptr;
}

XMLBlockHeap* XMLBlockHeap::MakeTaken() {
  auto* const heap = new (std::nothrow) XMLBlockHeap();
  if (heap != nullptr) {
    heap->m_next = heaps.load(std::memory_order_relaxed);
    while (!heaps.compare_exchange_weak(heap->m_next, heap, std::memory_order_release)) {}
  }
  return heap;
}

XMLBlockHeap* XMLBlockHeap::Take() {
  // What a thread has made before is freed at less cost, and is in its processor's cache.
  static thread_local XMLBlockHeap* last = nullptr;
  if (last == nullptr || !last->TryTake()) {
    XMLBlockHeap* const heap = TakeFree();
    last = heap != nullptr ? heap : MakeTaken();
  }
  if (last != nullptr && !last->Reserve(0)) {
    last->Leave();
    return nullptr;
  }
  return last;
}

void XMLBlockHeap::Leave() {
  m_isShort = false;
  m_reservedChunks = 0;
  if (m_freeChunks > kFreeChunksKept) {
    TakeBackFromOutside();
    GiveUpSegments();
  }
  m_isTaken.store(false, std::memory_order_release);
}

bool XMLBlockHeap::Reserve(std::size_t bytes) {
  m_reservedChunks = std::max(m_reservedChunks, kChunksReservedAlways + bytes / kChunkBytes);
  while (m_freeChunks < m_reservedChunks) {
    if (!AddSegment()) {
      return false;
    }
  }
  return true;
}

// ---- blocks ------------------------------------------------------------------------------------

void* XMLBlockHeap::AllocateSlowly(std::size_t sizeClass) {
  TakeBackFromOutside();
  for (Chunk* chunk = m_open[sizeClass]; chunk->free == nullptr && !Extend(*chunk);
       chunk = m_open[sizeClass]) {
    if (chunk != &nothing) {
      Close(*chunk);
      chunk->isFull = true;
    } else if (NewChunk(sizeClass) == nullptr) {
      return nullptr;
    }
  }
  Chunk& chunk = *m_open[sizeClass];
  Block* const block = chunk.free;
  chunk.free = block->next;
  ++chunk.used;
  return block;
}

// A few fresh blocks at once, in the order of their addresses: what is not needed is not touched.
bool XMLBlockHeap::Extend(Chunk& chunk) {
  const auto left = static_cast<std::size_t>(chunk.end - chunk.fresh);
  if (&chunk == &nothing || left < chunk.room) {
    return false;
  }
  const std::size_t count = std::min(left, std::max<std::size_t>(kFreshBytesAtOnce, chunk.room)) / chunk.room;
  Block** link = &chunk.free;
  for (std::size_t i = 0; i < count; ++i) {
    auto* const block = reinterpret_cast<Block*>(chunk.fresh);
    chunk.fresh += chunk.room;
    *link = block;
    link = &block->next;
  }
  *link = nullptr;
  return true;
}

void XMLBlockHeap::FreeSlowly(Chunk& chunk) {
  if (chunk.isFull) {
    chunk.isFull = false;
    Open(chunk);
  }
  // The last one of its size stays: the next block would ask for it at once.
  const bool isLast = m_open[chunk.sizeClass] == &chunk && chunk.next == &nothing;
  if (chunk.used == 0 && !isLast) {
    Close(chunk);
    GiveUp(chunk);
  }
}

void XMLBlockHeap::FreeFromOutside(void* block) {
  XMLBlockHeap& heap = *ChunkOf(block).heap;
  Block* const freed = static_cast<Block*>(block);
  freed->next = heap.m_freedOutside.load(std::memory_order_relaxed);
  while (!heap.m_freedOutside.compare_exchange_weak(freed->next, freed, std::memory_order_release,
                                                    std::memory_order_relaxed)) {}
}

void XMLBlockHeap::TakeBackFromOutside() {
  if (m_freedOutside.load(std::memory_order_relaxed) == nullptr) {
    return;
  }
  for (Block* block = m_freedOutside.exchange(nullptr, std::memory_order_acquire); block != nullptr;) {
    Block* const next = block->next;
    Free(block);
    block = next;
  }
}

// ---- chunks ------------------------------------------------------------------------------------

void XMLBlockHeap::Open(Chunk& chunk) {
  Chunk*& first = m_open[chunk.sizeClass];
  chunk.next = first;
  chunk.previous = &nothing;
  if (first != &nothing) {
    first->previous = &chunk;
  }
  first = &chunk;
}

void XMLBlockHeap::Close(Chunk& chunk) {
  if (chunk.next != &nothing) {
    chunk.next->previous = chunk.previous;
  }
  if (chunk.previous != &nothing) {
    chunk.previous->next = chunk.next;
  } else {
    m_open[chunk.sizeClass] = chunk.next;
  }
}

XMLBlockHeap::Chunk* XMLBlockHeap::NewChunk(std::size_t sizeClass) {
  if (m_freeChunks <= m_reservedChunks && !AddSegment()) {
    m_isShort = true;
    if (m_freeChunks == 0) {
      return nullptr;
    }
  }
  Segment* segment = m_segments;
  while (segment->freeChunks == 0) {
    segment = segment->next;
  }
  const int index = std::countr_zero(segment->freeChunks);
  segment->freeChunks &= segment->freeChunks - 1;
  --m_freeChunks;
  Chunk& chunk = segment->chunks[static_cast<std::size_t>(index)];
  chunk = Chunk();
  chunk.room = kRooms[sizeClass];
  chunk.fresh = reinterpret_cast<char*>(segment) + static_cast<std::size_t>(index) * kChunkBytes;
  chunk.end = chunk.fresh + kChunkBytes;
  chunk.heap = this;
  chunk.sizeClass = static_cast<std::uint32_t>(sizeClass);
  Open(chunk);
  return &chunk;
}

void XMLBlockHeap::GiveUp(Chunk& chunk) {
  Segment& segment = SegmentOf(&chunk);
  segment.freeChunks |= std::uint64_t{1} << (&chunk - segment.chunks.data());
  ++m_freeChunks;
}

// ---- segments ----------------------------------------------------------------------------------

bool XMLBlockHeap::AddSegment() {
  void* const memory = MapAligned(kSegmentBytes);
  const std::uintptr_t number = reinterpret_cast<std::uintptr_t>(memory) >> kSegmentShift;
  if (memory == nullptr || number >= kSegmentNumbers) {
    return false;
  }
  if (m_segmentCount >= kSegmentsWithSmallPages) {
    madvise(memory, kSegmentBytes, MADV_HUGEPAGE);
  }
  auto* const segment = new (memory) Segment();
  segment->freeChunks = kAllChunks;
  segment->next = m_segments;
  m_segments = segment;
  ++m_segmentCount;
  m_freeChunks += kChunks - 1;
  SegmentBits(number).fetch_or(static_cast<unsigned char>(1U << (number % 8)), std::memory_order_relaxed);
  return true;
}

void XMLBlockHeap::GiveUpSegments() {
  for (Chunk* const first : m_open) {
    if (first != &nothing && first->used == 0) {
      Close(*first);
      GiveUp(*first);
    }
  }
  for (Segment** link = &m_segments; *link != nullptr && m_freeChunks > kFreeChunksKept;) {
    Segment* const segment = *link;
    if (segment->freeChunks != kAllChunks) {
      link = &segment->next;
      continue;
    }
    *link = segment->next;
    --m_segmentCount;
    m_freeChunks -= kChunks - 1;
    const std::uintptr_t number = reinterpret_cast<std::uintptr_t>(segment) >> kSegmentShift;
    SegmentBits(number).fetch_and(static_cast<unsigned char>(~(1U << (number % 8))),
                                  std::memory_order_relaxed);
    munmap(segment, kSegmentBytes);
  }
}

} // namespace zep
