#include "ZEPTranscoding.h"

#include "ZEPASCIIRun.h"

#include <climits>
#include <stdexcept>

namespace zep {
namespace {

constexpr char16_t kReplacement = u'\uFFFD';

bool IsLead(char16_t unit) {
  return (unit & 0xFC00) == 0xD800;
}

bool IsTrail(char16_t unit) {
  return (unit & 0xFC00) == 0xDC00;
}

// A pair of surrogates stands there. REQUIRES: units[position] exists.
bool IsPair(const char16_t* units, std::size_t position, std::size_t unitCount) {
  return position + 1 < unitCount && IsLead(units[position]) && IsTrail(units[position + 1]);
}

constexpr char32_t kFirstBeyondUnits = 0x10000;

unsigned ByteAt(const char* bytes, std::size_t position) {
  return static_cast<unsigned char>(bytes[position]);
}

// What the first byte of a longer sequence says of the rest. The second byte alone is bound more
// closely, so that nothing is written in more bytes than it needs, nor beyond the last code point.
struct Sequence {
  std::size_t length; // 1: no sequence begins so
  unsigned bits;      // of the first byte
  unsigned low;       // of the second byte
  unsigned high;
};

Sequence SequenceAfter(unsigned first) {
  if (first < 0xC2 || first > 0xF4) {
    return {1, 0, 0, 0};
  }
  if (first < 0xE0) {
    return {2, first & 0x1FU, 0x80, 0xBF};
  }
  if (first < 0xF0) {
    return {3, first & 0x0FU, first == 0xE0 ? 0xA0U : 0x80U, first == 0xED ? 0x9FU : 0xBFU};
  }
  return {4, first & 0x07U, first == 0xF0 ? 0x90U : 0x80U, first == 0xF4 ? 0x8FU : 0xBFU};
}

// Writes one character, or U+FFFD for the longest start of one, and gives the bytes read.
std::size_t DecodeOne(const char* bytes, std::size_t byteCount, char16_t*& to) {
  const Sequence sequence = SequenceAfter(ByteAt(bytes, 0));
  char32_t code = sequence.bits;
  std::size_t read = 1;
  while (read < sequence.length && read < byteCount) {
    const unsigned byte = ByteAt(bytes, read);
    if (read == 1 ? byte < sequence.low || byte > sequence.high : (byte & 0xC0U) != 0x80) {
      break;
    }
    code = code << 6 | (byte & 0x3FU);
    ++read;
  }
  if (read < sequence.length || sequence.length == 1) {
    *to++ = kReplacement;
  } else if (code < kFirstBeyondUnits) {
    *to++ = static_cast<char16_t>(code);
  } else {
    *to++ = static_cast<char16_t>(0xD800 + ((code - kFirstBeyondUnits) >> 10));
    *to++ = static_cast<char16_t>(0xDC00 + (code & 0x3FF));
  }
  return read;
}

void WriteTrailBytes(char32_t code, int count, char*& to) {
  while (count-- > 0) {
    *to++ = static_cast<char>(0x80 | ((code >> (6 * count)) & 0x3F));
  }
}

// Writes one character beyond ASCII, a lone surrogate as U+FFFD, and gives the units read.
std::size_t EncodeOne(const char16_t* units, std::size_t unitCount, char*& to) {
  if (IsPair(units, 0, unitCount)) {
    const char32_t code = kFirstBeyondUnits + ((units[0] & 0x3FFU) << 10 | (units[1] & 0x3FFU));
    *to++ = static_cast<char>(0xF0 | code >> 18);
    WriteTrailBytes(code, 3, to);
    return 2;
  }
  const char16_t unit = IsLead(units[0]) || IsTrail(units[0]) ? kReplacement : units[0];
  if (unit < 0x800) {
    *to++ = static_cast<char>(0xC0 | unit >> 6);
    WriteTrailBytes(unit, 1, to);
  } else {
    *to++ = static_cast<char>(0xE0 | unit >> 12);
    WriteTrailBytes(unit, 2, to);
  }
  return 1;
}

} // namespace

void CheckTextLength(std::size_t unitCount) {
  if (unitCount > static_cast<std::size_t>(INT_MAX)) {
    throw std::length_error("a text may not have more characters than an int can count");
  }
}

std::size_t WriteUTF16(const char* bytes, std::size_t byteCount, char16_t* units) {
  char16_t* to = units;
  for (std::size_t read = 0; read < byteCount;) {
    const std::size_t run = CopyASCIIRun(bytes + read, byteCount - read, to);
    read += run;
    to += run;
    while (read < byteCount && ByteAt(bytes, read) >= 0x80) {
      read += DecodeOne(bytes + read, byteCount - read, to);
    }
  }
  return static_cast<std::size_t>(to - units);
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
    for (; i < unitCount && units[i] >= 0x80; ++i) {
      bytes += units[i] < 0x800 ? 1U : 2U;
      if (IsPair(units, i, unitCount)) {
        ++i; // four bytes for two units
      }
    }
  }
  return bytes;
}

void WriteUTF8(const char16_t* units, std::size_t unitCount, char* bytes) {
  char* to = bytes;
  for (std::size_t read = 0; read < unitCount;) {
    const std::size_t run = CopyASCIIRun(units + read, unitCount - read, to);
    read += run;
    to += run;
    while (read < unitCount && units[read] >= 0x80) {
      read += EncodeOne(units + read, unitCount - read, to);
    }
  }
}

std::string UTF8FromUTF16(const char16_t* units, std::size_t unitCount, std::size_t roomBehind) {
  std::string bytes(UTF8ByteCount(units, unitCount) + roomBehind, '\0');
  WriteUTF8(units, unitCount, bytes.data());
  bytes.resize(bytes.size() - roomBehind);
  return bytes;
}

} // namespace zep
