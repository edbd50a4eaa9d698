#include "ZEPCfgTextSearch.h"

#include <gtest/gtest.h>

#include <string>

// What the text operations do with a text type that offers the string operations alone, and none of
// those that save time.

namespace {

class PlainText {
public:
  explicit PlainText(std::string characters) : m_characters(std::move(characters)) {}

  void Append(const PlainText& text) { m_characters += text.m_characters; }
  PlainText SubString(int start, int length) const {
    return PlainText(m_characters.substr(static_cast<std::size_t>(start), static_cast<std::size_t>(length)));
  }
  const std::string& Characters() const { return m_characters; }

private:
  std::string m_characters;
};

TEST(TextParts, plainTextType_isPutTogetherFromItsParts) {
  PlainText whole("ab");
  zep::reserve(whole, 100);
  zep::appendPart(whole, PlainText("0123456"), 2, 3);
  EXPECT_EQ(whole.Characters(), "ab234");
}

TEST(TextParts, plainTextType_mayAlwaysEndInsideAPattern) {
  EXPECT_TRUE(zep::mayEndInside(PlainText("x "), PlainText("DescId")));
}

TEST(TextParts, endOfAText_isComparedWithThePattern) {
  struct Row {
    int line;
    const char* text;
    bool may;
  };
  const Row rows[] = {
      Row{__LINE__, "", false},   Row{__LINE__, "x", false}, Row{__LINE__, "D ", false},
      Row{__LINE__, "xD", true},  Row{__LINE__, "s", true},  Row{__LINE__, "xI", true},
      Row{__LINE__, "dx", false}, Row{__LINE__, "i", false},
  };
  const ZEPUnicodeString pattern = "DescId";
  for (const Row& row : rows) {
    SCOPED_TRACE("row at line " + std::to_string(row.line));
    EXPECT_EQ(zep::mayEndInside(ZEPUnicodeString(row.text), pattern), row.may);
  }
}

TEST(TextParts, quote_isTheFirstOne) {
  const ZEPUnicodeString quote = "\"";
  for (const char* characters :
       {"", "\"", "a", "=\"", "\"\"", "\"a", "=a\"", "=\"\"", "aaaa\"", "\"a\"a\""}) {
    const ZEPUnicodeString text = characters;
    SCOPED_TRACE(characters);
    for (int start = 0; start <= text.GetLengthInChar() + 2; ++start) {
      EXPECT_EQ(zep::searchQuote(text, quote, start), text.SearchSubString(quote, start, zep::forward));
    }
  }
}

// A walk goes on to places further back only where it has not been.
TEST(TextParts, walk_entersEachPlaceOnce) {
  zep::Walk walk;
  for (int round = 0; round < 2; ++round) {
    walk.Begin();
    for (const int place : {3, 7, 20}) {
      EXPECT_TRUE(walk.Enters(place)) << place;
    }
    for (const int place : {-1, 3, 7, 20}) {
      EXPECT_FALSE(walk.Enters(place)) << place;
    }
    for (const int place : {5, 0, 21}) {
      EXPECT_TRUE(walk.Enters(place)) << place;
    }
    for (const int place : {5, 0, 21, 3}) {
      EXPECT_FALSE(walk.Enters(place)) << place;
    }
  }
}

// The same answers as searching each part by itself, also where a search goes back.
TEST(TextParts, forwardSearch_agreesWithSearchingThePart_anyOrderOfStarts) {
  const ZEPUnicodeString text = "ab-ab-xx-ab-abab-x-ab";
  const int ends[] = {4, 5, 12, 13, 21};
  for (const char* pattern : {"ab", "a", "x", "-a", "zz"}) {
    SCOPED_TRACE(pattern);
    zep::TextPart part(text);
    zep::ForwardSearch search(part, pattern);
    int start = 0;
    for (const int end : ends) {
      part.MoveTo(start, end);
      const ZEPUnicodeString alone = text.SubString(start, end - start);
      for (const int from : {0, 2, 1, -1, 5, 3, 0, 7, 100}) {
        EXPECT_EQ(search.From(from), alone.SearchSubString(pattern, from, 1))
            << "part from " << start << " to " << end << ", search from " << from;
      }
      start = end;
    }
  }
}

TEST(TextParts, textWithoutSpan_isReadAsIfItWereRemoved) {
  const ZEPUnicodeString text = "xDesXXXXXcIdxDescIdx";
  for (int start = -1; start < text.GetLengthInChar(); ++start) {
    for (int length = 1; length <= 20; ++length) {
      if (start + length <= 0) {
        continue;
      }
      zep::TextWithoutSpan left(text);
      left.TakeOut(start, length);
      ZEPUnicodeString expected = text;
      expected.Remove(start, length);
      EXPECT_TRUE(left.Whole() == expected);
      EXPECT_EQ(left.GetLengthInChar(), expected.GetLengthInChar());
      for (int from = 0; from <= expected.GetLengthInChar(); ++from) {
        EXPECT_EQ(left.Search("DescId", from), expected.SearchSubString("DescId", from, 1))
            << "without " << length << " from " << start << ", search from " << from;
        EXPECT_EQ(left.SearchQuote("X", from), expected.SearchSubString("X", from, 1))
            << "without " << length << " from " << start << ", search from " << from;
      }
    }
  }
}

} // namespace
