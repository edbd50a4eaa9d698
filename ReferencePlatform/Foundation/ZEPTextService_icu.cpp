#include "ZEPTextService.h"

#include <unicode/ustring.h>

#include <cstdint>
#include <stdexcept>
#include <string>
#include <string_view>

namespace zep {
namespace {

constexpr UChar32 kReplacement = 0xFFFD;

void CheckConverted(UErrorCode status) {
  if (U_FAILURE(status)) {
    throw std::runtime_error(u_errorName(status));
  }
}

} // namespace

std::u16string Lowered(std::u16string_view text) {
  // Few characters grow when lowered, so the first attempt nearly always fits.
  std::u16string lowered(text.size(), u'\0');
  for (;;) {
    UErrorCode status = U_ZERO_ERROR;
    const std::int32_t needed =
        u_strToLower(lowered.data(), static_cast<std::int32_t>(lowered.size()), text.data(),
                     static_cast<std::int32_t>(text.size()), "", &status);
    if (status != U_BUFFER_OVERFLOW_ERROR) {
      if (U_FAILURE(status)) {
        throw std::length_error(u_errorName(status));
      }
      lowered.resize(static_cast<std::size_t>(needed));
      return lowered;
    }
    lowered.resize(static_cast<std::size_t>(needed));
  }
}

std::size_t WriteMixedUTF16(const char* bytes, std::size_t byteCount, char16_t* units) {
  std::int32_t unitCount = 0;
  UErrorCode status = U_ZERO_ERROR;
  u_strFromUTF8WithSub(units, static_cast<std::int32_t>(byteCount), &unitCount, bytes,
                       static_cast<std::int32_t>(byteCount), kReplacement, nullptr, &status);
  CheckConverted(status);
  return static_cast<std::size_t>(unitCount);
}

std::size_t WriteMixedUTF8Step(const char16_t* units, std::size_t unitCount, char* bytes) {
  std::int32_t written = 0;
  UErrorCode status = U_ZERO_ERROR;
  u_strToUTF8WithSub(bytes, static_cast<std::int32_t>(3 * unitCount), &written, units,
                     static_cast<std::int32_t>(unitCount), kReplacement, nullptr, &status);
  CheckConverted(status);
  return static_cast<std::size_t>(written);
}

} // namespace zep
