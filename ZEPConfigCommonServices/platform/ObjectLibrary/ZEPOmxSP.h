#pragma once

#include "ZEPOmxAssert.h"
#include "ZEPOmxObject.h"

#include <cstddef>

// A shared pointer on a reference-counted object, or null. Calling through null is a broken
// invariant: the platform's assertion ends the process.
template <class Object>
class ZEPOmxSP {
public:
  ZEPOmxSP() = default;
  // Null.
  ZEPOmxSP(std::nullptr_t) {} // NOLINT(google-explicit-constructor)
  // Takes a reference on the object, which may be null.
  explicit ZEPOmxSP(Object* object) : m_object(object) { Hold(); }
  ZEPOmxSP(const ZEPOmxSP& other) : m_object(other.m_object) { Hold(); }
  // From a pointer on a derived class.
  template <class Derived>
  ZEPOmxSP(const ZEPOmxSP<Derived>& other) : m_object(other.Get()) { // NOLINT(google-explicit-constructor)
    Hold();
  }
  ZEPOmxSP& operator=(const ZEPOmxSP& other) {
    ZEPOmxSP copy(other);
    Object* const held = m_object;
    m_object = copy.m_object;
    copy.m_object = held;
    return *this;
  }
  ~ZEPOmxSP() {
    if (m_object != nullptr) {
      m_object->Release();
    }
  }

  // Whether it points to nothing.
  bool IsNull() const { return m_object == nullptr; }
  // The object, or null; the reference stays here.
  Object* Get() const { return m_object; }
  // The object, to call an operation of it.
  Object* operator->() const {
    if (m_object == nullptr) {
      ZEPOmxAssertionFailed("call through a null pointer");
    }
    return m_object;
  }

private:
  void Hold() const {
    if (m_object != nullptr) {
      m_object->AddRef();
    }
  }

  Object* m_object = nullptr;
};
