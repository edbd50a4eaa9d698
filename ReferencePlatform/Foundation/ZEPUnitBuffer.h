#pragma once

#include <atomic>
#include <cstddef>

// Memory for the units of long texts. Texts with the same content share it; it is given back when
// the last of them lets go of it. Whoever shares it only reads.
namespace zep {

// Room for that many units and a zero behind them. The caller is the sole owner. Throws
// std::bad_alloc.
char16_t* NewUnits(std::size_t capacity);

// The same units with room for `capacity` of them, at another place if need be; when it throws,
// nothing has changed. REQUIRES: a sole owner.
char16_t* ResizedUnits(char16_t* units, std::size_t capacity);

// REQUIRES: the last owner.
void FreeUnits(char16_t* units);

// Stands in front of the units.
struct UnitBufferHeader {
  int owners;
  std::size_t capacity;
};

inline UnitBufferHeader* HeaderOf(char16_t* units) {
  return reinterpret_cast<UnitBufferHeader*>(units) - 1;
}

inline std::size_t CapacityOf(char16_t* units) {
  return HeaderOf(units)->capacity;
}

inline bool HasSoleOwner(char16_t* units) {
  return std::atomic_ref<int>(HeaderOf(units)->owners).load(std::memory_order_acquire) == 1;
}

inline void HoldUnits(char16_t* units) {
  std::atomic_ref<int>(HeaderOf(units)->owners).fetch_add(1, std::memory_order_relaxed);
}

inline void LetGoOfUnits(char16_t* units) {
  // A sole owner needs no atomic step: nobody else can come to own what only it can hand on.
  if (HasSoleOwner(units) ||
      std::atomic_ref<int>(HeaderOf(units)->owners).fetch_sub(1, std::memory_order_acq_rel) == 1) {
    FreeUnits(units);
  }
}

} // namespace zep
