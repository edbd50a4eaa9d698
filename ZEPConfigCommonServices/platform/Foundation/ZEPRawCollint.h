#pragma once

#include "ZEPRawColl.h"

// An array of numbers.
class ZEPRawCollint : public ZEPRawColl<int> {
public:
  using ZEPRawColl::ZEPRawColl;
};
