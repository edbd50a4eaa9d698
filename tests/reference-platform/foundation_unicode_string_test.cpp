#include "ZEPHResult.h"
#include "ZEPUTF8Conversion.h"
#include "ZEPUnicodeString.h"

#include <gtest/gtest.h>

#include <atomic>
#include <climits>
#include <clocale>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <random>
#include <stdexcept>
#include <string>
#include <thread>
#include <utility>
#include <vector>

namespace {

using namespace std::string_literals;

std::u16string Units(const ZEPUnicodeString& text) {
  return {text.CastToUnitPtr(), static_cast<std::size_t>(text.GetLengthInChar())};
}

ZEPUnicodeString Text(const std::u16string& units) {
  return {units.data(), units.size()};
}

std::u16string FromUTF8(const std::string& bytes) {
  ZEPUnicodeString text("what was there before");
  EXPECT_EQ(text.BuildFromUTF8(bytes.data(), bytes.size()), S_OK);
  return Units(text);
}

std::string ToUTF8(const std::u16string& units) {
  const ZEPUTF8Conversion conversion(Text(units));
  return {conversion.Bytes(), conversion.ByteCount()};
}

// A decoder that is slow and follows the definition: the longest start of a well-formed sequence,
// or else one byte, becomes one U+FFFD.
class Decoder {
public:
  explicit Decoder(const std::string& bytes) : m_bytes(bytes) {}

  std::u16string Decode() {
    std::u16string units;
    while (m_position < m_bytes.size()) {
      AppendNext(units);
    }
    return units;
  }

private:
  unsigned At(std::size_t position) const { return static_cast<unsigned char>(m_bytes[position]); }

  void AppendNext(std::u16string& units) {
    const unsigned lead = At(m_position++);
    if (lead < 0x80) {
      units += static_cast<char16_t>(lead);
      return;
    }
    const int trailCount = lead >= 0xC2 && lead <= 0xDF   ? 1
                           : lead >= 0xE0 && lead <= 0xEF ? 2
                           : lead >= 0xF0 && lead <= 0xF4 ? 3
                                                          : 0;
    unsigned low = lead == 0xE0 ? 0xA0U : lead == 0xF0 ? 0x90U : 0x80U;
    unsigned high = lead == 0xED ? 0x9FU : lead == 0xF4 ? 0x8FU : 0xBFU;
    unsigned code = lead & (0x3FU >> trailCount);
    int read = 0;
    while (read < trailCount && m_position < m_bytes.size() && At(m_position) >= low &&
           At(m_position) <= high) {
      code = (code << 6) | (At(m_position++) & 0x3FU);
      low = 0x80;
      high = 0xBF;
      ++read;
    }
    if (trailCount == 0 || read < trailCount) {
      units += u'\uFFFD';
    } else if (code < 0x10000) {
      units += static_cast<char16_t>(code);
    } else {
      units += static_cast<char16_t>(0xD7C0 + (code >> 10));
      units += static_cast<char16_t>(0xDC00 | (code & 0x3FF));
    }
  }

  const std::string& m_bytes;
  std::size_t m_position = 0;
};

std::u16string WithoutLoneSurrogates(const std::u16string& units) {
  std::u16string clean;
  for (std::size_t i = 0; i < units.size(); ++i) {
    const bool lead = (units[i] & 0xFC00) == 0xD800;
    const bool trail = (units[i] & 0xFC00) == 0xDC00;
    if (lead && i + 1 < units.size() && (units[i + 1] & 0xFC00) == 0xDC00) {
      clean += units[i];
      clean += units[++i];
    } else {
      clean += lead || trail ? u'\uFFFD' : units[i];
    }
  }
  return clean;
}

// Lengths around the block sizes of vectorised code, and some longer ones.
std::size_t RandomLength(std::mt19937& random) {
  return std::uniform_int_distribution<std::size_t>(0, random() % 8 == 0 ? 300 : 24)(random);
}

TEST(UnicodeString, BuildFromUTF8_ReplacesEachMaximalSubpart_MalformedInput) {
  struct Row {
    int line;
    std::string bytes;
    std::u16string expected;
  };
  const std::u16string r = u"\uFFFD";
  const Row rows[] = {
      Row{__LINE__, "", u""},
      Row{__LINE__, "plain", u"plain"},
      Row{__LINE__, "a\0b\0"s, u"a\0b\0"s},
      Row{__LINE__, "\xC3\xA9\xE2\x82\xAC\xF0\x9F\x98\x80", u"\u00E9\u20AC\U0001F600"},
      Row{__LINE__,
          "\xEF\xBB\xBF"
          "a",
          u"\uFEFF"
          u"a"},
      Row{__LINE__, "\xEF\xBF\xBF\xF4\x8F\xBF\xBF", u"\uFFFF\U0010FFFF"},
      Row{__LINE__, "\x80", r},
      Row{__LINE__, "\xBF\xBF", r + r},
      Row{__LINE__, "\xC3", r},
      Row{__LINE__,
          "\xC3"
          "A",
          r + u"A"},
      Row{__LINE__, "\xC0\x80", r + r},
      Row{__LINE__, "\xC1\xBF", r + r},
      Row{__LINE__, "\xE0\x80\x80", r + r + r},
      Row{__LINE__, "\xE0\x9F\xBF", r + r + r},
      Row{__LINE__, "\xE2\x82", r},
      Row{__LINE__, "\xE2\x82\xE2\x82\xAC", r + u"\u20AC"},
      Row{__LINE__, "\xED\xA0\x80", r + r + r},
      Row{__LINE__, "\xED\xBF\xBF", r + r + r},
      Row{__LINE__, "\xED\xA0\xBD\xED\xB8\x80", r + r + r + r + r + r},
      Row{__LINE__, "\xF0\x80\x80\x80", r + r + r + r},
      Row{__LINE__, "\xF0\x9F\x98", r},
      Row{__LINE__,
          "\xF0\x9F\x98"
          "A",
          r + u"A"},
      Row{__LINE__,
          "\xF0\x9F"
          "A",
          r + u"A"},
      Row{__LINE__,
          "\xF0"
          "A",
          r + u"A"},
      Row{__LINE__, "\xF4\x90\x80\x80", r + r + r + r},
      Row{__LINE__, "\xF5\x80\x80\x80", r + r + r + r},
      Row{__LINE__, "\xF8\x88\x80\x80\x80", r + r + r + r + r},
      Row{__LINE__, "\xFE\xFF", r + r},
      Row{__LINE__,
          "a\xF1\x80\x80\xE1\x80\xC2"
          "b\x80"
          "c\x80\xBF"
          "d",
          u"a" + r + r + r + u"b" + r + u"c" + r + r + u"d"},
      Row{__LINE__,
          "\xF4\x91\x92\x93\xFF"
          "A\x80\xBF"
          "B",
          r + r + r + r + r + u"A" + r + r + u"B"},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(row.line);
    EXPECT_EQ(FromUTF8(row.bytes), row.expected);
    EXPECT_EQ(Decoder(row.bytes).Decode(), row.expected);
    // The same in the middle of a long text, where a converter takes other paths.
    const std::string padding(100, '-');
    EXPECT_EQ(FromUTF8(padding + row.bytes + padding),
              std::u16string(100, u'-') + row.expected + std::u16string(100, u'-'));
  }
}

TEST(UnicodeString, BuildFromUTF8_AgreesWithSlowDecoder_GeneratedInput) {
  std::mt19937 random(20240611);
  const std::string likely =
      "aZ<\x80\xBF\xC0\xC3\xA9\xE0\xE2\x82\xAC\xED\xA0\x9F\xF0\x90\xF4\x8F\xF5\xFF"s + '\0';
  for (int round = 0; round < 20000; ++round) {
    std::string bytes(RandomLength(random), '\0');
    for (char& byte : bytes) {
      byte = random() % 4 == 0 ? static_cast<char>(random() & 0xFF) : likely[random() % likely.size()];
    }
    SCOPED_TRACE(round);
    ASSERT_EQ(FromUTF8(bytes), Decoder(bytes).Decode());
  }
}

TEST(UnicodeString, Conversion_GivesBackTheSameText_EveryCodePoint) {
  for (std::uint32_t start = 0; start <= 0x10FFFF; start += 0x100) {
    if (start >= 0xD800 && start <= 0xDFFF) {
      continue;
    }
    std::u16string units;
    for (std::uint32_t code = start; code < start + 0x100; ++code) {
      if (code < 0x10000) {
        units += static_cast<char16_t>(code);
      } else {
        units += static_cast<char16_t>(0xD7C0 + (code >> 10));
        units += static_cast<char16_t>(0xDC00 | (code & 0x3FF));
      }
    }
    const std::string bytes = ToUTF8(units);
    const std::size_t perCode = start < 0x80 ? 0 : start < 0x800 ? 2 : start < 0x10000 ? 3 : 4;
    SCOPED_TRACE(start);
    ASSERT_EQ(bytes.size(), perCode == 0 ? 0x80 + 2 * 0x80U : perCode * 0x100);
    ASSERT_EQ(Decoder(bytes).Decode(), units);
    ASSERT_EQ(FromUTF8(bytes), units);
  }
}

TEST(UnicodeString, BuildFromUTF8_IsEmpty_NullBytes) {
  ZEPUnicodeString text("before");
  EXPECT_EQ(text.BuildFromUTF8(nullptr, 0), S_OK);
  EXPECT_TRUE(text.IsEmpty());
}

TEST(UnicodeString, BuildFromUTF8_ReadsOwnNarrowText_SameString) {
  ZEPUnicodeString text("\xE2\x82\xAC and more than fits in place");
  const char* const own = text.CastToCharPtr();
  text.BuildFromUTF8(own, 5);
  EXPECT_EQ(Units(text), u"\u20AC a");
  EXPECT_STREQ(text.CastToCharPtr(), "\xE2\x82\xAC a");
}

TEST(UnicodeString, BuildFromUTF16_ReplacesLoneSurrogates_AnyAlignment) {
  struct Row {
    int line;
    std::u16string units;
    std::u16string expected;
  };
  const std::u16string high(1, char16_t{0xD83D});
  const std::u16string low(1, char16_t{0xDE00});
  const Row rows[] = {
      Row{__LINE__, u"", u""},
      Row{__LINE__, u"a\0\u20AC"s, u"a\0\u20AC"s},
      Row{__LINE__, high + low, high + low},
      Row{__LINE__, high, u"\uFFFD"},
      Row{__LINE__, low, u"\uFFFD"},
      Row{__LINE__, low + high, u"\uFFFD\uFFFD"},
      Row{__LINE__, high + high + low, u"\uFFFD" + high + low},
      Row{__LINE__, high + low + low, high + low + u"\uFFFD"},
      Row{__LINE__, u"a" + high + u"b", u"a\uFFFDb"},
      Row{__LINE__, u"\uFEFFx", u"\uFEFFx"},
      Row{__LINE__, std::u16string(1, char16_t{0xFFFE}), std::u16string(1, char16_t{0xFFFE})},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(row.line);
    for (std::size_t offset = 0; offset < 4; ++offset) {
      // Exactly as long as needed, so that reading beyond the end is seen.
      std::vector<char> buffer(offset + row.units.size() * sizeof(char16_t));
      if (!row.units.empty()) {
        std::memcpy(buffer.data() + offset, row.units.data(), row.units.size() * sizeof(char16_t));
      }
      ZEPUnicodeString text("before");
      EXPECT_EQ(text.BuildFromUTF16(buffer.data() + offset, row.units.size()), S_OK);
      EXPECT_EQ(Units(text), row.expected);
    }
  }
}

TEST(UnicodeString, BuildFromUTF16_IsEmpty_NullUnits) {
  ZEPUnicodeString text("before");
  EXPECT_EQ(text.BuildFromUTF16(nullptr, 0), S_OK);
  EXPECT_TRUE(text.IsEmpty());
}

TEST(UnicodeString, BuildFromUTF16_ReadsOwnUnits_SameString) {
  ZEPUnicodeString text("a text that is longer than what fits in place");
  text.BuildFromUTF16(text.CastToUnitPtr() + 2, 4);
  EXPECT_EQ(Units(text), u"text");
}

TEST(UnicodeString, NarrowText_ReplacesLoneSurrogates_GeneratedInput) {
  std::mt19937 random(7);
  const std::u16string likely = {u'a',   u'\0',  0x7F,   0x80,   0x7FF,  0x800,  0xD7FF, 0xD800,
                                 0xDBFF, 0xDC00, 0xDFFF, 0xE000, 0xFFFD, 0xFFFF, 0xD83D, 0xDE00};
  for (int round = 0; round < 20000; ++round) {
    std::u16string units(RandomLength(random), u'x');
    for (char16_t& unit : units) {
      unit = random() % 4 == 0 ? u'x' : likely[random() % likely.size()];
    }
    SCOPED_TRACE(round);
    const std::u16string clean = WithoutLoneSurrogates(units);
    ASSERT_EQ(Decoder(ToUTF8(units)).Decode(), clean);
    ZEPUnicodeString text;
    text.BuildFromUTF16(units.data(), units.size());
    ASSERT_EQ(Units(text), clean);
    ASSERT_EQ(Units(Text(units)), units); // from units as they stand
  }
}

TEST(UnicodeString, NarrowText_KeepsPairsTogether_LongText) {
  const std::u16string pair = u"\U0001F600";
  const std::u16string high(1, pair[0]);
  // Pairs at even and at odd positions, a lone surrogate before and behind them.
  for (const std::size_t before : {0U, 1U, 65534U, 65535U, 65536U, 131071U}) {
    std::u16string units(before, u'a');
    units += high;
    while (units.size() < 200000) {
      units += pair;
    }
    units += high;
    SCOPED_TRACE(before);
    const std::string bytes = ToUTF8(units);
    EXPECT_EQ(bytes.size(), before + 6 + 2 * (units.size() - before - 2));
    EXPECT_EQ(Decoder(bytes).Decode(), WithoutLoneSurrogates(units));
  }
}

TEST(UnicodeString, Construction_IsEmpty_NullNarrowText) {
  const char* const nothing = nullptr;
  const ZEPUnicodeString text(nothing);
  EXPECT_TRUE(text.IsEmpty());
  EXPECT_EQ(text.GetLengthInChar(), 0);
  EXPECT_STREQ(text.CastToCharPtr(), "");
  EXPECT_TRUE(text == nothing);
  EXPECT_TRUE(ZEPUnicodeString() == ZEPUnicodeString(nullptr, 0));
}

TEST(UnicodeString, Length_ThrowsAndKeepsText_BeyondInt) {
  ZEPUnicodeString text("kept");
  const std::size_t tooMany = static_cast<std::size_t>(INT_MAX) + 1;
  EXPECT_THROW(text.BuildFromUTF8("x", tooMany), std::length_error);
  EXPECT_THROW(text.BuildFromUTF8("x", SIZE_MAX), std::length_error);
  EXPECT_THROW(text.BuildFromUTF16("x", tooMany), std::length_error);
  EXPECT_THROW(text.BuildFromUTF16("x", SIZE_MAX), std::length_error);
  EXPECT_THROW(ZEPUnicodeString(u"x", tooMany), std::length_error);
  EXPECT_TRUE(text == "kept");
}

TEST(UnicodeString, CastToCharPtr_StaysTheSame_UntilChanged) {
  ZEPUnicodeString text("\xC3\xA9t\xC3\xA9");
  const char* const first = text.CastToCharPtr();
  EXPECT_STREQ(first, "\xC3\xA9t\xC3\xA9");
  EXPECT_EQ(text.CastToCharPtr(), first);
  EXPECT_EQ(text.ConvertToChar(), first);
}

TEST(UnicodeString, CastToCharPtr_FollowsTheText_EveryChangingOperation) {
  struct Row {
    int line;
    void (*change)(ZEPUnicodeString&);
    const char* expected;
  };
  const Row rows[] = {
      Row{__LINE__, [](ZEPUnicodeString& text) { text.Append("+"); }, " Ab +"},
      Row{__LINE__, [](ZEPUnicodeString& text) { text.Insert(0, "+"); }, "+ Ab "},
      Row{__LINE__, [](ZEPUnicodeString& text) { text.Remove(1, 1); }, " b "},
      Row{__LINE__, [](ZEPUnicodeString& text) { text.Strip(2, ' '); }, "Ab"},
      Row{__LINE__, [](ZEPUnicodeString& text) { text.ToLower(); }, " ab "},
      Row{__LINE__, [](ZEPUnicodeString& text) { text.Reset(); }, ""},
      Row{__LINE__, [](ZEPUnicodeString& text) { text.BuildFromUTF8("8", 1); }, "8"},
      Row{__LINE__, [](ZEPUnicodeString& text) { text.BuildFromUTF16(u"16", 2); }, "16"},
      Row{__LINE__, [](ZEPUnicodeString& text) { text = "new"; }, "new"},
      Row{__LINE__,
          [](ZEPUnicodeString& text) {
            const ZEPUnicodeString other("o");
            text = other;
          },
          "o"},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(row.line);
    ZEPUnicodeString text(" Ab ");
    EXPECT_STREQ(text.CastToCharPtr(), " Ab ");
    row.change(text);
    EXPECT_STREQ(text.CastToCharPtr(), row.expected);
  }
}

TEST(UnicodeString, CastToCharPtr_GivesOneText_ManyThreads) {
  for (int round = 0; round < 200; ++round) {
    const ZEPUnicodeString text("shared by \xE2\x82\xAC threads");
    std::atomic<int> waiting{4};
    const char* seen[4] = {};
    std::vector<std::thread> threads;
    for (const char*& result : seen) {
      threads.emplace_back([&] {
        --waiting;
        while (waiting > 0) {}
        result = text.CastToCharPtr();
      });
    }
    for (std::thread& thread : threads) {
      thread.join();
    }
    for (const char* const result : seen) {
      ASSERT_EQ(result, seen[0]);
      ASSERT_STREQ(result, "shared by \xE2\x82\xAC threads");
    }
  }
}

TEST(UnicodeString, CastToCharPtr_EndsAtNul_ForNarrowReaders) {
  const ZEPUnicodeString text(u"ab\0cd", 5);
  EXPECT_EQ(text.GetLengthInChar(), 5);
  EXPECT_STREQ(text.CastToCharPtr(), "ab");
  EXPECT_EQ(std::string(text.CastToCharPtr(), 6), "ab\0cd\0"s);
  EXPECT_EQ(text.CastToUnitPtr()[5], u'\0');
}

TEST(UnicodeString, CopyAndMove_KeepValues_IncludingSelf) {
  for (const char* const content : {"", "short", "a text that is too long to be kept in place"}) {
    SCOPED_TRACE(content);
    ZEPUnicodeString original(content);
    original.CastToCharPtr();
    ZEPUnicodeString copy(original);
    EXPECT_TRUE(copy == original);
    ZEPUnicodeString moved(std::move(original));
    EXPECT_TRUE(moved == content);
    EXPECT_STREQ(moved.CastToCharPtr(), content);
    EXPECT_TRUE(original.IsEmpty()); // NOLINT(bugprone-use-after-move): a documented state
    EXPECT_STREQ(original.CastToCharPtr(), "");

    ZEPUnicodeString target("replaced");
    target.CastToCharPtr();
    target = std::move(moved);
    EXPECT_STREQ(target.CastToCharPtr(), content);
    EXPECT_TRUE(moved.IsEmpty()); // NOLINT(bugprone-use-after-move)

    ZEPUnicodeString& same = target;
    target = same;
    EXPECT_TRUE(target == content);
    target = std::move(same);
    EXPECT_TRUE(target == content);
  }
}

// Short enough to be kept in place, and longer.
const std::u16string kSharedTexts[] = {u" Ab ", u" Ab " + std::u16string(200, u'c') + u" "};

TEST(UnicodeString, Copy_SharesItsUnits_UntilOneIsChanged) {
  ZEPUnicodeString original = Text(kSharedTexts[1]);
  const char16_t* const units = original.CastToUnitPtr();
  ZEPUnicodeString copy = original;
  EXPECT_EQ(copy.CastToUnitPtr(), units);
  EXPECT_EQ(original.SubString(0, INT_MAX).CastToUnitPtr(), units);
  copy.Append("+");
  EXPECT_NE(copy.CastToUnitPtr(), units);
  EXPECT_EQ(original.CastToUnitPtr(), units);
  copy = original;
  original.Reset();
  EXPECT_EQ(copy.CastToUnitPtr(), units);
  EXPECT_EQ(Units(copy), kSharedTexts[1]);
}

TEST(UnicodeString, Copy_IsATextOfItsOwn_EveryChangingOperation) {
  struct Row {
    int line;
    void (*change)(ZEPUnicodeString&);
  };
  const Row rows[] = {
      Row{__LINE__, [](ZEPUnicodeString& text) { text.Append("+"); }},
      Row{__LINE__, [](ZEPUnicodeString& text) { text.Append(text); }},
      Row{__LINE__, [](ZEPUnicodeString& text) { text.AppendPart(text, 1, 2); }},
      Row{__LINE__, [](ZEPUnicodeString& text) { text.Insert(1, "+"); }},
      Row{__LINE__, [](ZEPUnicodeString& text) { text.Remove(1, 1); }},
      Row{__LINE__, [](ZEPUnicodeString& text) { text.Strip(2, ' '); }},
      Row{__LINE__, [](ZEPUnicodeString& text) { text.ToLower(); }},
      Row{__LINE__, [](ZEPUnicodeString& text) { text.Reset(); }},
      Row{__LINE__, [](ZEPUnicodeString& text) { text.BuildFromUTF8("8", 1); }},
      Row{__LINE__, [](ZEPUnicodeString& text) { text.BuildFromUTF16(u"16", 2); }},
      Row{__LINE__, [](ZEPUnicodeString& text) { text = "new"; }},
      Row{__LINE__, [](ZEPUnicodeString& text) { const ZEPUnicodeString moved(std::move(text)); }},
  };
  for (const Row& row : rows) {
    for (const std::u16string& content : kSharedTexts) {
      SCOPED_TRACE(row.line);
      ZEPUnicodeString original = Text(content);
      ZEPUnicodeString copy = original;
      row.change(copy);
      EXPECT_EQ(Units(original), content);
      EXPECT_NE(Units(copy), content);
      const std::u16string changed = Units(copy);
      copy = original;
      row.change(original);
      EXPECT_EQ(Units(copy), content);
      EXPECT_EQ(Units(original), changed);
      ZEPUnicodeString alone = Text(content); // shared with nobody
      row.change(alone);
      EXPECT_EQ(Units(alone), changed);
    }
  }
}

TEST(UnicodeString, Copy_MayBeChanged_WhileOtherThreadsCopyAndChangeTheirs) {
  const ZEPUnicodeString original = Text(kSharedTexts[1]);
  std::vector<std::thread> threads;
  std::atomic<int> wrong = 0;
  for (int thread = 0; thread < 4; ++thread) {
    threads.emplace_back([&original, &wrong, thread] {
      const ZEPUnicodeString mine(std::to_string(thread).c_str());
      for (int round = 0; round < 2000; ++round) {
        ZEPUnicodeString copy = original;
        const ZEPUnicodeString second = copy;
        copy.Append(mine).Remove(0, 4);
        wrong += Units(copy) == kSharedTexts[1].substr(4) + Units(mine) && second == original ? 0 : 1;
      }
    });
  }
  for (std::thread& thread : threads) {
    thread.join();
  }
  EXPECT_EQ(wrong, 0);
  EXPECT_EQ(Units(original), kSharedTexts[1]);
}

TEST(UnicodeString, Reserve_ChangesNoText_AnyRoom) {
  for (const std::u16string& content : {u""s, kSharedTexts[0], kSharedTexts[1]}) {
    for (const int room : {INT_MIN, 0, 1, 19, 20, 10000}) {
      SCOPED_TRACE(room);
      ZEPUnicodeString text = Text(content);
      const ZEPUnicodeString copy = text;
      text.Reserve(room);
      EXPECT_EQ(Units(text), content);
      text.Append("+");
      text.Reserve(0);
      EXPECT_EQ(Units(text), content + u"+");
      EXPECT_EQ(Units(copy), content);
    }
  }
}

TEST(UnicodeString, Reserve_KeepsThePlace_WhileTheRoomLasts) {
  ZEPUnicodeString text;
  text.Reserve(1000);
  const char16_t* const units = text.CastToUnitPtr();
  for (int i = 0; i < 1000; ++i) {
    text.Append("x");
  }
  EXPECT_EQ(text.CastToUnitPtr(), units);
  EXPECT_EQ(Units(text), std::u16string(1000, u'x'));
}

struct RangeRow {
  int line;
  int start;
  int length;
  const char* overlap;
  const char* rest; // of "abcdef"
};

const RangeRow kRangeRows[] = {
    RangeRow{__LINE__, 0, 6, "abcdef", ""},
    RangeRow{__LINE__, 0, 1, "a", "bcdef"},
    RangeRow{__LINE__, 2, 3, "cde", "abf"},
    RangeRow{__LINE__, 5, 1, "f", "abcde"},
    RangeRow{__LINE__, 5, 2, "f", "abcde"},
    RangeRow{__LINE__, 6, 1, "", "abcdef"},
    RangeRow{__LINE__, 7, 1, "", "abcdef"},
    RangeRow{__LINE__, 2, 0, "", "abcdef"},
    RangeRow{__LINE__, 2, -1, "", "abcdef"},
    RangeRow{__LINE__, -1, 1, "", "abcdef"},
    RangeRow{__LINE__, -1, 2, "a", "bcdef"},
    RangeRow{__LINE__, -2, 4, "ab", "cdef"},
    RangeRow{__LINE__, -3, 100, "abcdef", ""},
    RangeRow{__LINE__, 0, INT_MAX, "abcdef", ""},
    RangeRow{__LINE__, 3, INT_MAX, "def", "abc"},
    RangeRow{__LINE__, INT_MAX, INT_MAX, "", "abcdef"},
    RangeRow{__LINE__, INT_MIN, INT_MAX, "", "abcdef"},
    RangeRow{__LINE__, INT_MIN, INT_MIN, "", "abcdef"},
    RangeRow{__LINE__, INT_MAX, INT_MIN, "", "abcdef"},
    RangeRow{__LINE__, 0, INT_MIN, "", "abcdef"},
    RangeRow{__LINE__, -(INT_MAX - 2), INT_MAX, "ab", "cdef"},
};

TEST(UnicodeString, SubString_GivesTheOverlap_AnyRange) {
  for (const RangeRow& row : kRangeRows) {
    SCOPED_TRACE(row.line);
    const ZEPUnicodeString text("abcdef");
    EXPECT_STREQ(text.SubString(row.start, row.length).CastToCharPtr(), row.overlap);
    EXPECT_TRUE(ZEPUnicodeString().SubString(row.start, row.length).IsEmpty());
  }
}

TEST(UnicodeString, AppendPart_AddsTheOverlap_AnyRange) {
  for (const RangeRow& row : kRangeRows) {
    SCOPED_TRACE(row.line);
    for (const std::u16string& content : {u""s, kSharedTexts[0], kSharedTexts[1]}) {
      ZEPUnicodeString text = Text(content);
      EXPECT_EQ(&text.AppendPart("abcdef", row.start, row.length), &text);
      EXPECT_EQ(Units(text), content + Units(row.overlap));
    }
    ZEPUnicodeString own("abcdef");
    own.AppendPart(own, row.start, row.length);
    EXPECT_EQ(Units(own), u"abcdef" + Units(row.overlap));
  }
}

TEST(UnicodeString, Remove_TakesTheOverlapAway_AnyRange) {
  for (const RangeRow& row : kRangeRows) {
    SCOPED_TRACE(row.line);
    ZEPUnicodeString text("abcdef");
    EXPECT_EQ(&text.Remove(row.start, row.length), &text);
    EXPECT_STREQ(text.CastToCharPtr(), row.rest);
    ZEPUnicodeString empty;
    EXPECT_TRUE(empty.Remove(row.start, row.length).IsEmpty());
  }
}

TEST(UnicodeString, Insert_MovesPositionInto_AnyPosition) {
  struct Row {
    int line;
    int position;
    const char* expected;
  };
  const Row rows[] = {
      Row{__LINE__, 0, "XYabc"},       Row{__LINE__, 1, "aXYbc"},  Row{__LINE__, 3, "abcXY"},
      Row{__LINE__, 4, "abcXY"},       Row{__LINE__, -1, "XYabc"}, Row{__LINE__, INT_MAX, "abcXY"},
      Row{__LINE__, INT_MIN, "XYabc"},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(row.line);
    ZEPUnicodeString text("abc");
    EXPECT_EQ(&text.Insert(row.position, "XY"), &text);
    EXPECT_STREQ(text.CastToCharPtr(), row.expected);
  }
}

TEST(UnicodeString, AppendAndInsert_Work_OnThemselves) {
  for (const std::u16string& content : {u"ab"s, u"a text that is too long to be kept in place"s, u""s}) {
    ZEPUnicodeString appended = Text(content);
    EXPECT_EQ(&appended.Append(appended), &appended);
    EXPECT_EQ(Units(appended), content + content);
    for (std::size_t position = 0; position <= content.size(); ++position) {
      SCOPED_TRACE(position);
      ZEPUnicodeString inserted = Text(content);
      inserted.Insert(static_cast<int>(position), inserted);
      EXPECT_EQ(Units(inserted), content.substr(0, position) + content + content.substr(position));
    }
  }
  const ZEPUnicodeString left("left");
  EXPECT_TRUE(left + left == "leftleft");
  EXPECT_TRUE(left + " right" == "left right");
}

TEST(UnicodeString, SearchSubString_FollowsItsRules_AnyStart) {
  struct Row {
    int line;
    const char* pattern;
    int start;
    int expected;
  };
  const Row rows[] = {
      // in "abcabc"
      Row{__LINE__, "abc", 0, 0},      Row{__LINE__, "abc", 1, 3},  Row{__LINE__, "abc", 3, 3},
      Row{__LINE__, "abc", 4, -1},     Row{__LINE__, "ABC", 0, -1}, Row{__LINE__, "abcabc", 0, 0},
      Row{__LINE__, "abcabcd", 0, -1}, Row{__LINE__, "abc", -1, 0}, Row{__LINE__, "abc", INT_MIN, 0},
      Row{__LINE__, "c", 5, 5},        Row{__LINE__, "c", 6, -1},   Row{__LINE__, "abc", INT_MAX, -1},
      Row{__LINE__, "", 0, 0},         Row{__LINE__, "", 4, 4},     Row{__LINE__, "", 6, 6},
      Row{__LINE__, "", 7, -1},        Row{__LINE__, "", -3, 0},    Row{__LINE__, "", INT_MAX, -1},
  };
  const ZEPUnicodeString text("abcabc");
  for (const Row& row : rows) {
    SCOPED_TRACE(row.line);
    EXPECT_EQ(text.SearchSubString(row.pattern, row.start, 1), row.expected);
  }
  EXPECT_EQ(ZEPUnicodeString().SearchSubString("", 0, 1), 0);
  EXPECT_EQ(ZEPUnicodeString().SearchSubString("a", 0, 1), -1);
  EXPECT_EQ(text.SearchSubString(text, 0, 1), 0);
}

TEST(UnicodeString, Strip_TakesCharactersOff_EachMode) {
  struct Row {
    int line;
    std::u16string text;
    int mode;
    char character;
    std::u16string expected;
  };
  const Row rows[] = {
      Row{__LINE__, u"\n\na\nb\n\n", 0, '\n', u"a\nb\n\n"},
      Row{__LINE__, u"\n\na\nb\n\n", 1, '\n', u"\n\na\nb"},
      Row{__LINE__, u"\n\na\nb\n\n", 2, '\n', u"a\nb"},
      Row{__LINE__, u"\n\na\nb\n\n", 3, '\n', u"\n\na\nb\n\n"},
      Row{__LINE__, u"\n\na\nb\n\n", -1, '\n', u"\n\na\nb\n\n"},
      Row{__LINE__, u"line\r\n", 2, '\n', u"line\r"},
      Row{__LINE__, u"---", 0, '-', u""},
      Row{__LINE__, u"---", 1, '-', u""},
      Row{__LINE__, u"---", 2, '-', u""},
      Row{__LINE__, u"", 2, '-', u""},
      Row{__LINE__, u"abc", 2, '-', u"abc"},
      Row{__LINE__, u"\0a\0"s, 2, '\0', u"a"},
      // A byte of a longer sequence is no character of its own.
      Row{__LINE__, u"\u00E9a\u00E9", 2, '\xE9', u"\u00E9a\u00E9"},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(row.line);
    ZEPUnicodeString text = Text(row.text);
    EXPECT_EQ(&text.Strip(row.mode, row.character), &text);
    EXPECT_EQ(Units(text), row.expected);
  }
}

TEST(UnicodeString, ToLower_DependsOnNoLocale_FullMapping) {
  struct Row {
    int line;
    std::u16string text;
    std::u16string expected;
  };
  const std::u16string lone(1, char16_t{0xD83D});
  const Row rows[] = {
      Row{__LINE__, u"", u""},
      Row{__LINE__, u"<XSL:Output Encoding=\"UTF-8\"/>", u"<xsl:output encoding=\"utf-8\"/>"},
      Row{__LINE__, u"TITLE I", u"title i"},
      Row{__LINE__, u"\u0130", u"i\u0307"}, // grows
      Row{__LINE__, std::u16string(50, u'\u0130'),
          [] {
            std::u16string grown;
            for (int i = 0; i < 50; ++i) {
              grown += u"i\u0307";
            }
            return grown;
          }()},
      Row{__LINE__, u"\u03A3\u03A3 \u0391\u03A3", u"\u03C3\u03C2 \u03B1\u03C2"}, // final sigma
      Row{__LINE__, u"\u1E9E\u00C4", u"\u00DF\u00E4"},
      Row{__LINE__, u"\U00010400", u"\U00010428"},
      Row{__LINE__, u"A" + lone + u"B", u"a" + lone + u"b"},
      Row{__LINE__, u"A\0B"s, u"a\0b"s},
  };
  setenv("LC_ALL", "tr_TR.UTF-8", 1);
  std::setlocale(LC_ALL, "");
  for (const Row& row : rows) {
    SCOPED_TRACE(row.line);
    ZEPUnicodeString text = Text(row.text);
    EXPECT_EQ(&text.ToLower(), &text);
    EXPECT_EQ(Units(text), row.expected);
  }
}

TEST(UnicodeString, Compare_TellsThreeDegrees_EveryPair) {
  struct Row {
    int line;
    std::u16string left;
    std::u16string right;
    int expected;
  };
  const Row rows[] = {
      Row{__LINE__, u"", u"", 2},
      Row{__LINE__, u"debug", u"debug", 2},
      Row{__LINE__, u"debug", u"DeBug", 1},
      Row{__LINE__, u"debug", u"debug ", 0},
      Row{__LINE__, u"debug", u"", 0},
      Row{__LINE__, u"az", u"AZ", 1},
      Row{__LINE__, u"@[`{", u"@[`{", 2},
      Row{__LINE__, u"@", u"`", 0},
      Row{__LINE__, u"[", u"{", 0},
      Row{__LINE__, u"\u00E9", u"\u00C9", 0},
      Row{__LINE__, u"k", u"\u212A", 0}, // the Kelvin sign is no ASCII letter
      Row{__LINE__, u"a\0b"s, u"a\0c"s, 0},
      Row{__LINE__, u"a\0b"s, u"A\0B"s, 1},
      Row{__LINE__, u"1", u"1\0"s, 0},
      Row{__LINE__, u"\u0141", u"\u0161", 0}, // low bytes that look like letters
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(row.line);
    EXPECT_EQ(Text(row.left).Compare(Text(row.right)), row.expected);
    EXPECT_EQ(Text(row.right).Compare(Text(row.left)), row.expected);
    EXPECT_EQ(Text(row.left) == Text(row.right), row.expected == 2);
  }
}

TEST(UnicodeString, Equality_ReadsNarrowTextAsUTF8_OtherEncodings) {
  EXPECT_TRUE(Text(u"\u20AC") == "\xE2\x82\xAC");
  EXPECT_FALSE(Text(u"\u00E9") == "\xE9");
  EXPECT_TRUE(Text(u"\uFFFD") == "\xE9");
  EXPECT_FALSE(Text(u"a\0b"s) == "a");
}

TEST(UnicodeString, ConvertToNum_ReadsANumber_AsPercentD) {
  struct Row {
    int line;
    std::u16string text;
    int result;
    int number;
  };
  constexpr int untouched = 4711;
  const Row rows[] = {
      Row{__LINE__, u"200", 1, 200},
      Row{__LINE__, u"0", 1, 0},
      Row{__LINE__, u"-0", 1, 0},
      Row{__LINE__, u"007", 1, 7},
      Row{__LINE__, u" \t\n\v\f\r42", 1, 42},
      Row{__LINE__, u"+5", 1, 5},
      Row{__LINE__, u"-5", 1, -5},
      Row{__LINE__, u"404 Not Found", 1, 404},
      Row{__LINE__, u"12.7", 1, 12},
      Row{__LINE__, u"0x10", 1, 0},
      Row{__LINE__,
          u"5\0"
          u"6"s,
          1, 5},
      Row{__LINE__, u"2147483647", 1, INT_MAX},
      Row{__LINE__, u"-2147483648", 1, INT_MIN},
      Row{__LINE__, u"00000000000000000000000000000012", 1, 12},
      Row{__LINE__, u"2147483648", 0, untouched},
      Row{__LINE__, u"-2147483649", 0, untouched},
      Row{__LINE__, u"99999999999999999999999999999999999999", 0, untouched},
      Row{__LINE__, u"", 0, untouched},
      Row{__LINE__, u"   ", 0, untouched},
      Row{__LINE__, u"-", 0, untouched},
      Row{__LINE__, u"+-5", 0, untouched},
      Row{__LINE__, u"- 5", 0, untouched},
      Row{__LINE__, u"OK 200", 0, untouched},
      Row{__LINE__, u"\u00A05", 0, untouched},
      Row{__LINE__, u"\u0665", 0, untouched}, // a digit, but none of "%d"
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(row.line);
    int number = untouched;
    EXPECT_EQ(Text(row.text).ConvertToNum(&number, "%d"), row.result);
    EXPECT_EQ(number, row.number);
  }
}

TEST(UnicodeString, ConvertToNum_ReadsNothing_OtherFormats) {
  for (const char* const format : {"%x", "%i", "", "d", "%d ", static_cast<const char*>(nullptr)}) {
    int number = 4711;
    EXPECT_EQ(ZEPUnicodeString("12").ConvertToNum(&number, format), 0);
    EXPECT_EQ(number, 4711);
  }
  EXPECT_EQ(ZEPUnicodeString("12").ConvertToNum(nullptr, "%d"), 0);
}

TEST(UTF8Conversion, Bytes_StayInPlace_UpToThirtyTwoWithTheZero) {
  struct Row {
    int line;
    std::u16string text;
    std::string bytes;
    bool inPlace;
  };
  const Row rows[] = {
      Row{__LINE__, u"", "", true},
      Row{__LINE__, u"a\0b"s, "a\0b"s, true},
      Row{__LINE__, std::u16string(31, u'x'), std::string(31, 'x'), true},
      Row{__LINE__, std::u16string(32, u'x'), std::string(32, 'x'), false},
      Row{__LINE__, std::u16string(33, u'x'), std::string(33, 'x'), false},
      Row{__LINE__, std::u16string(29, u'x') + u"\u00E9", std::string(29, 'x') + "\xC3\xA9", true},
      Row{__LINE__, std::u16string(29, u'x') + u"\u20AC", std::string(29, 'x') + "\xE2\x82\xAC", false},
      Row{__LINE__, std::u16string(1, char16_t{0xDC00}), "\xEF\xBF\xBD", true},
      Row{__LINE__, std::u16string(100000, u'\u20AC'),
          [] {
            std::string bytes;
            for (int i = 0; i < 100000; ++i) {
              bytes += "\xE2\x82\xAC";
            }
            return bytes;
          }(),
          false},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(row.line);
    const ZEPUTF8Conversion conversion(Text(row.text));
    EXPECT_EQ(std::string(conversion.Bytes(), conversion.ByteCount()), row.bytes);
    EXPECT_EQ(conversion.Bytes()[conversion.ByteCount()], '\0');
    const auto begin = reinterpret_cast<std::uintptr_t>(&conversion);
    const auto bytes = reinterpret_cast<std::uintptr_t>(conversion.Bytes());
    EXPECT_EQ(bytes >= begin && bytes < begin + sizeof conversion, row.inPlace);
  }
}

} // namespace
