#include "ZEPBaseUnknown_var.h"

ZEPErrorNullVar::~ZEPErrorNullVar() = default;

const char* ZEPErrorNullVar::what() const noexcept {
  return "call through an empty interface handle";
}

ZEPBaseUnknown_var::ZEPBaseUnknown_var() : m_object(nullptr) {}

ZEPBaseUnknown_var::ZEPBaseUnknown_var(const ZEPBaseUnknown_var& other) : m_object(other.m_object) {
  if (m_object != nullptr) {
    m_object->AddRef();
  }
}

ZEPBaseUnknown_var& ZEPBaseUnknown_var::operator=(const ZEPBaseUnknown_var& other) {
  if (other.m_object != nullptr) {
    other.m_object->AddRef();
  }
  Adopt(other.m_object);
  return *this;
}

ZEPBaseUnknown_var::~ZEPBaseUnknown_var() {
  Adopt(nullptr);
}

bool ZEPBaseUnknown_var::operator!() const {
  return m_object == nullptr;
}

void ZEPBaseUnknown_var::ThrowErrorNullVar() {
  throw ZEPErrorNullVar();
}

void ZEPBaseUnknown_var::Adopt(IUnknown* object) {
  IUnknown* const held = m_object;
  m_object = object;
  if (held != nullptr) {
    held->Release();
  }
}
