#include "ZEPTextService.h"

#define WIN32_LEAN_AND_MEAN
#ifndef NOMINMAX
#define NOMINMAX
#endif
#include <windows.h>

#include <stdexcept>
#include <string>
#include <string_view>

namespace zep {
namespace {

std::size_t CheckConverted(int count) {
  if (count <= 0) {
    throw std::runtime_error("the system does not convert a text");
  }
  return static_cast<std::size_t>(count);
}

// Which bytes may follow the first one of a sequence, by the second: overlong forms, surrogates and what is
// beyond U+10FFFF are ill-formed from their second byte on. The system counts these otherwise.
struct Lead {
  std::size_t length; // 0: no sequence begins so
  unsigned char low;
  unsigned char high;
};

Lead LeadOf(unsigned char byte) {
  if (byte < 0x80) {
    return {1, 0, 0};
  }
  if (byte >= 0xC2 && byte <= 0xDF) {
    return {2, 0x80, 0xBF};
  }
  if (byte >= 0xE0 && byte <= 0xEF) {
    return {3, static_cast<unsigned char>(byte == 0xE0 ? 0xA0 : 0x80),
            static_cast<unsigned char>(byte == 0xED ? 0x9F : 0xBF)};
  }
  if (byte >= 0xF0 && byte <= 0xF4) {
    return {4, static_cast<unsigned char>(byte == 0xF0 ? 0x90 : 0x80),
            static_cast<unsigned char>(byte == 0xF4 ? 0x8F : 0xBF)};
  }
  return {0, 0, 0};
}

// The bytes of the sequence that begins here, or of its part that is well-formed; 1 at least.
std::size_t WellFormedBytes(const unsigned char* bytes, std::size_t count, const Lead& lead) {
  std::size_t length = 1;
  unsigned char low = lead.low;
  unsigned char high = lead.high;
  while (length < lead.length && length < count && bytes[length] >= low && bytes[length] <= high) {
    ++length;
    low = 0x80;
    high = 0xBF;
  }
  return length;
}

} // namespace

std::u16string Lowered(std::u16string_view text) {
  std::u16string lowered(text);
  if (!text.empty()) {
    const auto count = static_cast<int>(text.size());
    CheckConverted(LCMapStringEx(LOCALE_NAME_INVARIANT, LCMAP_LOWERCASE,
                                 reinterpret_cast<const wchar_t*>(text.data()), count,
                                 reinterpret_cast<wchar_t*>(lowered.data()), count, nullptr, nullptr, 0));
  }
  // What the system leaves as it is: the first becomes two characters, the second is a late one.
  constexpr char16_t kDottedI = u'\u0130';
  constexpr char16_t kSharpS = u'\u1E9E';
  for (std::size_t at = 0; at < lowered.size(); ++at) {
    if (lowered[at] == kDottedI) {
      lowered.replace(at, 1, u"i\u0307");
    } else if (lowered[at] == kSharpS) {
      lowered[at] = u'\u00DF';
    }
  }
  return lowered;
}

std::size_t WriteMixedUTF16(const char* text, std::size_t byteCount, char16_t* units) {
  const auto* const bytes = reinterpret_cast<const unsigned char*>(text);
  std::size_t written = 0;
  for (std::size_t read = 0; read < byteCount;) {
    const Lead lead = LeadOf(bytes[read]);
    const std::size_t length = WellFormedBytes(bytes + read, byteCount - read, lead);
    if (length != lead.length) {
      units[written++] = u'\uFFFD';
    } else {
      constexpr unsigned char kBits[] = {0, 0x7F, 0x1F, 0x0F, 0x07};
      char32_t character = bytes[read] & kBits[length];
      for (std::size_t i = 1; i < length; ++i) {
        character = character << 6 | (bytes[read + i] & 0x3F);
      }
      if (character < 0x10000) {
        units[written++] = static_cast<char16_t>(character);
      } else {
        units[written++] = static_cast<char16_t>(0xD7C0 + (character >> 10));
        units[written++] = static_cast<char16_t>(0xDC00 | (character & 0x3FF));
      }
    }
    read += length;
  }
  return written;
}

std::size_t WriteMixedUTF8Step(const char16_t* units, std::size_t unitCount, char* bytes) {
  static_assert(sizeof(wchar_t) == sizeof(char16_t));
  const auto count = static_cast<int>(unitCount);
  return CheckConverted(WideCharToMultiByte(CP_UTF8, 0, reinterpret_cast<const wchar_t*>(units), count, bytes,
                                            3 * count, nullptr, nullptr));
}

} // namespace zep
