#include "ZEPOmxAssert.h"

#include <cstdio>
#include <cstdlib>

void ZEPOmxAssertionFailed(const char* iWhat) {
  std::fprintf(stderr, "Assertion failed: %s\n", iWhat == nullptr ? "(no reason given)" : iWhat);
  std::fflush(stderr);
  std::abort();
}
