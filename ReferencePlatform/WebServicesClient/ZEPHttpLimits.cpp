#include "ZEPHttpLimits.h"

#include "ZEPEnvironmentNumber.h"

namespace zep {
namespace {

constexpr std::int64_t kDayInMilliseconds = std::int64_t{24} * 60 * 60 * 1000;
constexpr std::int64_t kGibibyte = std::int64_t{1} << 30;

std::chrono::milliseconds TimeoutFromEnvironment(const char* name, std::int64_t defaultMilliseconds) {
  return std::chrono::milliseconds(NumberFromEnvironment(name, defaultMilliseconds, kDayInMilliseconds));
}

} // namespace

HttpLimits CurrentHttpLimits() {
  return {TimeoutFromEnvironment("ZEP_HTTP_CONNECT_TIMEOUT_MS", 10'000),
          TimeoutFromEnvironment("ZEP_HTTP_STALL_TIMEOUT_MS", 60'000),
          TimeoutFromEnvironment("ZEP_HTTP_TOTAL_TIMEOUT_MS", 300'000),
          NumberFromEnvironment("ZEP_HTTP_MAX_BODY_BYTES", std::int64_t{64} << 20, 2 * kGibibyte)};
}

} // namespace zep
