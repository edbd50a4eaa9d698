#pragma once

#include <algorithm>
#include <bit>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <memory>

#include <libxml/globals.h>

namespace zep {

// Numbers of nodes, found by a hash of whatever makes two nodes the same. Open addressing; the memory counts
// as libxml2's own.
class XMLNodeTable {
public:
  explicit XMLNodeTable(std::size_t maxNodes)
      : m_maxNodes(maxNodes),
        m_mask(std::bit_ceil(std::max<std::size_t>(maxNodes, 1) * 2) - 1),
        m_shift(std::countl_zero(m_mask)),
        m_slots(static_cast<Slot*>(xmlMalloc((m_mask + 1) * sizeof(Slot))),
                [](Slot* slots) { xmlFree(slots); }) {
    if (m_slots != nullptr) {
      std::memset(m_slots.get(), 0, (m_mask + 1) * sizeof(Slot));
    }
  }

  bool HasMemory() const { return m_slots != nullptr; }
  std::size_t MaxNodes() const { return m_maxNodes; }

  // False if a node is there for which `isSame` holds; otherwise `number` is kept.
  template <class IsSame>
  bool Add(std::size_t hash, std::size_t number, const IsSame& isSame) {
    Slot& slot = Find(hash, isSame);
    if (slot.number != 0) {
      return false;
    }
    slot = {High(hash), static_cast<std::uint32_t>(number + 1)};
    return true;
  }
  template <class IsSame>
  bool Has(std::size_t hash, const IsSame& isSame) {
    return Find(hash, isSame).number != 0;
  }

private:
  struct Slot {
    std::uint32_t hash;
    std::uint32_t number; // 0 for none
  };

  static std::uint32_t High(std::size_t hash) { return static_cast<std::uint32_t>(hash >> 32); }

  // Another one in each process, so that nobody can choose texts that come to one place.
  static std::size_t Spread() {
    static const std::size_t spread = [] {
      const auto now = std::chrono::steady_clock::now().time_since_epoch().count();
      const auto here = reinterpret_cast<std::uintptr_t>(&now);
      return ((static_cast<std::size_t>(now) ^ (here << 20)) * 0x9E3779B97F4A7C15U) | 1;
    }();
    return spread;
  }

  template <class IsSame>
  Slot& Find(std::size_t hash, const IsSame& isSame) {
    for (std::size_t i = (hash * Spread()) >> m_shift;; i = (i + 1) & m_mask) {
      Slot& slot = m_slots.get()[i];
      if (slot.number == 0 || (slot.hash == High(hash) && isSame(slot.number - 1))) {
        return slot;
      }
    }
  }

  std::size_t m_maxNodes;
  std::size_t m_mask;
  int m_shift;
  std::unique_ptr<Slot, void (*)(Slot*)> m_slots;
};

} // namespace zep
