#include "FuzzTarget.h"
#include "ZEPCfgXMLExpressionServices.h"
#include "ZEPHResult.h"

#include <chrono>

namespace {

constexpr std::chrono::milliseconds kTimeLimit(200);

// Small, so that an input that reaches a bound does so in a moment.
const fuzz::ScratchFolder& Folder() {
  static const fuzz::ScratchFolder folder;
  static const bool isSet =
      (fuzz::SetEnvironment({{"ZEP_XSLT_TIMEOUT_MS", std::to_string(kTimeLimit.count())},
                             {"ZEP_XSLT_MAX_OUTPUT_BYTES", "262144"},
                             {"ZEP_XSLT_MAX_NODES", "50000"},
                             {"ZEP_XSLT_MAX_EXPRESSION_BYTES", "65536"},
                             {"ZEP_XSLT_MAX_STYLESHEET_BYTES", "65536"}}),
       true);
  static_cast<void>(isSet);
  return folder;
}

struct Formatted {
  long result;
  ZEPUnicodeString text;
  bool mayBeLate; // near the time limit
};

Formatted Format(std::string_view expression, unsigned char isCompact) {
  Formatted formatted{S_OK, fuzz::kUntouched, false};
  const auto begin = std::chrono::steady_clock::now();
  formatted.result = ZEPCfgXMLExpressionServices::FormatExpression(
      fuzz::Text(expression), formatted.text, fuzz::Text(Folder().Path("sheet.xsl")), isCompact);
  formatted.mayBeLate = std::chrono::steady_clock::now() - begin > kTimeLimit / 2;
  fuzz::Require((!ZEPFailed(formatted.result) && formatted.result != S_FALSE) ||
                    formatted.text == fuzz::kUntouched,
                "what was not formatted is untouched");
  fuzz::Require(fuzz::IsWellFormed(formatted.text), "what was formatted is a whole text");
  return formatted;
}

bool IsOneOfTheSame(std::string_view stylesheet) {
  // Such an identifier is made from an address.
  return stylesheet.find("generate-id") == std::string_view::npos;
}

} // namespace

// A stylesheet and an expression; without one a small one.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const fuzz::Parts parts = fuzz::SplitInput(fuzz::Bytes(data, size));
  Folder().Write("sheet.xsl", parts.first);
  const std::string_view expression =
      parts.areTwo ? parts.second : "<EffectivityExpression a='1'><b/>text</EffectivityExpression>";
  const auto isCompact = static_cast<unsigned char>(size % 2);
  const Formatted once = Format(expression, isCompact);
  // The second time with what was kept of the first.
  if (!ZEPFailed(once.result) && IsOneOfTheSame(parts.first)) {
    const Formatted again = Format(expression, isCompact);
    fuzz::Require((again.result == once.result && again.text == once.text) ||
                      (ZEPFailed(again.result) && again.mayBeLate),
                  "the same again gives the same");
  }
  return 0;
}
