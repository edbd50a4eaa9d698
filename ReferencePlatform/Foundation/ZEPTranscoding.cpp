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

// So much ASCII one after the other is followed by more, as a rule, which goes in large steps.
constexpr std::size_t kManyASCII = 4;

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

struct Part {
  std::size_t read = 0;
  std::size_t written = 0;
};

bool IsSurrogate(unsigned character) {
  return (character & 0xFFFFF800U) == 0xD800;
}

// The character of up to three bytes that begins there, and their count; 0 where none does.
struct Sequence {
  std::size_t length;
  unsigned character;
};

Sequence BasicSequence(const char* bytes, std::size_t byteCount) {
  const auto byte = [bytes](std::size_t position) { return static_cast<unsigned char>(bytes[position]); };
  const auto isContinued = [&](std::size_t length) {
    bool isSo = length <= byteCount;
    for (std::size_t i = 1; isSo && i < length; ++i) {
      isSo = (byte(i) & 0xC0U) == 0x80;
    }
    return isSo;
  };
  const unsigned lead = byte(0);
  if (lead < 0x80) {
    return {1, lead};
  }
  if (lead >= 0xC2 && lead < 0xE0 && isContinued(2)) {
    return {2, (lead & 0x1FU) << 6 | (byte(1) & 0x3FU)};
  }
  if (lead >= 0xE0 && lead < 0xF0 && isContinued(3)) {
    const unsigned character = (lead & 0x0FU) << 12 | (byte(1) & 0x3FU) << 6 | (byte(2) & 0x3FU);
    return {character < 0x800 || IsSurrogate(character) ? 0U : 3U, character};
  }
  return {0, 0};
}

// These two go on until there is much ASCII, or to what is malformed or beyond U+FFFF: that is rare, and
// left to the converter.
Part WriteBasicUTF16(const char* bytes, std::size_t byteCount, char16_t* units) {
  Part part;
  for (std::size_t run = 0; run < kManyASCII && part.read < byteCount;) {
    const Sequence sequence = BasicSequence(bytes + part.read, byteCount - part.read);
    if (sequence.length == 0) {
      break;
    }
    units[part.written++] = static_cast<char16_t>(sequence.character);
    part.read += sequence.length;
    run = sequence.length == 1 ? run + 1 : 0;
  }
  return part;
}

Part WriteBasicUTF8(const char16_t* units, std::size_t unitCount, char* bytes) {
  Part part;
  for (std::size_t run = 0; run < kManyASCII && part.read < unitCount && !IsSurrogate(units[part.read]);) {
    const unsigned unit = units[part.read++];
    const std::size_t length = 1 + ExtraBytes(static_cast<char16_t>(unit));
    char* const to = bytes + part.written;
    if (length == 1) {
      to[0] = static_cast<char>(unit);
    } else if (length == 2) {
      to[0] = static_cast<char>(0xC0U | unit >> 6);
      to[1] = static_cast<char>(0x80U | (unit & 0x3FU));
    } else {
      to[0] = static_cast<char>(0xE0U | unit >> 12);
      to[1] = static_cast<char>(0x80U | (unit >> 6 & 0x3FU));
      to[2] = static_cast<char>(0x80U | (unit & 0x3FU));
    }
    part.written += length;
    run = length == 1 ? run + 1 : 0;
  }
  return part;
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

template <class From, class To>
std::size_t WriteAll(const From* from, std::size_t count, To* to,
                     Part (*writeBasic)(const From*, std::size_t, To*),
                     std::size_t (*writeMixed)(const From*, std::size_t, To*)) {
  std::size_t read = 0;
  std::size_t written = 0;
  while (read < count) {
    const std::size_t run = CopyASCIIRun(from + read, count - read, to + written);
    read += run;
    written += run;
    const Part basic = writeBasic(from + read, count - read, to + written);
    read += basic.read;
    written += basic.written;
    if (run + basic.read == 0) {
      const std::size_t mixed = EndOfMixedPart(from + read, count - read);
      written += writeMixed(from + read, mixed, to + written);
      read += mixed;
    }
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
  return WriteAll(bytes, byteCount, units, WriteBasicUTF16, WriteMixedUTF16);
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
  for (std::size_t i = 0; i < unitCount;) {
    i += ASCIIRun(units + i, unitCount - i);
    for (std::size_t run = 0; run < kManyASCII && i < unitCount; ++i) {
      bytes += ExtraBytes(units[i]);
      // A pair is counted as twice three bytes and has four.
      bytes -= i > 0 && IsPair(units, i - 1, unitCount) ? 2U : 0U;
      run = IsASCII(units[i]) ? run + 1 : 0;
    }
  }
  return bytes;
}

void WriteUTF8(const char16_t* units, std::size_t unitCount, char* bytes) {
  WriteAll(units, unitCount, bytes, WriteBasicUTF8, WriteMixedUTF8);
}

std::string UTF8FromUTF16(const char16_t* units, std::size_t unitCount, std::size_t roomBehind) {
  std::string bytes(UTF8ByteCount(units, unitCount) + roomBehind, '\0');
  WriteUTF8(units, unitCount, bytes.data());
  bytes.resize(bytes.size() - roomBehind);
  return bytes;
}

} // namespace zep
