#include "FuzzTarget.h"
#include "ZEPBinary.h"
#include "ZEPCfgFilterBasicServices.h"
#include "ZEPFilterCompiler.h"
#include "ZEPHResult.h"

#include <algorithm>

namespace {

struct Compiled {
  long result;
  ZEPBinary bytes;
  std::size_t terms;
};

constexpr std::size_t kNoTerms = 987;

Compiled Compile(std::string_view expression) {
  Compiled compiled{S_OK, ZEPBinary("x", 1), kNoTerms};
  compiled.result = zep::CompileFilter(fuzz::Text(expression), compiled.bytes, compiled.terms);
  fuzz::Require(!ZEPFailed(compiled.result) ||
                    (compiled.bytes.ByteCount() == 1 && compiled.terms == kNoTerms),
                "a failure leaves the outputs untouched");
  fuzz::Require(ZEPFailed(compiled.result) || zep::IsCompiledFilter(compiled.bytes),
                "what was compiled looks like a compiled filter");
  return compiled;
}

bool AreSame(const ZEPBinary& left, const ZEPBinary& right) {
  return std::equal(left.Bytes(), left.Bytes() + left.ByteCount(), right.Bytes(),
                    right.Bytes() + right.ByteCount());
}

// REQUIRES: both were compiled. Without an answer it took too long.
bool MayBeIncluded(const Compiled& a, const Compiled& b) {
  unsigned char isIncluded = 0;
  const long result = ZEPCfgFilterBasicServices::IsAIncludedInB(a.bytes, b.bytes, isIncluded);
  fuzz::Require(!ZEPFailed(result) || result == E_ABORT, "what was compiled can be read");
  return ZEPFailed(result) || isIncluded == 1;
}

} // namespace

// One expression, or two to be compared.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  static const bool isSet =
      (fuzz::SetEnvironment({{"ZEP_FILTER_TIMEOUT_MS", "2000"}, {"ZEP_FILTER_MAX_TERMS", "1000"}}), true);
  static_cast<void>(isSet);
  const fuzz::Parts parts = fuzz::SplitInput(fuzz::Bytes(data, size));
  const Compiled first = Compile(parts.first);
  const Compiled again = Compile(parts.first);
  fuzz::Require(first.result == again.result && first.terms == again.terms &&
                    AreSame(first.bytes, again.bytes),
                "the same expression gives the same bytes");
  if (ZEPFailed(first.result)) {
    return 0;
  }
  fuzz::Require(MayBeIncluded(first, first), "a filter includes itself");
  if (parts.areTwo) {
    const Compiled second = Compile(parts.second);
    if (!ZEPFailed(second.result)) {
      const bool isIncluded = MayBeIncluded(first, second);
      fuzz::Require(isIncluded || second.terms == 0 || !AreSame(first.bytes, second.bytes),
                    "filters of the same bytes include each other");
      MayBeIncluded(second, first);
    }
  }
  return 0;
}
