#include "ZEPXMLText.h"

#include "ZEPUnicodeString.h"

#include <cstdint>
#include <cstring>

namespace zep {
namespace {

constexpr std::size_t kSmallBytes = std::size_t{1} << 16;
constexpr std::size_t kMaxBytesPerUnit = 3;
constexpr char32_t kFirstBeyondUnits = 0x10000;

bool IsSurrogate(char16_t unit) {
  return (unit & 0xF800) == 0xD800;
}

bool IsPair(char16_t first, char16_t second) {
  return (first & 0xFC00) == 0xD800 && (second & 0xFC00) == 0xDC00;
}

// ---- four characters at a time -----------------------------------------------------------------

// Texts are mostly ASCII.
constexpr std::size_t kRun = 4;

// The low bytes of four units that are all ASCII, none of them zero.
bool NarrowRun(const char16_t* units, char* bytes) {
  std::uint64_t run;
  std::memcpy(&run, units, sizeof run);
  const bool isASCII = (run & 0xFF80FF80FF80FF80U) == 0;
  const bool hasZero = ((run - 0x0001000100010001U) & ~run & 0x8000800080008000U) != 0;
  if (!isASCII || hasZero) {
    return false;
  }
  for (std::size_t i = 0; i < kRun; ++i) {
    bytes[i] = static_cast<char>(units[i]);
  }
  return true;
}

bool WidenRun(const char* bytes, char* units) {
  std::uint32_t run;
  std::memcpy(&run, bytes, sizeof run);
  if ((run & 0x80808080U) != 0) {
    return false;
  }
  for (std::size_t i = 0; i < kRun; ++i) {
    units[2 * i] = bytes[i];
    units[2 * i + 1] = 0;
  }
  return true;
}

// ---- one character -----------------------------------------------------------------------------

char* WriteTrail(char* bytes, char32_t character, int shift) {
  *bytes = static_cast<char>(0x80U | ((character >> shift) & 0x3FU));
  return bytes + 1;
}

char* WriteUTF8Character(char* bytes, char32_t character) {
  if (character < 0x80) {
    *bytes = static_cast<char>(character);
    return bytes + 1;
  }
  if (character < 0x800) {
    *bytes = static_cast<char>(0xC0U | (character >> 6));
    return WriteTrail(bytes + 1, character, 0);
  }
  if (character < kFirstBeyondUnits) {
    *bytes = static_cast<char>(0xE0U | (character >> 12));
    return WriteTrail(WriteTrail(bytes + 1, character, 6), character, 0);
  }
  *bytes = static_cast<char>(0xF0U | (character >> 18));
  return WriteTrail(WriteTrail(WriteTrail(bytes + 1, character, 12), character, 6), character, 0);
}

char* WriteUnit(char* bytes, char32_t unit) {
  bytes[0] = static_cast<char>(unit & 0xFF);
  bytes[1] = static_cast<char>(unit >> 8);
  return bytes + 2;
}

char* WriteUTF16Character(char* bytes, char32_t character) {
  if (character < kFirstBeyondUnits) {
    return WriteUnit(bytes, character);
  }
  const char32_t rest = character - kFirstBeyondUnits;
  return WriteUnit(WriteUnit(bytes, 0xD800 | (rest >> 10)), 0xDC00 | (rest & 0x3FF));
}

struct Sequence {
  int byteCount; // 0 for what is no lead byte
  char32_t lead;
  char32_t lowest; // what is below has a shorter form
};

Sequence SequenceOf(unsigned char byte) {
  if (byte < 0x80) {
    return {1, byte, 0};
  }
  if (byte >= 0xC2 && byte < 0xE0) {
    return {2, byte & 0x1FU, 0x80};
  }
  if (byte >= 0xE0 && byte < 0xF0) {
    return {3, byte & 0x0FU, 0x800};
  }
  return byte >= 0xF0 && byte < 0xF5 ? Sequence{4, byte & 0x07U, kFirstBeyondUnits} : Sequence{0, 0, 0};
}

// False for what is not well-formed.
bool ReadUTF8Character(const char*& bytes, const char* end, char32_t& character) {
  const Sequence sequence = SequenceOf(static_cast<unsigned char>(*bytes));
  if (sequence.byteCount == 0 || end - bytes < sequence.byteCount) {
    return false;
  }
  character = sequence.lead;
  for (int i = 1; i < sequence.byteCount; ++i) {
    const auto trail = static_cast<unsigned char>(bytes[i]);
    if ((trail & 0xC0) != 0x80) {
      return false;
    }
    character = (character << 6) | (trail & 0x3FU);
  }
  bytes += sequence.byteCount;
  return character >= sequence.lowest && character <= 0x10FFFF && (character & 0xFFFFF800) != 0xD800;
}

} // namespace

// ---- UTF-8 for the parser ----------------------------------------------------------------------

void UTF8Buffer::Reserve(std::size_t byteCount) {
  if (byteCount > m_capacity) {
    m_bytes = std::make_unique_for_overwrite<char[]>(byteCount);
    m_capacity = byteCount;
  }
}

void UTF8Buffer::Shrink() {
  if (m_capacity > kSmallBytes) {
    m_bytes.reset();
    m_capacity = 0;
    m_byteCount = 0;
  }
}

const char* UTF8Buffer::Set(const ZEPUnicodeString& text) {
  const char16_t* unit = text.CastToUnitPtr();
  const auto unitCount = static_cast<std::size_t>(text.GetLengthInChar());
  const char16_t* const end = unit + unitCount;
  Reserve(unitCount * kMaxBytesPerUnit + 1);
  char* out = m_bytes.get();
  while (unit != end) {
    if (static_cast<std::size_t>(end - unit) >= kRun && NarrowRun(unit, out)) {
      unit += kRun;
      out += kRun;
      continue;
    }
    char32_t character = *unit++;
    if (character == 0) {
      return "the text holds a NUL character";
    }
    if (IsSurrogate(static_cast<char16_t>(character))) {
      if (unit == end || !IsPair(static_cast<char16_t>(character), *unit)) {
        return "the text holds half a character (a lone surrogate)";
      }
      character = kFirstBeyondUnits + ((character & 0x3FF) << 10) + (*unit++ & 0x3FFU);
    }
    out = WriteUTF8Character(out, character);
  }
  *out = '\0';
  m_byteCount = static_cast<std::size_t>(out - m_bytes.get());
  return nullptr;
}

// ---- UTF-16 for the result ---------------------------------------------------------------------

bool WriteUTF16(const std::string& utf8, std::string& bytes) {
  bytes.resize((utf8.size() + 1) * 2); // no byte gives more than one unit
  char* out = WriteUnit(bytes.data(), 0xFEFF);
  const char* in = utf8.data();
  const char* const end = in + utf8.size();
  while (in != end) {
    if (static_cast<std::size_t>(end - in) >= kRun && WidenRun(in, out)) {
      in += kRun;
      out += 2 * kRun;
      continue;
    }
    char32_t character = 0;
    if (!ReadUTF8Character(in, end, character)) {
      return false;
    }
    out = WriteUTF16Character(out, character);
  }
  bytes.resize(static_cast<std::size_t>(out - bytes.data()));
  return true;
}

} // namespace zep
