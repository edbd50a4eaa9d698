#include "ZEPCfgTextSearch.h"

#include <gtest/gtest.h>

#include <string>
#include <string_view>
#include <vector>

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

// A text type that offers all that saves time, and counts it. In front of it and behind it stand units
// that belong to nobody.
class CountedText {
public:
  CountedText(const std::u16string& units, char16_t around)
      : m_units(around + units + around + around),
        m_length(static_cast<int>(units.size())) {}

  int GetLengthInChar() const { return m_length; }
  const char16_t* CastToUnitPtr() const { return m_units.data() + 1; }
  int SearchSubString(const CountedText& pattern, int start, int mode) const {
    EXPECT_EQ(mode, zep::forward);
    ++m_searches;
    const std::u16string_view units(CastToUnitPtr(), static_cast<std::size_t>(m_length));
    const std::size_t found = units.find(pattern.CastToUnitPtr()[0], static_cast<std::size_t>(start));
    return found == std::u16string_view::npos ? -1 : static_cast<int>(found);
  }
  void Reserve(int length) { m_reserved = length; }
  int Searches() const { return m_searches; }
  int Reserved() const { return m_reserved; }

private:
  std::u16string m_units;
  int m_length;
  mutable int m_searches = 0;
  int m_reserved = 0;
};

TEST(TextParts, room_isMadeWhereTheTextTypeOffersIt) {
  CountedText text(u"", u' ');
  zep::reserve(text, 100);
  EXPECT_EQ(text.Reserved(), 100);
}

TEST(TextParts, unitsAroundAText_areNoneOfItsOwn) {
  EXPECT_FALSE(zep::mayEndInside(CountedText(u"", u'D'), CountedText(u"D", u' ')));
  EXPECT_FALSE(zep::mayEndInside(CountedText(u"a", u'D'), CountedText(u"D", u'a')));
  const CountedText quote(u"\"", u'x');
  for (int start = 0; start <= 2; ++start) {
    EXPECT_EQ(zep::searchQuote(CountedText(u"a=", u'"'), quote, start), -1) << start;
  }
}

TEST(TextParts, quoteBehindAnEqualsSign_needsNoSearch) {
  struct Row {
    int line;
    const char16_t* text;
    int found;
    int searches;
  };
  const Row rows[] = {
      Row{__LINE__, u"=\"", 1, 0},  Row{__LINE__, u"=\"a\"", 1, 0}, Row{__LINE__, u"= \"", 2, 1},
      Row{__LINE__, u"\"\"", 0, 1}, Row{__LINE__, u"\"a", 0, 1},    Row{__LINE__, u"=", -1, 1},
  };
  const CountedText quote(u"\"", u'x');
  for (const Row& row : rows) {
    SCOPED_TRACE("row at line " + std::to_string(row.line));
    const CountedText text(row.text, u'x');
    EXPECT_EQ(zep::searchQuote(text, quote, 0), row.found);
    EXPECT_EQ(text.Searches(), row.searches);
  }
}

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
  std::vector<int> starts = {0, 2, 1, -1, 5, 3, 0, 7, 100};
  for (int from = 0; from < 10; ++from) {
    starts.push_back(from);
    starts.insert(starts.begin(), from);
  }
  for (const char* pattern : {"ab", "a", "x", "-a", "zz"}) {
    SCOPED_TRACE(pattern);
    zep::TextPart part(text);
    zep::ForwardSearch search(part, pattern);
    int start = 0;
    for (const int end : ends) {
      part.MoveTo(start, end);
      const ZEPUnicodeString alone = text.SubString(start, end - start);
      for (const int from : starts) {
        const int expected = alone.SearchSubString(pattern, from, 1);
        EXPECT_EQ(search.From(from), expected)
            << "part from " << start << " to " << end << ", search from " << from;
        EXPECT_EQ(zep::ForwardSearch(part, pattern).From(from), expected)
            << "part from " << start << " to " << end << ", first search from " << from;
      }
      start = end;
    }
  }
}

void expectReadAsIfRemoved(const ZEPUnicodeString& text, int start, int length) {
  zep::TextWithoutSpan left(text);
  left.TakeOut(start, length);
  ZEPUnicodeString expected = text;
  expected.Remove(start, length);
  EXPECT_TRUE(left.Whole() == expected);
  EXPECT_EQ(left.GetLengthInChar(), expected.GetLengthInChar());
  for (int from = 0; from <= expected.GetLengthInChar(); ++from) {
    EXPECT_EQ(left.Search("DescId", from), expected.SearchSubString("DescId", from, 1)) << "from " << from;
    EXPECT_EQ(left.SearchQuote("X", from), expected.SearchSubString("X", from, 1)) << "from " << from;
  }
}

TEST(TextParts, textWithoutSpan_isReadAsIfItWereRemoved) {
  for (const char* const characters : {"xDesXXXXXcIdxDescIdx", "DescIdxDesXcIdx", "DesXXcIdxDescId"}) {
    const ZEPUnicodeString text = characters;
    for (int start = -1; start < text.GetLengthInChar(); ++start) {
      for (int length = 1; length <= 20; ++length) {
        if (start + length > 0) {
          SCOPED_TRACE(::testing::Message() << characters << " without " << length << " from " << start);
          expectReadAsIfRemoved(text, start, length);
        }
      }
    }
  }
}

} // namespace
