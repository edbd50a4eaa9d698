#pragma once

#include "ZEPOmxSP.h"

#include <new>
#include <utility>

namespace zep {

// A new object, or null when there is no memory for it.
template <class Object, class... Arguments>
ZEPOmxSP<Object> CreateOrNull(Arguments&&... arguments) {
  try {
    return ZEPOmxSP<Object>(new Object(std::forward<Arguments>(arguments)...));
  } catch (const std::bad_alloc&) {
    return nullptr;
  }
}

} // namespace zep
