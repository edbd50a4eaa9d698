#pragma once

#include <atomic>

// A component object: an interface with the reference count that IUnknown asks for. A new object
// has one reference, which belongs to who made it.
template <class Interface>
class ZEPComponent : public Interface {
public:
  unsigned long AddRef() override { return m_references.fetch_add(1, std::memory_order_relaxed) + 1; }

  unsigned long Release() override {
    const unsigned long left = m_references.fetch_sub(1, std::memory_order_acq_rel) - 1;
    if (left == 0) {
      delete this;
    }
    return left;
  }

protected:
  ZEPComponent() = default;
  ~ZEPComponent() override = default;

private:
  std::atomic<unsigned long> m_references{1};
};
