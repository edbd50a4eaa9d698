#include "ZEPTranscoding.h"

#include <unicode/ustring.h>
#include <unicode/utf16.h>

#include <algorithm>
#include <climits>
#include <cstdint>
#include <cstring>
#include <stdexcept>

namespace zep {
namespace {

constexpr char16_t kReplacement = u'\uFFFD';

// ICU counts in 32 bits, and a unit gives up to three bytes: long texts are written step by step.
constexpr std::size_t kUnitsPerStep = std::size_t{1} << 16;

bool IsPair(const char16_t* units, std::size_t position, std::size_t unitCount) {
  return position + 1 < unitCount && U16_IS_LEAD(units[position]) && U16_IS_TRAIL(units[position + 1]);
}

// Texts are mostly ASCII: four units at once are looked at.
constexpr std::size_t kUnitsPerWord = sizeof(std::uint64_t) / sizeof(char16_t);

bool IsASCIIWord(const char16_t* units) {
  std::uint64_t word;
  std::memcpy(&word, units, sizeof word);
  return (word & 0xFF80FF80FF80FF80U) == 0;
}

std::size_t ExtraBytes(char16_t unit) {
  return (unit >= 0x80 ? 1U : 0U) + (unit >= 0x800 ? 1U : 0U);
}

void CheckConverted(UErrorCode status) {
  if (U_FAILURE(status)) {
    throw std::runtime_error(u_errorName(status));
  }
}

std::size_t WriteStep(const char16_t* units, std::size_t unitCount, char* bytes, std::size_t capacity) {
  const auto capacityInStep = static_cast<std::int32_t>(std::min<std::size_t>(capacity, INT_MAX));
  std::int32_t written = 0;
  UErrorCode status = U_ZERO_ERROR;
  u_strToUTF8WithSub(bytes, capacityInStep, &written, units, static_cast<std::int32_t>(unitCount),
                     kReplacement, nullptr, &status);
  CheckConverted(status);
  return static_cast<std::size_t>(written);
}

} // namespace

void CheckTextLength(std::size_t unitCount) {
  if (unitCount > static_cast<std::size_t>(INT_MAX)) {
    throw std::length_error("a text may not have more characters than an int can count");
  }
}

std::u16string UTF16FromUTF8(const char* bytes, std::size_t byteCount) {
  CheckTextLength(byteCount);
  if (byteCount == 0) {
    return {};
  }
  // No byte gives more than one unit, so that one pass is enough.
  std::u16string text(byteCount, u'\0');
  std::int32_t unitCount = 0;
  UErrorCode status = U_ZERO_ERROR;
  u_strFromUTF8WithSub(text.data(), static_cast<std::int32_t>(byteCount), &unitCount, bytes,
                       static_cast<std::int32_t>(byteCount), kReplacement, nullptr, &status);
  CheckConverted(status);
  text.resize(static_cast<std::size_t>(unitCount));
  return text;
}

void ReplaceLoneSurrogates(std::u16string& text) {
  for (std::size_t i = 0; i < text.size(); ++i) {
    if (IsPair(text.data(), i, text.size())) {
      ++i;
    } else if (U16_IS_SURROGATE(text[i])) {
      text[i] = kReplacement;
    }
  }
}

std::size_t UTF8ByteCount(const char16_t* units, std::size_t unitCount) {
  std::size_t bytes = unitCount;
  for (std::size_t i = 0; i < unitCount;) {
    if (unitCount - i >= kUnitsPerWord && IsASCIIWord(units + i)) {
      i += kUnitsPerWord;
      continue;
    }
    const std::size_t end = std::min(i + kUnitsPerWord, unitCount);
    for (; i < end; ++i) {
      bytes += ExtraBytes(units[i]);
      // A pair is counted as twice three bytes and has four.
      bytes -= i > 0 && IsPair(units, i - 1, unitCount) ? 2U : 0U;
    }
  }
  return bytes;
}

void WriteUTF8(const char16_t* units, std::size_t unitCount, char* bytes, std::size_t byteCount) {
  std::size_t read = 0;
  std::size_t written = 0;
  while (read < unitCount) {
    std::size_t step = std::min(unitCount - read, kUnitsPerStep);
    if (IsPair(units, read + step - 1, unitCount)) {
      ++step;
    }
    written += WriteStep(units + read, step, bytes + written, byteCount - written);
    read += step;
  }
}

std::string UTF8FromUTF16(const char16_t* units, std::size_t unitCount) {
  std::string bytes(UTF8ByteCount(units, unitCount), '\0');
  WriteUTF8(units, unitCount, bytes.data(), bytes.size());
  return bytes;
}

} // namespace zep
