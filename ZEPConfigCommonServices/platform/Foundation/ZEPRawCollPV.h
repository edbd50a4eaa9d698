#pragma once

#include "ZEPRawColl.h"

// An array of untyped pointers, which it does not own.
class ZEPRawCollPV : public ZEPRawColl<void*> {
public:
  using ZEPRawColl::ZEPRawColl;
};
