#include "ZEPUnicodeString.h"

#include "ZEPHResult.h"
#include "ZEPTextSearch.h"
#include "ZEPTranscoding.h"

#include <unicode/ustring.h>

#include <algorithm>
#include <climits>
#include <cstdint>
#include <cstring>
#include <limits>
#include <stdexcept>
#include <utility>

namespace {

struct Range {
  std::size_t start;
  std::size_t count;
};

// The part of [start, start + length) that lies in a text of `textLength` characters.
Range Overlap(std::size_t textLength, int start, int length) {
  const auto end = static_cast<std::int64_t>(textLength);
  const std::int64_t from = std::clamp<std::int64_t>(start, 0, end);
  const std::int64_t to = std::clamp<std::int64_t>(std::int64_t{start} + length, from, end);
  return {static_cast<std::size_t>(from), static_cast<std::size_t>(to - from)};
}

char16_t LowerASCII(char16_t unit) {
  return unit >= u'A' && unit <= u'Z' ? static_cast<char16_t>(unit + (u'a' - u'A')) : unit;
}

bool EqualButForASCIICase(const std::u16string& left, const std::u16string& right) {
  return std::equal(left.begin(), left.end(), right.begin(), right.end(),
                    [](char16_t a, char16_t b) { return LowerASCII(a) == LowerASCII(b); });
}

bool IsWhiteSpace(char16_t unit) {
  return unit == u' ' || (unit >= u'\t' && unit <= u'\r');
}

std::u16string Lowered(const std::u16string& text) {
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

std::size_t NarrowLength(const char* narrowText) {
  return narrowText == nullptr ? 0 : std::strlen(narrowText);
}

} // namespace

ZEPUnicodeString::ZEPUnicodeString() : m_narrowText(nullptr) {}

ZEPUnicodeString::ZEPUnicodeString(const char* narrowText)
    : m_text(zep::UTF16FromUTF8(narrowText, NarrowLength(narrowText))),
      m_narrowText(nullptr) {}

ZEPUnicodeString::ZEPUnicodeString(const char16_t* units, std::size_t unitCount) : m_narrowText(nullptr) {
  zep::CheckTextLength(unitCount);
  if (units != nullptr) {
    m_text.assign(units, unitCount);
  }
}

ZEPUnicodeString::ZEPUnicodeString(const ZEPUnicodeString& other)
    : m_text(other.m_text),
      m_narrowText(nullptr) {}

ZEPUnicodeString::ZEPUnicodeString(ZEPUnicodeString&& other) noexcept
    : m_text(std::move(other.m_text)),
      m_narrowText(other.m_narrowText.exchange(nullptr)) {
  other.m_text.clear();
}

ZEPUnicodeString& ZEPUnicodeString::operator=(const ZEPUnicodeString& other) {
  if (this != &other) {
    m_text = other.m_text;
    DropNarrowText();
  }
  return *this;
}

ZEPUnicodeString& ZEPUnicodeString::operator=(ZEPUnicodeString&& other) noexcept {
  if (this != &other) {
    DropNarrowText();
    m_text = std::move(other.m_text);
    m_narrowText.store(other.m_narrowText.exchange(nullptr), std::memory_order_release);
    other.m_text.clear();
  }
  return *this;
}

ZEPUnicodeString::~ZEPUnicodeString() {
  DropNarrowText();
}

long ZEPUnicodeString::BuildFromUTF8(const char* bytes, std::size_t byteCount) {
  // A new text first: the bytes may be this string's own narrow text.
  m_text = bytes == nullptr ? std::u16string() : zep::UTF16FromUTF8(bytes, byteCount);
  DropNarrowText();
  return S_OK;
}

long ZEPUnicodeString::BuildFromUTF16(const void* units, std::size_t unitCount) {
  zep::CheckTextLength(unitCount);
  std::u16string text;
  if (units != nullptr && unitCount > 0) {
    text.resize(unitCount);
    std::memcpy(text.data(), units, unitCount * sizeof(char16_t));
    zep::ReplaceLoneSurrogates(text);
  }
  m_text = std::move(text);
  DropNarrowText();
  return S_OK;
}

const char* ZEPUnicodeString::ConvertToChar() const {
  return CastToCharPtr();
}

const char* ZEPUnicodeString::CastToCharPtr() const {
  char* made = m_narrowText.load(std::memory_order_acquire);
  if (made != nullptr) {
    return made;
  }
  const std::size_t byteCount = zep::UTF8ByteCount(m_text.data(), m_text.size());
  made = new char[byteCount + 1];
  zep::WriteUTF8(m_text.data(), m_text.size(), made, byteCount);
  made[byteCount] = '\0';
  char* madeByOther = nullptr;
  if (!m_narrowText.compare_exchange_strong(madeByOther, made, std::memory_order_acq_rel)) {
    delete[] made;
    return madeByOther;
  }
  return made;
}

const char16_t* ZEPUnicodeString::CastToUnitPtr() const {
  return m_text.c_str();
}

int ZEPUnicodeString::GetLengthInChar() const {
  return static_cast<int>(m_text.size());
}

bool ZEPUnicodeString::IsEmpty() const {
  return m_text.empty();
}

int ZEPUnicodeString::SearchSubString(const ZEPUnicodeString& pattern, int start, int mode) const {
  if (mode != 1) {
    return -1;
  }
  const std::size_t found =
      zep::FindUnits({m_text.data(), m_text.size()}, {pattern.m_text.data(), pattern.m_text.size()},
                     static_cast<std::size_t>(std::max(start, 0)));
  return found == zep::kNotFound ? -1 : static_cast<int>(found);
}

ZEPUnicodeString ZEPUnicodeString::SubString(int start, int length) const {
  const Range range = Overlap(m_text.size(), start, length);
  return {m_text.data() + range.start, range.count};
}

ZEPUnicodeString& ZEPUnicodeString::Insert(int position, const ZEPUnicodeString& text) {
  zep::CheckTextLength(m_text.size() + text.m_text.size());
  m_text.insert(static_cast<std::size_t>(std::clamp(position, 0, GetLengthInChar())), text.m_text);
  DropNarrowText();
  return *this;
}

ZEPUnicodeString& ZEPUnicodeString::Remove(int start, int length) {
  const Range range = Overlap(m_text.size(), start, length);
  m_text.erase(range.start, range.count);
  DropNarrowText();
  return *this;
}

ZEPUnicodeString& ZEPUnicodeString::Append(const ZEPUnicodeString& text) {
  zep::CheckTextLength(m_text.size() + text.m_text.size());
  m_text.append(text.m_text);
  DropNarrowText();
  return *this;
}

ZEPUnicodeString& ZEPUnicodeString::Strip(int mode, char character) {
  const bool atStart = mode == 0 || mode == 2;
  const bool atEnd = mode == 1 || mode == 2;
  const auto unit = static_cast<unsigned char>(character);
  if (unit >= 0x80) {
    return *this; // a single byte of a longer UTF-8 sequence is no character
  }
  if (atEnd) {
    m_text.erase(m_text.find_last_not_of(unit) + 1);
  }
  if (atStart) {
    m_text.erase(0, m_text.find_first_not_of(unit));
  }
  DropNarrowText();
  return *this;
}

ZEPUnicodeString& ZEPUnicodeString::ToLower() {
  m_text = Lowered(m_text);
  DropNarrowText();
  return *this;
}

void ZEPUnicodeString::Reset() {
  m_text.clear();
  DropNarrowText();
}

int ZEPUnicodeString::Compare(const ZEPUnicodeString& other) const {
  if (m_text == other.m_text) {
    return 2;
  }
  return EqualButForASCIICase(m_text, other.m_text) ? 1 : 0;
}

bool ZEPUnicodeString::operator==(const ZEPUnicodeString& other) const {
  return m_text == other.m_text;
}

bool ZEPUnicodeString::operator==(const char* narrowText) const {
  return *this == ZEPUnicodeString(narrowText);
}

int ZEPUnicodeString::ConvertToNum(int* number, const char* format) const {
  if (number == nullptr || format == nullptr || std::strcmp(format, "%d") != 0) {
    return 0;
  }
  auto unit = std::find_if_not(m_text.begin(), m_text.end(), IsWhiteSpace);
  const bool negative = unit != m_text.end() && *unit == u'-';
  if (unit != m_text.end() && (*unit == u'-' || *unit == u'+')) {
    ++unit;
  }
  const auto firstDigit = unit;
  std::int64_t value = 0;
  for (; unit != m_text.end() && *unit >= u'0' && *unit <= u'9'; ++unit) {
    value = value * 10 + (negative ? -1 : 1) * (*unit - u'0');
    if (value < std::numeric_limits<int>::min() || value > std::numeric_limits<int>::max()) {
      return 0;
    }
  }
  if (unit == firstDigit) {
    return 0;
  }
  *number = static_cast<int>(value);
  return 1;
}

void ZEPUnicodeString::DropNarrowText() {
  delete[] m_narrowText.exchange(nullptr, std::memory_order_acq_rel);
}

ZEPUnicodeString operator+(const ZEPUnicodeString& left, const ZEPUnicodeString& right) {
  ZEPUnicodeString sum(left);
  sum.Append(right);
  return sum;
}
