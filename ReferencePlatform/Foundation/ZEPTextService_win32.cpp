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

} // namespace

std::u16string Lowered(std::u16string_view text) {
  std::u16string lowered(text);
  if (!text.empty()) {
    const auto count = static_cast<int>(text.size());
    CheckConverted(LCMapStringEx(LOCALE_NAME_INVARIANT, LCMAP_LOWERCASE,
                                 reinterpret_cast<const wchar_t*>(text.data()), count,
                                 reinterpret_cast<wchar_t*>(lowered.data()), count, nullptr, nullptr, 0));
  }
  return lowered;
}

std::size_t WriteMixedUTF16(const char* bytes, std::size_t byteCount, char16_t* units) {
  static_assert(sizeof(wchar_t) == sizeof(char16_t));
  const auto count = static_cast<int>(byteCount);
  return CheckConverted(
      MultiByteToWideChar(CP_UTF8, 0, bytes, count, reinterpret_cast<wchar_t*>(units), count));
}

std::size_t WriteMixedUTF8Step(const char16_t* units, std::size_t unitCount, char* bytes) {
  const auto count = static_cast<int>(unitCount);
  return CheckConverted(WideCharToMultiByte(CP_UTF8, 0, reinterpret_cast<const wchar_t*>(units), count, bytes,
                                            3 * count, nullptr, nullptr));
}

} // namespace zep
