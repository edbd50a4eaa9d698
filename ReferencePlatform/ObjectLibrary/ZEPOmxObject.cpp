#include "ZEPOmxObject.h"

ZEPOmxObject::ZEPOmxObject() : m_references(0) {}

ZEPOmxObject::~ZEPOmxObject() = default;

void ZEPOmxObject::AddRef() const {
  m_references.fetch_add(1, std::memory_order_relaxed);
}

void ZEPOmxObject::Release() const {
  if (m_references.fetch_sub(1, std::memory_order_acq_rel) == 1) {
    delete this;
  }
}
