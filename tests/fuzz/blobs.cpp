#include "FuzzTarget.h"
#include "ZEPBinary.h"
#include "ZEPCfgFilterBasicServices.h"
#include "ZEPFilterComparison.h"
#include "ZEPFilter_generated.h"
#include "ZEPHResult.h"

#include <cstring>
#include <optional>
#include <vector>

#include <zlib.h>

namespace {

namespace binary = zep::binary;

// With the checksum that fits the content, so that changes of the content get any further. Numbers inside are
// read where a buffer is aligned.
ZEPBinary WithRightChecksum(std::string_view bytes) {
  std::vector<std::uint64_t> words(bytes.size() / sizeof(std::uint64_t) + 1);
  std::memcpy(words.data(), bytes.data(), bytes.size());
  auto* const begin = reinterpret_cast<std::uint8_t*>(words.data());
  flatbuffers::Verifier verifier(begin, bytes.size());
  if (bytes.size() >= 2 * sizeof(flatbuffers::uoffset_t) && binary::VerifyCompiledFilterBuffer(verifier)) {
    auto* const compiled = flatbuffers::GetMutableRoot<binary::CompiledFilter>(begin);
    if (compiled->filter() != nullptr) {
      const auto checksum = crc32_z(0, compiled->filter()->data(), compiled->filter()->size());
      reinterpret_cast<flatbuffers::Table*>(compiled)->SetField(
          binary::CompiledFilter::VT_CHECKSUM, static_cast<std::uint32_t>(checksum), std::uint32_t{0});
    }
  }
  return {begin, bytes.size()};
}

// Nothing where the comparison fails.
std::optional<bool> IsIncluded(const ZEPBinary& a, const ZEPBinary& b) {
  constexpr unsigned char kBefore = 77;
  unsigned char isIncluded = kBefore;
  const long result = ZEPCfgFilterBasicServices::IsAIncludedInB(a, b, isIncluded);
  fuzz::Require(ZEPFailed(result) == (isIncluded == kBefore), "a failure leaves the answer untouched");
  fuzz::Require(ZEPFailed(result) || isIncluded <= 1, "an answer is yes or no");
  return ZEPFailed(result) ? std::nullopt : std::optional(isIncluded == 1);
}

void CheckPair(const ZEPBinary& a, const ZEPBinary& b) {
  const std::optional<bool> aInA = IsIncluded(a, a);
  const std::optional<bool> bInB = IsIncluded(b, b);
  fuzz::Require(aInA.value_or(true) && bInB.value_or(true), "a filter includes itself");
  const std::optional<bool> aInB = IsIncluded(a, b);
  fuzz::Require(!aInB || (aInA && bInB), "an answer is about two filters that can be read");
  std::optional<zep::Configuration> counterexample;
  const long result = zep::FindCounterexample(b, a, counterexample);
  fuzz::Require(ZEPFailed(result) == !aInB.has_value(), "both comparisons fail together");
  fuzz::Require(!aInB || *aInB == !counterexample.has_value(),
                "a counterexample is there or not as answered");
}

} // namespace

// Two compiled filters, or one that is compared with itself.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  static const bool isSet = (fuzz::SetEnvironment({{"ZEP_FILTER_TIMEOUT_MS", "2000"}}), true);
  static_cast<void>(isSet);
  const fuzz::Parts parts = fuzz::SplitInput(fuzz::Bytes(data, size));
  const std::string_view second = parts.areTwo ? parts.second : parts.first;
  // As they came; copies of their own, so that a read behind the end is seen.
  IsIncluded(ZEPBinary(parts.first.data(), parts.first.size()), ZEPBinary(second.data(), second.size()));
  CheckPair(WithRightChecksum(parts.first), WithRightChecksum(second));
  return 0;
}
