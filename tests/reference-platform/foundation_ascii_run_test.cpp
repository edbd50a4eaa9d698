#include "GuardedMemory_posix.h"
#include "ZEPASCIIRun.h"

#include <gtest/gtest.h>

#include <string>

// Built twice: with the machine's wide instructions, and without.

namespace {

constexpr std::size_t kLongest = 100;

template <class Unit>
std::basic_string<Unit> Letters(std::size_t length) {
  std::basic_string<Unit> text;
  for (std::size_t i = 0; i < length; ++i) {
    text += static_cast<Unit>((i * 37 + 1) % 0x80);
  }
  return text;
}

// All lengths, at the end of the memory, with one unit that ends the run at each place or none.
template <class Unit, class Check>
void ForEachRun(const std::basic_string<Unit>& enders, Check check) {
  GuardedMemory<Unit> memory(kLongest);
  for (std::size_t length = 0; length <= kLongest; ++length) {
    for (std::size_t place = 0; place <= length; ++place) {
      for (const Unit ender : enders) {
        std::basic_string<Unit> text = Letters<Unit>(length);
        if (place < length) {
          text[place] = ender;
        }
        check(memory.EndingWith(text), text, place);
        if (::testing::Test::HasFatalFailure()) {
          return;
        }
      }
    }
  }
}

const std::u16string kBeyondASCII = {0x80, 0xFF, 0x100, 0x7F80, 0x8000, 0xD800, 0xFF00, 0xFFFF};
const std::string kNoASCII = "\x80\xC3\xFF";

// What a run is copied to ends where the memory does; what lies behind the run is not looked at.
template <class From, class To>
void ExpectCopied(const std::basic_string<From>& enders) {
  GuardedMemory<To> target(kLongest);
  ForEachRun<From>(enders, [&](const From* from, const std::basic_string<From>& text, std::size_t run) {
    To* const to = target.Last(text.size());
    ASSERT_EQ(zep::CopyASCIIRun(from, text.size(), to), run) << "of " << text.size();
    for (std::size_t i = 0; i < run; ++i) {
      ASSERT_EQ(to[i], static_cast<To>(text[i])) << "at " << i << " of " << text.size();
    }
  });
}

TEST(ASCIIRun, ASCIIRun_EndsAtTheFirstOther_EveryLengthAndPlace) {
  ForEachRun<char16_t>(kBeyondASCII, [](const char16_t* units, const std::u16string& text, std::size_t run) {
    ASSERT_EQ(zep::ASCIIRun(units, text.size()), run) << "of " << text.size();
  });
}

TEST(ASCIIRun, CopyASCIIRun_WidensTheRun_EveryLengthAndPlace) {
  ExpectCopied<char, char16_t>(kNoASCII);
}

TEST(ASCIIRun, CopyASCIIRun_NarrowsTheRun_EveryLengthAndPlace) {
  ExpectCopied<char16_t, char>(kBeyondASCII);
}

TEST(ASCIIRun, RunWithoutSurrogates_EndsAtTheFirst_EveryLengthAndPlace) {
  ForEachRun<char16_t>({0xD800, 0xDBFF, 0xDC00, 0xDFFF}, [](const char16_t* units, const std::u16string& text,
                                                            std::size_t run) {
    ASSERT_EQ(zep::RunWithoutSurrogates(units, text.size()), run) << "of " << text.size();
  });
}

TEST(ASCIIRun, RunWithoutSurrogates_TakesAllOthers_EveryUnit) {
  std::u16string units;
  for (unsigned unit = 0; unit <= 0xFFFF; ++unit) {
    if (unit < 0xD800 || unit > 0xDFFF) {
      units += static_cast<char16_t>(unit);
    }
  }
  EXPECT_EQ(zep::RunWithoutSurrogates(units.data(), units.size()), units.size());
}

} // namespace
