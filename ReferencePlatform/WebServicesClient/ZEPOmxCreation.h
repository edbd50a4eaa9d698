#pragma once

#include "ZEPOmxSP.h"

#include <utility>

namespace zep {

// A new object. Without memory for it std::bad_alloc, not null: a request whose body is missing for
// that reason must not be sent.
template <class Object, class... Arguments>
ZEPOmxSP<Object> CreateOmx(Arguments&&... arguments) {
  return ZEPOmxSP<Object>(new Object(std::forward<Arguments>(arguments)...));
}

} // namespace zep
