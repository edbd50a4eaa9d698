#pragma once

#include "IUnknown.h"
#include "ZEPPlatformExport.h"

#include <cstddef>
#include <exception>

// Raised by a call through an empty handle.
class ZEP_PLATFORM_API ZEPErrorNullVar : public std::exception {
public:
  ~ZEPErrorNullVar() override;
  const char* what() const noexcept override; // what happened, in words
};

// A handle that holds one reference on a component object, or is empty. Copying takes a further
// reference, emptying and destroying release it. A handle belongs to one thread at a time.
class ZEP_PLATFORM_API ZEPBaseUnknown_var {
public:
  ZEPBaseUnknown_var(const ZEPBaseUnknown_var& other);
  ZEPBaseUnknown_var& operator=(const ZEPBaseUnknown_var& other);
  ~ZEPBaseUnknown_var();

  bool operator!() const;                       // is it empty
  [[noreturn]] static void ThrowErrorNullVar(); // raises ZEPErrorNullVar

protected:
  ZEPBaseUnknown_var();
  // Takes over the caller's reference; releases what was held after the new object is in place.
  void Adopt(IUnknown* object);

  IUnknown* m_object; // one reference of it is owned; null: empty
};

// The handle of one interface. `Interface##_var` names it.
template <class Interface>
class ZEPInterface_var : public ZEPBaseUnknown_var {
public:
  ZEPInterface_var() = default;
  // An empty handle.
  ZEPInterface_var(std::nullptr_t) {} // NOLINT(google-explicit-constructor)
  // Takes over the reference that the caller holds; `object` may be null.
  explicit ZEPInterface_var(Interface* object) { Adopt(object); }

  // Empties the handle.
  ZEPInterface_var& operator=(std::nullptr_t) {
    Adopt(nullptr);
    return *this;
  }

  // Raises ZEPErrorNullVar when empty.
  Interface* operator->() const {
    if (m_object == nullptr) {
      ThrowErrorNullVar();
    }
    return static_cast<Interface*>(m_object);
  }
};

// The empty handle, whatever its interface.
inline constexpr std::nullptr_t NULL_var = nullptr;
