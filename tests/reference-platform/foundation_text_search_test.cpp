#include "GuardedMemory_posix.h"
#include "ZEPTextSearch.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <cstdint>
#include <random>
#include <string>
#include <vector>

namespace {

struct SearchPath {
  const char* name;
  std::size_t (*find)(zep::UnitRange text, zep::UnitRange pattern, std::size_t start);
};

// All that this machine can run.
std::vector<SearchPath> AllPaths() {
  std::vector<SearchPath> paths = {{"portable", zep::FindUnitsPortable}, {"chosen", zep::FindUnits}};
#if ZEP_TEXT_SEARCH_SSE2
  paths.push_back({"sse2", zep::FindUnitsSse2});
#endif
#if ZEP_TEXT_SEARCH_AVX2
  if (zep::MachineHasAvx2()) {
    paths.push_back({"avx2", zep::FindUnitsAvx2});
  }
#endif
  return paths;
}

const std::vector<SearchPath> kPaths = AllPaths();

// Memory of exactly the text's size, so that a sanitizer sees every read beyond it.
std::vector<char16_t> Exactly(const std::u16string& text) {
  return {text.begin(), text.end()};
}

std::size_t Naive(const std::u16string& text, const std::u16string& pattern, std::size_t start) {
  for (std::size_t i = start; i + pattern.size() <= text.size(); ++i) {
    std::size_t equal = 0;
    while (equal < pattern.size() && text[i + equal] == pattern[equal]) {
      ++equal;
    }
    if (equal == pattern.size()) {
      return i;
    }
  }
  return zep::kNotFound;
}

void ExpectAllPathsAgree(const std::u16string& text, const std::u16string& pattern, std::size_t start) {
  const std::vector<char16_t> textUnits = Exactly(text);
  const std::vector<char16_t> patternUnits = Exactly(pattern);
  const std::size_t expected = Naive(text, pattern, start);
  for (const SearchPath& path : kPaths) {
    SCOPED_TRACE(path.name);
    ASSERT_EQ(path.find({textUnits.data(), text.size()}, {patternUnits.data(), pattern.size()}, start),
              expected)
        << "text of " << text.size() << ", pattern of " << pattern.size() << ", start " << start;
  }
}

std::u16string RandomText(std::mt19937& random, std::size_t length, const std::u16string& alphabet) {
  std::u16string text(length, u'\0');
  for (char16_t& unit : text) {
    unit = alphabet[random() % alphabet.size()];
  }
  return text;
}

TEST(TextSearch, Find_AgreesWithNaiveSearch_EveryPositionAndLength) {
  for (std::size_t textLength = 0; textLength <= 40; ++textLength) {
    for (std::size_t position = 0; position < textLength; ++position) {
      for (std::size_t patternLength = 1; position + patternLength <= textLength; ++patternLength) {
        std::u16string text(textLength, u'-');
        for (std::size_t i = 0; i < patternLength; ++i) {
          text[position + i] = static_cast<char16_t>(u'A' + i);
        }
        const std::u16string pattern = text.substr(position, patternLength);
        ASSERT_NO_FATAL_FAILURE(ExpectAllPathsAgree(text, pattern, 0));
        ASSERT_NO_FATAL_FAILURE(ExpectAllPathsAgree(text, pattern, position));
        ASSERT_NO_FATAL_FAILURE(ExpectAllPathsAgree(text, pattern, position + 1));
      }
    }
  }
}

TEST(TextSearch, Find_AgreesWithNaiveSearch_GeneratedTexts) {
  std::mt19937 random(99);
  // Few letters make many near matches; the last two differ in one byte only from others.
  const std::u16string alphabets[] = {u"a", u"ab", u"abc", u"a\u0161\u6100", u"<=\" abcdefghij"};
  for (int round = 0; round < 30000; ++round) {
    SCOPED_TRACE(round);
    const std::u16string& alphabet = alphabets[random() % std::size(alphabets)];
    const std::u16string text = RandomText(random, random() % 90, alphabet);
    std::u16string pattern = RandomText(random, random() % 6, alphabet);
    if (random() % 2 == 0 && !text.empty()) {
      pattern = text.substr(random() % text.size(), random() % 30);
    }
    ASSERT_NO_FATAL_FAILURE(ExpectAllPathsAgree(text, pattern, random() % 100));
  }
}

TEST(TextSearch, Find_AgreesWithNaiveSearch_LongPatternsWithManyNearMatches) {
  std::mt19937 random(5);
  for (int round = 0; round < 150; ++round) {
    SCOPED_TRACE(round);
    const std::size_t period = 1 + random() % 5;
    const std::size_t patternLength = 65 + random() % 200;
    std::u16string text;
    while (text.size() < 6000) {
      text += std::u16string(period - 1, u'a') + u'b';
    }
    std::u16string pattern = text.substr(0, patternLength);
    pattern[random() % patternLength] = u'c'; // fails somewhere inside, at every period
    if (random() % 2 == 0) {
      text.replace(random() % (text.size() - patternLength), patternLength, pattern);
    }
    ASSERT_NO_FATAL_FAILURE(ExpectAllPathsAgree(text, pattern, random() % 50));
  }
}

// Built of its own beginnings, so that a failed comparison leaves many ways to go on.
std::u16string SelfSimilarText(std::mt19937& random, std::u16string text, std::size_t length) {
  while (text.size() < length) {
    text += text.substr(0, 1 + random() % text.size());
    if (random() % 4 == 0) {
      text += random() % 2 == 0 ? u'a' : u'b';
    }
  }
  return text;
}

TEST(TextSearch, Find_AgreesWithNaiveSearch_LongSelfSimilarPatterns) {
  std::mt19937 random(31);
  for (int round = 0; round < 2000; ++round) {
    SCOPED_TRACE(round);
    const std::u16string pattern = SelfSimilarText(random, u"ab", 65 + random() % 100);
    std::u16string text;
    while (text.size() < 3000) {
      text += pattern.substr(0, random() % pattern.size());
    }
    text += pattern + text;
    ASSERT_NO_FATAL_FAILURE(ExpectAllPathsAgree(text, pattern, random() % 50));
  }
}

TEST(TextSearch, Find_MissesNothing_BehindAnyNumberOfNearMatches) {
  const std::u16string pattern = std::u16string(40, u'a') + u'c' + std::u16string(40, u'a');
  for (std::size_t before = 0; before < 600; ++before) {
    const std::u16string text = std::u16string(before, u'a') + pattern;
    ASSERT_NO_FATAL_FAILURE(ExpectAllPathsAgree(text, pattern, 0));
    ASSERT_NO_FATAL_FAILURE(ExpectAllPathsAgree(text + std::u16string(20, u'a'), pattern, 0));
  }
}

// A text and a pattern each end where the memory does, so that a read beyond either ends the test;
// the text also begins at every place that a wide load can be off by.
TEST(TextSearch, Find_ReadsNothingBehindTheEnd_EveryLengthAndPatternLength) {
  std::mt19937 random(17);
  GuardedMemory<char16_t> textEnd(400);
  GuardedMemory<char16_t> patternEnd(40);
  for (std::size_t textLength = 0; textLength <= 200; ++textLength) {
    for (std::size_t patternLength = 1; patternLength <= 40; ++patternLength) {
      // Few letters: near matches everywhere, and the first and last unit often stand together.
      std::u16string text = RandomText(random, textLength, u"ab");
      const std::u16string pattern = RandomText(random, patternLength, u"ab");
      const std::size_t place = random() % (textLength + 1);
      if (random() % 3 != 0 && place + patternLength <= textLength) {
        text.replace(place, patternLength, pattern);
      }
      const std::size_t start = random() % 4 == 0 ? random() % (textLength + 2) : 0;
      const std::size_t expected = Naive(text, pattern, start);
      const zep::UnitRange textUnits{textEnd.EndingWith(text), text.size()};
      const zep::UnitRange patternUnits{patternEnd.EndingWith(pattern), pattern.size()};
      for (const SearchPath& path : kPaths) {
        SCOPED_TRACE(path.name);
        ASSERT_EQ(path.find(textUnits, patternUnits, start), expected)
            << "text of " << textLength << ", pattern of " << patternLength << ", start " << start;
      }
    }
  }
}

// The last unit of the text, and the one in front of it, are a match or are missed by one.
TEST(TextSearch, Find_SeesTheLastMatch_AtTheEndOfTheMemory) {
  GuardedMemory<char16_t> textEnd(400);
  for (std::size_t textLength = 1; textLength <= 200; ++textLength) {
    for (std::size_t patternLength = 1; patternLength <= std::min<std::size_t>(textLength, 40);
         ++patternLength) {
      std::u16string pattern(patternLength, u'x');
      pattern.front() = u'<';
      pattern.back() = u'>';
      const std::u16string text = std::u16string(textLength - patternLength, u'-') + pattern;
      const zep::UnitRange textUnits{textEnd.EndingWith(text), text.size()};
      for (const SearchPath& path : kPaths) {
        SCOPED_TRACE(path.name);
        ASSERT_EQ(path.find(textUnits, {pattern.data(), pattern.size()}, 0), textLength - patternLength);
        ASSERT_EQ(path.find(textUnits, {pattern.data(), pattern.size()}, textLength - patternLength + 1),
                  zep::kNotFound);
        if (textLength > patternLength) {
          // A text that ends one unit in front of the match's end.
          ASSERT_EQ(path.find({textUnits.units, text.size() - 1}, {pattern.data(), pattern.size()}, 0),
                    zep::kNotFound);
        }
      }
    }
  }
}

TEST(TextSearch, Find_AgreesWithNaiveSearch_EveryAlignment) {
  std::mt19937 random(23);
  const std::u16string memory = RandomText(random, 400, u"abc<");
  for (std::size_t offset = 0; offset < 32; ++offset) {
    for (std::size_t length = 0; length <= 200; ++length) {
      const std::u16string text = memory.substr(offset, length);
      const std::u16string pattern = RandomText(random, 1 + random() % 4, u"abc<");
      for (const SearchPath& path : kPaths) {
        SCOPED_TRACE(path.name);
        ASSERT_EQ(path.find({memory.data() + offset, length}, {pattern.data(), pattern.size()}, 0),
                  Naive(text, pattern, 0))
            << "offset " << offset << ", length " << length;
      }
    }
  }
}

TEST(TextSearch, Find_GivesTheStart_EmptyPattern) {
  const std::u16string text = u"abc";
  for (const std::size_t start : {0U, 2U, 3U}) {
    ExpectAllPathsAgree(text, u"", start);
  }
  for (const SearchPath& path : kPaths) {
    SCOPED_TRACE(path.name);
    EXPECT_EQ(path.find({text.data(), 3}, {nullptr, 0}, 3), 3U);
    EXPECT_EQ(path.find({text.data(), 3}, {nullptr, 0}, 4), zep::kNotFound);
    EXPECT_EQ(path.find({nullptr, 0}, {nullptr, 0}, 0), 0U);
    EXPECT_EQ(path.find({nullptr, 0}, {text.data(), 1}, 0), zep::kNotFound);
    EXPECT_EQ(path.find({text.data(), 3}, {text.data(), 1}, SIZE_MAX), zep::kNotFound);
  }
}

// Compared one by one, the candidates of this text would take minutes.
TEST(TextSearch, Find_StaysLinear_HostileText) {
  const std::u16string text(4'000'000, u'a');
  const std::u16string pattern = std::u16string(200'000, u'a') + u'b' + std::u16string(200'000, u'a');
  for (const SearchPath& path : kPaths) {
    SCOPED_TRACE(path.name);
    const auto begin = std::chrono::steady_clock::now();
    EXPECT_EQ(path.find({text.data(), text.size()}, {pattern.data(), pattern.size()}, 0), zep::kNotFound);
    EXPECT_LT(std::chrono::steady_clock::now() - begin, std::chrono::seconds(10));
  }
}

} // namespace
