#pragma once

#include <cstddef>
#include <string>

// Conversion between UTF-8 and UTF-16. What is malformed becomes U+FFFD.
namespace zep {

// One U+FFFD for each maximal ill-formed subpart. Gives the number of units written, which is never
// above `byteCount`. REQUIRES: room for that many; CheckTextLength accepts `byteCount`.
std::size_t WriteUTF16(const char* bytes, std::size_t byteCount, char16_t* units);

// The same as a text of its own. Throws std::length_error for more bytes than a text may have
// characters.
std::u16string UTF16FromUTF8(const char* bytes, std::size_t byteCount);

// Turns each lone surrogate into U+FFFD.
void ReplaceLoneSurrogates(char16_t* units, std::size_t unitCount);

// Number of bytes that WriteUTF8 writes. Lone surrogates count as U+FFFD.
std::size_t UTF8ByteCount(const char16_t* units, std::size_t unitCount);

// Writes exactly as many bytes as UTF8ByteCount gives for these units, no terminating zero.
void WriteUTF8(const char16_t* units, std::size_t unitCount, char* bytes);

// The text has capacity for `roomBehind` bytes more; they are zero.
std::string UTF8FromUTF16(const char16_t* units, std::size_t unitCount, std::size_t roomBehind = 0);

// Throws std::length_error when a text of that many characters would have a length beyond int.
void CheckTextLength(std::size_t unitCount);

} // namespace zep
