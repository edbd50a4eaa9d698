#pragma once

#include <bit>
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
        m_mask(std::bit_ceil(maxNodes * 2 + 1) - 1),
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

  template <class IsSame>
  Slot& Find(std::size_t hash, const IsSame& isSame) {
    for (std::size_t i = hash & m_mask;; i = (i + 1) & m_mask) {
      Slot& slot = m_slots.get()[i];
      if (slot.number == 0 || (slot.hash == High(hash) && isSame(slot.number - 1))) {
        return slot;
      }
    }
  }

  std::size_t m_maxNodes;
  std::size_t m_mask;
  std::unique_ptr<Slot, void (*)(Slot*)> m_slots;
};

} // namespace zep
