#pragma once

#include <array>
#include <atomic>
#include <bit>
#include <cstddef>
#include <cstdint>

namespace zep {

// The sizes of blocks.
struct XMLBlockSizes {
  // Multiples of 16 up to 512, then four for each doubling.
  static constexpr std::size_t kEvenClasses = 33;
  static constexpr std::size_t kClasses = kEvenClasses + std::size_t{7} * 4;

  static constexpr std::size_t ClassOf(std::size_t bytes) {
    if (bytes <= 512) {
      return (bytes + (bytes == 0 ? 1 : 0) + 15) / 16;
    }
    const auto doubling = static_cast<std::size_t>(std::bit_width(bytes - 1)) - 1; // 9 for 513 to 1024
    const std::size_t quarter = (bytes - 1) >> (doubling - 2) & 3U;
    return kEvenClasses + (doubling - 9) * 4 + quarter;
  }
  static constexpr std::array<std::uint32_t, kClasses> Rooms() {
    std::array<std::uint32_t, kClasses> rooms{};
    for (std::uint32_t i = 0; i < kEvenClasses; ++i) {
      rooms[i] = i * 16;
    }
    for (std::uint32_t i = 0; i + kEvenClasses < kClasses; ++i) {
      rooms[kEvenClasses + i] = (128U << (i / 4)) * (5 + i % 4);
    }
    return rooms;
  }
};

// Blocks of up to 64 KB for one thread at a time, without a lock and almost without cost: blocks of one
// size lie together in a chunk, and one that was freed is the next to be given out.
//
// A heap is taken for as long as a call runs, and the next call takes it over. What outlives the call
// stays where it is: a block may be freed by any thread, at any time, also while the process ends. Chunks
// that are empty serve other sizes; segments that are empty go back to the system, but for a few.
class XMLBlockHeap : private XMLBlockSizes {
public:
  static constexpr std::size_t kMaxBlockBytes = std::size_t{1} << 16;

  // Nobody else has it until it is left. Null if the system has no memory.
  static XMLBlockHeap* Take();
  void Leave();

  // Makes sure that blocks with so many bytes together can be had from here although the system gives no
  // more. False if it cannot.
  bool Reserve(std::size_t bytes);
  // Whether the reserve has been touched since the heap was taken, because the system gave nothing.
  bool IsShort() const { return m_isShort; }

  // The room of a block for so many bytes.
  static std::size_t RoomFor(std::size_t bytes) { return kRooms[ClassOf(bytes)]; }

  // REQUIRES: at most kMaxBlockBytes. Null if there is no memory.
  void* Allocate(std::size_t bytes) {
    const std::size_t sizeClass = ClassOf(bytes);
    Chunk& chunk = *m_open[sizeClass];
    Block* const block = chunk.free;
    if (block == nullptr) [[unlikely]] {
      return AllocateSlowly(sizeClass);
    }
    chunk.free = block->next;
    ++chunk.used;
    return block;
  }

  // Whether it is a block of any heap.
  static bool IsBlock(const void* memory) {
    const std::uintptr_t segment = reinterpret_cast<std::uintptr_t>(memory) >> kSegmentShift;
    return segment < kSegmentNumbers &&
           (SegmentBits(segment).load(std::memory_order_relaxed) >> (segment % 8) & 1U) != 0;
  }

  // REQUIRES for all of these: a block.
  static std::size_t RoomOf(const void* block) { return ChunkOf(block).room; }
  bool Owns(const void* block) const { return ChunkOf(block).heap == this; }
  // REQUIRES: owned.
  void Free(void* block) {
    Chunk& chunk = ChunkOf(block);
    Block* const freed = static_cast<Block*>(block);
    freed->next = chunk.free;
    chunk.free = freed;
    --chunk.used;
    if (chunk.used == 0 || chunk.isFull) [[unlikely]] {
      FreeSlowly(chunk);
    }
  }
  // By whom the heap does not belong to.
  static void FreeFromOutside(void* block);

private:
  static constexpr unsigned kSegmentShift = 22;
  static constexpr std::size_t kSegmentBytes = std::size_t{1} << kSegmentShift;
  static constexpr unsigned kChunkShift = 16;
  static constexpr std::size_t kChunkBytes = std::size_t{1} << kChunkShift;
  static constexpr std::size_t kChunks = kSegmentBytes / kChunkBytes; // the first one describes the others
  static constexpr unsigned kAddressBits = sizeof(void*) == 8 ? 48 : 32;
  static constexpr std::size_t kSegmentNumbers = std::size_t{1} << (kAddressBits - kSegmentShift);

  static constexpr std::array<std::uint32_t, kClasses> kRooms = Rooms();

  struct Block {
    Block* next;
  };
  // Blocks of one size. One that has room is in the list of its size.
  struct Chunk {
    Block* free = nullptr;
    std::uint32_t used = 0;
    std::uint32_t room = 0; // of each block
    char* fresh = nullptr;  // from here on nothing was given out yet
    char* end = nullptr;
    XMLBlockHeap* heap = nullptr;
    Chunk* next = nullptr;
    Chunk* previous = nullptr;
    std::uint32_t sizeClass = 0;
    bool isFull = false; // and so in no list
  };
  struct Segment {
    std::array<Chunk, kChunks> chunks;
    std::uint64_t freeChunks = 0; // a bit for each
    Segment* next = nullptr;
  };

  static std::atomic_ref<unsigned char> SegmentBits(std::uintptr_t segment) {
    return std::atomic_ref<unsigned char>(segmentBits[segment / 8]);
  }
  static Segment& SegmentOf(const void* inside) {
    return *reinterpret_cast<Segment*>(reinterpret_cast<std::uintptr_t>(inside) & ~(kSegmentBytes - 1));
  }
  static Chunk& ChunkOf(const void* block) {
    return SegmentOf(block).chunks[reinterpret_cast<std::uintptr_t>(block) >> kChunkShift & (kChunks - 1)];
  }

  XMLBlockHeap();
  bool TryTake();
  static XMLBlockHeap* TakeFree();
  static XMLBlockHeap* MakeTaken();
  void* AllocateSlowly(std::size_t sizeClass);
  void FreeSlowly(Chunk& chunk);
  void TakeBackFromOutside();
  static bool Extend(Chunk& chunk);
  void Open(Chunk& chunk);
  void Close(Chunk& chunk);
  Chunk* NewChunk(std::size_t sizeClass);
  void GiveUp(Chunk& chunk);
  bool AddSegment();
  void GiveUpSegments();

  static std::array<unsigned char, (kSegmentNumbers + 7) / 8> segmentBits; // used as atomics
  static Chunk nothing;                                                    // stands where there is no chunk
  static std::atomic<XMLBlockHeap*> heaps;

  std::array<Chunk*, kClasses> m_open; // with room, the one in use first
  Segment* m_segments = nullptr;
  std::size_t m_segmentCount = 0;
  std::size_t m_freeChunks = 0;
  std::size_t m_reservedChunks = 0;
  bool m_isShort = false;
  std::atomic<Block*> m_freedOutside{nullptr};
  std::atomic<bool> m_isTaken{true};
  XMLBlockHeap* m_next = nullptr; // of all heaps there are
};

} // namespace zep
