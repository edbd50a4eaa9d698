#include "ZEPASCIIRun.h"

#if defined(__SSE2__) && !defined(ZEP_WITHOUT_SSE2)
#include <emmintrin.h>
#endif

namespace zep {
namespace {

// How much is looked at in one step.
constexpr std::size_t kStep = 16;

bool IsASCII(char byte) {
  return static_cast<unsigned char>(byte) < 0x80;
}

bool IsASCII(char16_t unit) {
  return unit < 0x80;
}

bool IsSurrogate(char16_t unit) {
  return (unit & 0xF800) == 0xD800;
}

#if defined(__SSE2__) && !defined(ZEP_WITHOUT_SSE2)

__m128i Load(const void* memory) {
  return _mm_loadu_si128(static_cast<const __m128i*>(memory));
}

void Store(void* memory, __m128i lanes) {
  _mm_storeu_si128(static_cast<__m128i*>(memory), lanes);
}

// Whether the bits of the mask are clear in all 16 units.
bool AreClear(__m128i first, __m128i second, short mask) {
  const __m128i bits = _mm_and_si128(_mm_or_si128(first, second), _mm_set1_epi16(mask));
  return _mm_movemask_epi8(_mm_cmpeq_epi8(bits, _mm_setzero_si128())) == 0xFFFF;
}

constexpr auto kBeyondASCII = static_cast<short>(0xFF80);

bool StepIsASCII(const char16_t* units) {
  return AreClear(Load(units), Load(units + kStep / 2), kBeyondASCII);
}

bool CopyASCIIStep(const char* bytes, char16_t* units) {
  const __m128i lanes = Load(bytes);
  if (_mm_movemask_epi8(lanes) != 0) {
    return false;
  }
  Store(units, _mm_unpacklo_epi8(lanes, _mm_setzero_si128()));
  Store(units + kStep / 2, _mm_unpackhi_epi8(lanes, _mm_setzero_si128()));
  return true;
}

bool CopyASCIIStep(const char16_t* units, char* bytes) {
  const __m128i first = Load(units);
  const __m128i second = Load(units + kStep / 2);
  if (!AreClear(first, second, kBeyondASCII)) {
    return false;
  }
  Store(bytes, _mm_packus_epi16(first, second));
  return true;
}

bool StepHasNoSurrogate(const char16_t* units) {
  const auto surrogates = [](__m128i lanes) {
    return _mm_cmpeq_epi16(_mm_and_si128(lanes, _mm_set1_epi16(static_cast<short>(0xF800))),
                           _mm_set1_epi16(static_cast<short>(0xD800)));
  };
  const __m128i found = _mm_or_si128(surrogates(Load(units)), surrogates(Load(units + kStep / 2)));
  return _mm_movemask_epi8(found) == 0;
}

#else

template <class Unit, bool (*isWanted)(Unit)>
bool AllAre(const Unit* units) {
  bool all = true;
  for (std::size_t i = 0; i < kStep; ++i) {
    all = all && isWanted(units[i]);
  }
  return all;
}

bool IsNoSurrogate(char16_t unit) {
  return !IsSurrogate(unit);
}

bool StepIsASCII(const char16_t* units) {
  return AllAre<char16_t, IsASCII>(units);
}

template <class From, class To>
bool CopyASCIIStep(const From* from, To* to) {
  if (!AllAre<From, IsASCII>(from)) {
    return false;
  }
  for (std::size_t i = 0; i < kStep; ++i) {
    to[i] = static_cast<To>(from[i]);
  }
  return true;
}

bool StepHasNoSurrogate(const char16_t* units) {
  return AllAre<char16_t, IsNoSurrogate>(units);
}

#endif

template <class From, class To>
std::size_t CopyRun(const From* from, std::size_t count, To* to) {
  std::size_t run = 0;
  while (count - run >= kStep && CopyASCIIStep(from + run, to + run)) {
    run += kStep;
  }
  for (; run < count && IsASCII(from[run]); ++run) {
    to[run] = static_cast<To>(from[run]);
  }
  return run;
}

} // namespace

std::size_t ASCIIRun(const char16_t* units, std::size_t count) {
  std::size_t run = 0;
  while (count - run >= kStep && StepIsASCII(units + run)) {
    run += kStep;
  }
  while (run < count && IsASCII(units[run])) {
    ++run;
  }
  return run;
}

std::size_t CopyASCIIRun(const char* bytes, std::size_t count, char16_t* units) {
  return CopyRun(bytes, count, units);
}

std::size_t CopyASCIIRun(const char16_t* units, std::size_t count, char* bytes) {
  return CopyRun(units, count, bytes);
}

std::size_t RunWithoutSurrogates(const char16_t* units, std::size_t count) {
  std::size_t run = 0;
  while (count - run >= kStep && StepHasNoSurrogate(units + run)) {
    run += kStep;
  }
  while (run < count && !IsSurrogate(units[run])) {
    ++run;
  }
  return run;
}

} // namespace zep
