#pragma once

#include "ZEPHResult.h"
#include "ZEPLastError.h"
#include "ZEPXMLClassIds.h"

#include <algorithm>
#include <iterator>

namespace zep {

inline bool IsSameClass(const GUID& left, const GUID& right) {
  return left.Data1 == right.Data1 && left.Data2 == right.Data2 && left.Data3 == right.Data3 &&
         std::equal(std::begin(left.Data4), std::end(left.Data4), std::begin(right.Data4));
}

// Makes the object of the one class that a factory function knows.
template <class Object, class Handle>
long CreateOfClass(Handle& handle, const GUID& asked, const GUID& known) {
  if (!IsSameClass(asked, known)) {
    handle = nullptr;
    ZEPSetLastError(REGDB_E_CLASSNOTREG, "the class id is not known");
    return REGDB_E_CLASSNOTREG;
  }
  handle = Handle(new Object());
  return S_OK;
}

} // namespace zep
