#pragma once

#include "ZEPFilterFault.h"
#include "ZEPHResult.h"
#include "ZEPLastError.h"

namespace zep {

// Does what may throw, and gives its result code; the last error says why it failed.
template <class Action>
long FilterResult(const Action& action) {
  long result = S_OK;
  const auto fail = [&result](long code, const FilterFault& fault) {
    ZEPSetLastError(code, fault.what());
    result = code;
  };
  try {
    action();
  } catch (const FilterWorkLimit& limit) {
    fail(E_ABORT, limit);
  } catch (const FilterFault& fault) {
    fail(E_INVALIDARG, fault);
  }
  return result;
}

} // namespace zep
