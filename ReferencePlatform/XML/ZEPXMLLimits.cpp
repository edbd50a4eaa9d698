#include "ZEPXMLLimits.h"

#include "ZEPEnvironmentNumber.h"

namespace zep {
namespace {

constexpr std::int64_t kDayInMilliseconds = std::int64_t{24} * 60 * 60 * 1000;
// No clock is looked at inside an XPath expression.
constexpr unsigned long kOperationsPerMillisecond = 7'000;
constexpr std::int64_t kMebibyte = std::int64_t{1} << 20;
constexpr std::int64_t kGibibyte = std::int64_t{1} << 30;

std::size_t SizeFromEnvironment(const char* name, std::int64_t defaultValue) {
  return static_cast<std::size_t>(NumberFromEnvironment(name, defaultValue, kGibibyte));
}

} // namespace

XMLLimits CurrentXMLLimits() {
  XMLLimits limits{};
  limits.time =
      std::chrono::milliseconds(NumberFromEnvironment("ZEP_XSLT_TIMEOUT_MS", 10'000, kDayInMilliseconds));
  limits.maxStylesheetBytes = SizeFromEnvironment("ZEP_XSLT_MAX_STYLESHEET_BYTES", 8 * kMebibyte);
  limits.maxExpressionBytes = SizeFromEnvironment("ZEP_XSLT_MAX_EXPRESSION_BYTES", 64 * kMebibyte);
  limits.maxTextBytes = SizeFromEnvironment("ZEP_XSLT_MAX_OUTPUT_BYTES", 64 * kMebibyte);
  limits.maxNodes = SizeFromEnvironment("ZEP_XSLT_MAX_NODES", 5'000'000);
  limits.maxMemoryBytes =
      static_cast<std::size_t>(NumberFromEnvironment("ZEP_XSLT_MAX_MEMORY_BYTES", kGibibyte, 64 * kGibibyte));
  limits.maxDepth = 1'000;
  limits.maxOperations = static_cast<unsigned long>(limits.time.count()) * kOperationsPerMillisecond;
  limits.maxTemplateDepth = 3'000;
  return limits;
}

} // namespace zep
