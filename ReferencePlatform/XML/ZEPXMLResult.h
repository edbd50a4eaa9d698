#pragma once

#include "ZEPHResult.h"
#include "ZEPLastError.h"

#include <new>

namespace zep {

// Does what may find no memory, and gives its result code. The message is so short that it needs none.
template <class Action>
long XMLResult(const Action& action) {
  try {
    return action();
  } catch (const std::bad_alloc&) {
    ZEPSetLastError(E_OUTOFMEMORY, "out of memory");
    return E_OUTOFMEMORY;
  }
}

} // namespace zep
