#pragma once

#include "ZEPOmxSP.h"

#include <cstddef>

// Bytes that can be read once, in order.
class ZEP_PLATFORM_API ZEPIOmxInputStream : public ZEPOmxObject {
public:
  // Reads at most `iCapacity` bytes. S_OK with `oCount` above 0; S_FALSE with 0 at the end; a
  // failure code with 0.
  virtual long Read(char* oBuffer, std::size_t iCapacity, std::size_t& oCount) = 0;
};
