#include "ZEPUnicodeString.h"

#include "ZEPHResult.h"
#include "ZEPTextSearch.h"
#include "ZEPTextService.h"
#include "ZEPTranscoding.h"
#include "ZEPUnitBuffer.h"

#include <algorithm>
#include <climits>
#include <cstdint>
#include <cstring>
#include <limits>
#include <stdexcept>
#include <string_view>
#include <utility>

namespace {

struct Range {
  std::size_t start;
  std::size_t count;
};

// The part of [start, start + length) that lies in a text of `textLength` characters.
Range Overlap(std::size_t textLength, int start, int length) {
  // Most ranges lie in the text.
  if (start >= 0 && length >= 0 && static_cast<std::size_t>(start) <= textLength &&
      static_cast<std::size_t>(length) <= textLength - static_cast<std::size_t>(start)) {
    return {static_cast<std::size_t>(start), static_cast<std::size_t>(length)};
  }
  const auto end = static_cast<std::int64_t>(textLength);
  const std::int64_t from = std::clamp<std::int64_t>(start, 0, end);
  const std::int64_t to = std::clamp<std::int64_t>(std::int64_t{start} + length, from, end);
  return {static_cast<std::size_t>(from), static_cast<std::size_t>(to - from)};
}

char16_t LowerASCII(char16_t unit) {
  return unit >= u'A' && unit <= u'Z' ? static_cast<char16_t>(unit + (u'a' - u'A')) : unit;
}

bool EqualButForASCIICase(std::u16string_view left, std::u16string_view right) {
  return std::equal(left.begin(), left.end(), right.begin(), right.end(),
                    [](char16_t a, char16_t b) { return LowerASCII(a) == LowerASCII(b); });
}

bool AreEqual(std::u16string_view left, std::u16string_view right) {
  return left.size() == right.size() &&
         std::memcmp(left.data(), right.data(), left.size() * sizeof(char16_t)) == 0;
}

bool IsWhiteSpace(char16_t unit) {
  return unit == u' ' || (unit >= u'\t' && unit <= u'\r');
}

std::size_t NarrowLength(const char* narrowText) {
  return narrowText == nullptr ? 0 : std::strlen(narrowText);
}

void CopyUnits(char16_t* to, const char16_t* from, std::size_t count) {
  if (count > 0) { // `from` may be null then
    std::memcpy(to, from, count * sizeof(char16_t));
  }
}

std::u16string_view ViewOf(const ZEPUnicodeString& text) {
  return {text.CastToUnitPtr(), static_cast<std::size_t>(text.GetLengthInChar())};
}

} // namespace

inline void ZEPUnicodeString::MakeRoom(std::size_t unitCount) {
  if (IsInPlace() ? unitCount > kUnitsInPlace
                  : !zep::HasSoleOwner(m_units) || unitCount > zep::CapacityOf(m_units)) {
    MakeRoomElsewhere(unitCount);
  }
}

inline void ZEPUnicodeString::AddUnits(const char16_t* units, std::size_t unitCount) {
  CopyUnits(m_units + UnitCount(), units, unitCount);
  EndAt(UnitCount() + unitCount);
}

// Whoever changes a text has it for itself, so that no exchange is needed.
inline char* ZEPUnicodeString::TakeNarrowText() {
  char* const taken = m_narrowText.load(std::memory_order_relaxed);
  if (taken != nullptr) {
    m_narrowText.store(nullptr, std::memory_order_relaxed);
  }
  return taken;
}

inline void ZEPUnicodeString::DropNarrowText() {
  delete[] TakeNarrowText();
}

ZEPUnicodeString::ZEPUnicodeString() : m_units(m_inPlace), m_length(0), m_narrowText(nullptr) {
  m_inPlace[0] = u'\0';
}

ZEPUnicodeString::ZEPUnicodeString(const char* narrowText) : ZEPUnicodeString() {
  BuildFromUTF8(narrowText, NarrowLength(narrowText));
}

ZEPUnicodeString::ZEPUnicodeString(const char16_t* units, std::size_t unitCount) : ZEPUnicodeString() {
  zep::CheckTextLength(unitCount);
  if (units != nullptr) {
    MakeRoom(unitCount);
    AddUnits(units, unitCount);
  }
}

ZEPUnicodeString::ZEPUnicodeString(const ZEPUnicodeString& other)
    : m_length(other.m_length),
      m_narrowText(nullptr) {
  ShareUnitsOf(other);
}

ZEPUnicodeString::ZEPUnicodeString(ZEPUnicodeString&& other) noexcept
    : m_length(other.m_length),
      m_narrowText(other.TakeNarrowText()) {
  TakeUnitsOf(other);
}

ZEPUnicodeString& ZEPUnicodeString::operator=(const ZEPUnicodeString& other) {
  if (this != &other) {
    DropNarrowText();
    char16_t* const before = IsInPlace() ? nullptr : m_units;
    m_length = other.m_length;
    ShareUnitsOf(other);
    if (before != nullptr) {
      zep::LetGoOfUnits(before);
    }
  }
  return *this;
}

ZEPUnicodeString& ZEPUnicodeString::operator=(ZEPUnicodeString&& other) noexcept {
  if (this != &other) {
    Empty();
    m_length = other.m_length;
    m_narrowText.store(other.TakeNarrowText(), std::memory_order_relaxed);
    TakeUnitsOf(other);
  }
  return *this;
}

ZEPUnicodeString::~ZEPUnicodeString() {
  DropNarrowText();
  if (!IsInPlace()) {
    zep::LetGoOfUnits(m_units);
  }
}

long ZEPUnicodeString::BuildFromUTF8(const char* bytes, std::size_t byteCount) {
  zep::CheckTextLength(byteCount);
  ZEPUnicodeString built; // a new text first: the bytes may be this string's own narrow text
  if (bytes != nullptr) {
    built.MakeRoom(byteCount); // no byte gives more than one unit
    built.EndAt(zep::WriteUTF16(bytes, byteCount, built.m_units));
    built.Reserve(built.m_length);
  }
  *this = std::move(built);
  return S_OK;
}

long ZEPUnicodeString::BuildFromUTF16(const void* units, std::size_t unitCount) {
  zep::CheckTextLength(unitCount);
  ZEPUnicodeString built;
  if (units != nullptr && unitCount > 0) {
    built.MakeRoom(unitCount);
    std::memcpy(built.m_units, units, unitCount * sizeof(char16_t));
    built.EndAt(unitCount);
    zep::ReplaceLoneSurrogates(built.m_units, unitCount);
  }
  *this = std::move(built);
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
  const std::size_t byteCount = zep::UTF8ByteCount(m_units, UnitCount());
  made = new char[byteCount + 1];
  zep::WriteUTF8(m_units, UnitCount(), made);
  made[byteCount] = '\0';
  char* madeByOther = nullptr;
  if (!m_narrowText.compare_exchange_strong(madeByOther, made, std::memory_order_acq_rel)) {
    delete[] made;
    return madeByOther;
  }
  return made;
}

int ZEPUnicodeString::SearchSubString(const ZEPUnicodeString& pattern, int start, int mode) const {
  if (mode != 1) {
    return -1;
  }
  const std::size_t found = zep::FindUnits({m_units, UnitCount()}, {pattern.m_units, pattern.UnitCount()},
                                           static_cast<std::size_t>(std::max(start, 0)));
  static_assert(static_cast<int>(zep::kNotFound) == -1);
  return static_cast<int>(found);
}

ZEPUnicodeString ZEPUnicodeString::SubString(int start, int length) const {
  const Range range = Overlap(UnitCount(), start, length);
  if (range.count == UnitCount()) {
    return *this;
  }
  return {m_units + range.start, range.count};
}

ZEPUnicodeString& ZEPUnicodeString::Insert(int position, const ZEPUnicodeString& text) {
  zep::CheckTextLength(UnitCount() + text.UnitCount());
  const auto front = static_cast<std::size_t>(std::clamp(position, 0, m_length));
  ZEPUnicodeString whole;
  whole.MakeRoom(UnitCount() + text.UnitCount());
  whole.AddUnits(m_units, front);
  whole.AddUnits(text.m_units, text.UnitCount());
  whole.AddUnits(m_units + front, UnitCount() - front);
  return *this = std::move(whole);
}

ZEPUnicodeString& ZEPUnicodeString::Remove(int start, int length) {
  const Range range = Overlap(UnitCount(), start, length);
  if (range.count == 0) {
    return *this;
  }
  const std::size_t behind = range.start + range.count;
  if (IsInPlace() || zep::HasSoleOwner(m_units)) {
    std::memmove(m_units + range.start, m_units + behind, (UnitCount() - behind) * sizeof(char16_t));
    EndAt(UnitCount() - range.count);
    DropNarrowText();
    return *this;
  }
  ZEPUnicodeString rest;
  rest.MakeRoom(UnitCount() - range.count);
  rest.AddUnits(m_units, range.start);
  rest.AddUnits(m_units + behind, UnitCount() - behind);
  return *this = std::move(rest);
}

ZEPUnicodeString& ZEPUnicodeString::Append(const ZEPUnicodeString& text) {
  return AppendPart(text, 0, text.m_length);
}

ZEPUnicodeString& ZEPUnicodeString::AppendPart(const ZEPUnicodeString& text, int start, int length) {
  const Range range = Overlap(text.UnitCount(), start, length);
  if (range.count > 0) {
    zep::CheckTextLength(UnitCount() + range.count);
    MakeRoom(UnitCount() + range.count);
    DropNarrowText();
    AddUnits(text.m_units + range.start, range.count); // `text` may be this very string
  }
  return *this;
}

void ZEPUnicodeString::Reserve(int length) {
  const std::size_t room = std::max(static_cast<std::size_t>(std::max(length, 0)), UnitCount());
  if (IsInPlace() ? room > kUnitsInPlace : zep::CapacityOf(m_units) < room) {
    MakeRoom(room);
  } else if (!IsInPlace() && zep::HasSoleOwner(m_units)) {
    GiveBackRoomBeyond(room);
  }
}

ZEPUnicodeString& ZEPUnicodeString::Strip(int mode, char character) {
  const bool atStart = mode == 0 || mode == 2;
  const bool atEnd = mode == 1 || mode == 2;
  const auto unit = static_cast<unsigned char>(character);
  if (unit >= 0x80) {
    return *this; // a single byte of a longer UTF-8 sequence is no character
  }
  const std::u16string_view text = ViewOf(*this);
  const std::size_t end = atEnd ? text.find_last_not_of(unit) + 1 : text.size();
  const std::size_t first = atStart ? std::min(text.find_first_not_of(unit), end) : 0;
  Remove(static_cast<int>(end), INT_MAX);
  return Remove(0, static_cast<int>(first));
}

ZEPUnicodeString& ZEPUnicodeString::ToLower() {
  const std::u16string lowered = zep::Lowered(ViewOf(*this));
  return *this = ZEPUnicodeString(lowered.data(), lowered.size());
}

void ZEPUnicodeString::Reset() {
  Empty();
}

int ZEPUnicodeString::Compare(const ZEPUnicodeString& other) const {
  if (*this == other) {
    return 2;
  }
  return EqualButForASCIICase(ViewOf(*this), ViewOf(other)) ? 1 : 0;
}

bool ZEPUnicodeString::operator==(const ZEPUnicodeString& other) const {
  return AreEqual(ViewOf(*this), ViewOf(other));
}

bool ZEPUnicodeString::operator==(const char* narrowText) const {
  return *this == ZEPUnicodeString(narrowText);
}

int ZEPUnicodeString::ConvertToNum(int* number, const char* format) const {
  if (number == nullptr || format == nullptr || std::strcmp(format, "%d") != 0) {
    return 0;
  }
  const std::u16string_view text = ViewOf(*this);
  const auto* unit = std::find_if_not(text.begin(), text.end(), IsWhiteSpace);
  const bool negative = unit != text.end() && *unit == u'-';
  if (unit != text.end() && (*unit == u'-' || *unit == u'+')) {
    ++unit;
  }
  const auto* const firstDigit = unit;
  std::int64_t value = 0;
  for (; unit != text.end() && *unit >= u'0' && *unit <= u'9'; ++unit) {
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

void ZEPUnicodeString::ShareUnitsOf(const ZEPUnicodeString& other) {
  if (other.IsInPlace()) {
    m_units = m_inPlace;
    std::memcpy(m_inPlace, other.m_inPlace, sizeof m_inPlace);
  } else {
    m_units = other.m_units;
    zep::HoldUnits(m_units);
  }
}

void ZEPUnicodeString::TakeUnitsOf(ZEPUnicodeString& other) {
  if (other.IsInPlace()) {
    m_units = m_inPlace;
    std::memcpy(m_inPlace, other.m_inPlace, sizeof m_inPlace);
  } else {
    m_units = std::exchange(other.m_units, other.m_inPlace);
  }
  other.EndAt(0);
}

void ZEPUnicodeString::MakeRoomElsewhere(std::size_t unitCount) {
  if (IsInPlace()) {
    MoveTo(zep::NewUnits(unitCount));
  } else if (!zep::HasSoleOwner(m_units)) {
    char16_t* const shared = m_units;
    MoveTo(zep::NewUnits(std::max(unitCount, UnitCount())));
    zep::LetGoOfUnits(shared);
  } else {
    // Twice as much, so that a text put together from many pieces is moved only a few times.
    m_units = zep::ResizedUnits(m_units, std::max(unitCount, 2 * zep::CapacityOf(m_units)));
  }
}

void ZEPUnicodeString::GiveBackRoomBeyond(std::size_t unitCount) {
  if (unitCount <= kUnitsInPlace) {
    char16_t* const units = m_units;
    MoveTo(m_inPlace);
    zep::LetGoOfUnits(units);
  } else if (unitCount < zep::CapacityOf(m_units) / 4 * 3) {
    m_units = zep::ResizedUnits(m_units, unitCount);
  }
}

void ZEPUnicodeString::MoveTo(char16_t* units) {
  CopyUnits(units, m_units, UnitCount() + 1);
  m_units = units;
}

void ZEPUnicodeString::Empty() {
  DropNarrowText();
  if (!IsInPlace()) {
    zep::LetGoOfUnits(std::exchange(m_units, m_inPlace));
  }
  EndAt(0);
}

ZEPUnicodeString operator+(const ZEPUnicodeString& left, const ZEPUnicodeString& right) {
  ZEPUnicodeString sum;
  sum.Reserve(left.GetLengthInChar() + std::min(right.GetLengthInChar(), INT_MAX - left.GetLengthInChar()));
  sum.Append(left);
  sum.Append(right);
  return sum;
}
