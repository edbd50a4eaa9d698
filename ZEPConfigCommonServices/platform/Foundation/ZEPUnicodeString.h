#pragma once

#include "ZEPPlatformExport.h"

#include <atomic>
#include <cstddef>

// A text in UTF-16. A character is one UTF-16 code unit, positions are 0-based, lengths count
// characters. Any code unit may stand anywhere (NUL and lone surrogates included).
//
// Narrow text is UTF-8 everywhere on this platform.
//
// Out-of-range arguments never hurt: a range [start, start + length) names the characters of the
// text that it overlaps, a length of 0 or less names none, and sums do not overflow.
//
// A text belongs to its owner; const operations may run on several threads at once.
class ZEP_PLATFORM_API ZEPUnicodeString {
public:
  ZEPUnicodeString();
  // From zero-terminated narrow text; null reads as empty.
  ZEPUnicodeString(const char* narrowText); // NOLINT(google-explicit-constructor)
  // From `unitCount` code units, copied as they stand.
  ZEPUnicodeString(const char16_t* units, std::size_t unitCount);
  ZEPUnicodeString(const ZEPUnicodeString& other);
  ZEPUnicodeString(ZEPUnicodeString&& other) noexcept; // leaves `other` empty
  ZEPUnicodeString& operator=(const ZEPUnicodeString& other);
  ZEPUnicodeString& operator=(ZEPUnicodeString&& other) noexcept; // leaves `other` empty
  ~ZEPUnicodeString();

  // Replaces the content. Never fails: each malformed sequence becomes U+FFFD, one for each
  // maximal ill-formed subpart. The bytes need no alignment; null with a count of 0 is empty.
  // Returns S_OK.
  long BuildFromUTF8(const char* bytes, std::size_t byteCount);
  // The same from units in the machine's byte order. Looks at no byte-order mark; a lone surrogate
  // becomes U+FFFD.
  long BuildFromUTF16(const void* units, std::size_t unitCount);

  // The text as zero-terminated UTF-8 (a lone surrogate as U+FFFD). The string owns the bytes;
  // they stay valid until the string is next changed or destroyed. A NUL character inside the
  // text ends it for readers of a zero-terminated text: ZEPUTF8Conversion gives the length too.
  const char* ConvertToChar() const;
  const char* CastToCharPtr() const; // the same

  // The code units, followed by a zero unit; valid until the string is next changed.
  const char16_t* CastToUnitPtr() const { return m_units; }
  int GetLengthInChar() const { return m_length; } // the number of characters
  bool IsEmpty() const { return m_length == 0; }   // whether there is none

  // Position of the first occurrence of `pattern` at or behind `start`, or -1. `mode` is 1:
  // forward, case-sensitive (the only mode). A negative start searches from 0, a start beyond
  // the end finds nothing, an empty pattern is found at `start`.
  int SearchSubString(const ZEPUnicodeString& pattern, int start, int mode) const;
  // The characters of that range.
  ZEPUnicodeString SubString(int start, int length) const;

  // Puts the text in front of the character at that position, which is moved into [0, length].
  // Returns this string, as each operation does that changes it.
  ZEPUnicodeString& Insert(int position, const ZEPUnicodeString& text);
  // Takes out the characters of that range.
  ZEPUnicodeString& Remove(int start, int length);
  // Puts the text behind the last character.
  ZEPUnicodeString& Append(const ZEPUnicodeString& text);
  // Append(text.SubString(start, length)) without a text in between. A platform need not have it.
  ZEPUnicodeString& AppendPart(const ZEPUnicodeString& text, int start, int length);
  // Makes room for so many characters at once, and gives back what is far beyond that; the text stays
  // as it is. A platform need not have it.
  void Reserve(int length);
  // Strips `character` from the start (mode 0), the end (mode 1) or both ends (mode 2).
  ZEPUnicodeString& Strip(int mode, char character);
  // Full lower-casing without a locale (what it does to a text never depends on the machine).
  ZEPUnicodeString& ToLower();
  // Empties the text.
  void Reset();

  // 2: identical; 1: equal but for the case of ASCII letters; 0: different.
  int Compare(const ZEPUnicodeString& other) const;
  // Exact comparison.
  bool operator==(const ZEPUnicodeString& other) const;
  // Exact comparison, as if the narrow text had been made a ZEPUnicodeString first.
  bool operator==(const char* narrowText) const;

  // Reads a number as "%d" does: leading white space and a sign are accepted, what follows the
  // digits is ignored. Returns 1 and sets `*number`, or returns 0 and leaves `*number` alone
  // when there is no number or it does not fit an int. Any other format returns 0.
  int ConvertToNum(int* number, const char* format) const;

private:
  static constexpr std::size_t kUnitsInPlace = 19; // makes the whole as long as a cache line

  bool IsInPlace() const { return m_units == m_inPlace; }
  std::size_t UnitCount() const { return static_cast<std::size_t>(m_length); }
  void EndAt(std::size_t length) {
    m_units[length] = u'\0';
    m_length = static_cast<int>(length);
  }
  void ShareUnitsOf(const ZEPUnicodeString& other);
  void TakeUnitsOf(ZEPUnicodeString& other);
  void MakeRoom(std::size_t unitCount); // that nobody shares
  void MakeRoomElsewhere(std::size_t unitCount);
  void GiveBackRoomBeyond(std::size_t unitCount); // REQUIRES: room of its own, not in place
  void MoveTo(char16_t* units);
  void AddUnits(const char16_t* units, std::size_t unitCount);
  void Empty();
  char* TakeNarrowText();
  void DropNarrowText();

  char16_t* m_units; // m_inPlace, or memory that equal texts share until one of them is changed
  int m_length;
  mutable std::atomic<char*> m_narrowText; // made on demand, owned; null until then
  char16_t m_inPlace[kUnitsInPlace + 1];
};

// The characters of the left text, then those of the right one.
ZEP_PLATFORM_API ZEPUnicodeString operator+(const ZEPUnicodeString& left, const ZEPUnicodeString& right);
