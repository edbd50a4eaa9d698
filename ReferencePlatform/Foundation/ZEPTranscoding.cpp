#include "ZEPTranscoding.h"

#include "ZEPASCIIRun.h"
#include "ZEPTextService.h"

#include <algorithm>
#include <climits>
#include <stdexcept>
#include <type_traits>

namespace zep {
namespace {

constexpr char16_t kReplacement = u'\uFFFD';

// Converters count in 32 bits, and a unit gives up to three bytes: long texts are written step by step.
constexpr std::size_t kUnitsPerStep = std::size_t{1} << 16;

bool IsPair(const char16_t* units, std::size_t position, std::size_t unitCount) {
  constexpr auto kind = [](char16_t unit) { return unit & 0xFC00; };
  return position + 1 < unitCount && kind(units[position]) == 0xD800 && kind(units[position + 1]) == 0xDC00;
}

std::size_t ExtraBytes(char16_t unit) {
  return (unit >= 0x80 ? 1U : 0U) + (unit >= 0x800 ? 1U : 0U);
}

// An ASCII unit belongs to no longer sequence, so a text can be cut in front of it and behind it.
// Shorter stretches of ASCII are left in what stands around them: a converter has its price per call.
constexpr std::size_t kWorthCutting = 16;

template <class Unit>
bool IsASCII(Unit unit) {
  return static_cast<std::make_unsigned_t<Unit>>(unit) < 0x80;
}

// Where the next stretch of ASCII begins that is worth cutting out, or `count`.
template <class Unit>
std::size_t EndOfMixedPart(const Unit* text, std::size_t count) {
  std::size_t run = 0;
  for (std::size_t i = 0; i < count; ++i) {
    run = IsASCII(text[i]) ? run + 1 : 0;
    if (run == kWorthCutting) {
      return i + 1 - run;
    }
  }
  return count;
}

std::size_t WriteMixedUTF8(const char16_t* units, std::size_t unitCount, char* bytes) {
  std::size_t read = 0;
  std::size_t written = 0;
  while (read < unitCount) {
    std::size_t step = std::min(unitCount - read, kUnitsPerStep);
    if (IsPair(units, read + step - 1, unitCount)) {
      ++step;
    }
    written += WriteMixedUTF8Step(units + read, step, bytes + written);
    read += step;
  }
  return written;
}

} // namespace

void CheckTextLength(std::size_t unitCount) {
  if (unitCount > static_cast<std::size_t>(INT_MAX)) {
    throw std::length_error("a text may not have more characters than an int can count");
  }
}

std::size_t WriteUTF16(const char* bytes, std::size_t byteCount, char16_t* units) {
  std::size_t read = CopyASCIIRun(bytes, byteCount, units);
  std::size_t written = read;
  while (read < byteCount) {
    const std::size_t mixed = EndOfMixedPart(bytes + read, byteCount - read);
    written += WriteMixedUTF16(bytes + read, mixed, units + written);
    read += mixed;
    const std::size_t run = CopyASCIIRun(bytes + read, byteCount - read, units + written);
    read += run;
    written += run;
  }
  return written;
}

std::u16string UTF16FromUTF8(const char* bytes, std::size_t byteCount) {
  CheckTextLength(byteCount);
  std::u16string text(byteCount, u'\0');
  text.resize(WriteUTF16(bytes, byteCount, text.data()));
  return text;
}

void ReplaceLoneSurrogates(char16_t* units, std::size_t unitCount) {
  for (std::size_t i = RunWithoutSurrogates(units, unitCount); i < unitCount;
       i += RunWithoutSurrogates(units + i, unitCount - i)) {
    if (IsPair(units, i, unitCount)) {
      ++i;
    } else {
      units[i] = kReplacement;
    }
    ++i;
  }
}

std::size_t UTF8ByteCount(const char16_t* units, std::size_t unitCount) {
  std::size_t bytes = unitCount;
  for (std::size_t i = ASCIIRun(units, unitCount); i < unitCount;) {
    const std::size_t end = i + EndOfMixedPart(units + i, unitCount - i);
    for (; i < end; ++i) {
      bytes += ExtraBytes(units[i]);
      // A pair is counted as twice three bytes and has four.
      bytes -= i > 0 && IsPair(units, i - 1, unitCount) ? 2U : 0U;
    }
    i += ASCIIRun(units + i, unitCount - i);
  }
  return bytes;
}

void WriteUTF8(const char16_t* units, std::size_t unitCount, char* bytes) {
  std::size_t read = CopyASCIIRun(units, unitCount, bytes);
  std::size_t written = read;
  while (read < unitCount) {
    const std::size_t mixed = EndOfMixedPart(units + read, unitCount - read);
    written += WriteMixedUTF8(units + read, mixed, bytes + written);
    read += mixed;
    const std::size_t run = CopyASCIIRun(units + read, unitCount - read, bytes + written);
    read += run;
    written += run;
  }
}

std::string UTF8FromUTF16(const char16_t* units, std::size_t unitCount, std::size_t roomBehind) {
  std::string bytes(UTF8ByteCount(units, unitCount) + roomBehind, '\0');
  WriteUTF8(units, unitCount, bytes.data());
  bytes.resize(bytes.size() - roomBehind);
  return bytes;
}

} // namespace zep
