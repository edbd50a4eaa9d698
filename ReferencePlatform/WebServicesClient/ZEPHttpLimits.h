#pragma once

#include <chrono>
#include <cstdint>

namespace zep {

struct HttpLimits {
  std::chrono::milliseconds connectTimeout; // name look-up and TLS handshake included
  std::chrono::milliseconds stallTimeout;   // without a byte in either direction
  std::chrono::milliseconds totalTimeout;
  std::int64_t maxBodyBytes;
};

// From the environment; a variable that does not hold a number within bounds counts as not set.
HttpLimits CurrentHttpLimits();

} // namespace zep
