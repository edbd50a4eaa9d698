#include "ContractTest.h"
#include "ZEPListValZEPUnicodeString.h"
#include "ZEPOmxKeyString.h"
#include "ZEPOmxUTF8String.h"
#include "ZEPToken.h"

#include <climits>
#include <cstring>
#include <string>
#include <thread>
#include <utility>
#include <vector>

// Texts, and what holds or converts them.

namespace {

using namespace std::string_literals;
using namespace zep::contract;

constexpr int kForward = 1;

std::u16string UnitsOf(const ZEPUnicodeString& text) {
  std::u16string units;
  for (int i = 0; i < text.GetLengthInChar(); ++i) {
    units += text.CastToUnitPtr()[i];
  }
  return units;
}

ZEPUnicodeString TextOf(const std::u16string& units) {
  return {units.data(), units.size()};
}

using UnicodeString = ContractTest;

TEST_F(UnicodeString, AsConstructed_IsEmpty) {
  const ZEPUnicodeString text;
  EXPECT_TRUE(text.IsEmpty());
  EXPECT_EQ(text.GetLengthInChar(), 0);
  EXPECT_STREQ(text.ConvertToChar(), "");
}

TEST_F(UnicodeString, NarrowText_IsUtf8) {
  const ZEPUnicodeString text("a\xC3\xA9\xE2\x82\xAC\xF0\x9F\x98\x80");
  EXPECT_EQ(text.GetLengthInChar(), 5);
  EXPECT_STREQ(text.ConvertToChar(), "a\xC3\xA9\xE2\x82\xAC\xF0\x9F\x98\x80");
}

TEST_F(UnicodeString, NullNarrowText_ReadsAsEmpty) {
  const char* const nothing = nullptr;
  EXPECT_TRUE(ZEPUnicodeString(nothing).IsEmpty());
}

TEST_F(UnicodeString, Units_AreKeptAsTheyStand_NulAndLoneSurrogates) {
  const std::u16string units = {u'a', 0, 0xD800, u'b', 0xDC00, 0xFFFF, 0xFEFF};
  const ZEPUnicodeString text = TextOf(units);
  EXPECT_EQ(UnitsOf(text), units);
  EXPECT_EQ(text.CastToUnitPtr()[7], 0) << "a zero unit follows";
}

TEST_F(UnicodeString, Copies_AreIndependent) {
  for (const std::string& content : {"short"s, std::string(1000, 'x')}) {
    ZEPUnicodeString text = Text(content);
    ZEPUnicodeString copy(text);
    ZEPUnicodeString assigned;
    assigned = text;
    text.Append("!");
    copy.Remove(0, 1);
    EXPECT_EQ(Bytes(text), content + "!");
    EXPECT_EQ(Bytes(copy), content.substr(1));
    EXPECT_EQ(Bytes(assigned), content);
    const ZEPUnicodeString& same = assigned;
    assigned = same;
    EXPECT_EQ(Bytes(assigned), content);
  }
}

TEST_F(UnicodeString, MovedFrom_IsEmpty) {
  ZEPUnicodeString text = Text(std::string(100, 'x'));
  ZEPUnicodeString moved(std::move(text));
  EXPECT_TRUE(text.IsEmpty()); // NOLINT(bugprone-use-after-move)
  text = std::move(moved);
  EXPECT_TRUE(moved.IsEmpty()); // NOLINT(bugprone-use-after-move)
  EXPECT_EQ(text.GetLengthInChar(), 100);
}

TEST_F(UnicodeString, BuildFromUTF8_NeverFails_OneReplacementForEachMaximalSubpart) {
  struct Row {
    int line;
    std::string bytes;
    std::u16string units;
  };
  const Row rows[] = {
      Row{__LINE__, "abc", u"abc"},
      Row{__LINE__, "\xFF", u"\uFFFD"},
      Row{__LINE__, "a\x80\x80z", u"a\uFFFD\uFFFDz"},
      Row{__LINE__, "\xE2\x82z", u"\uFFFDz"},
      Row{__LINE__, "\xF0\x9F\x98", u"\uFFFD"},
      Row{__LINE__, "\xC0\xAF", u"\uFFFD\uFFFD"},
      Row{__LINE__, "\xED\xA0\x80", u"\uFFFD\uFFFD\uFFFD"},
      Row{__LINE__, "\xF4\x90\x80\x80", u"\uFFFD\uFFFD\uFFFD\uFFFD"},
      Row{__LINE__, "a\0b"s, std::u16string(u"a\0b", 3)},
      Row{__LINE__, "\xEF\xBB\xBFz", u"\uFEFFz"},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(row.line);
    ZEPUnicodeString text("before");
    EXPECT_EQ(text.BuildFromUTF8(row.bytes.data(), row.bytes.size()), S_OK);
    EXPECT_EQ(UnitsOf(text), row.units);
  }
}

TEST_F(UnicodeString, BuildFromUTF16_ReadsUnalignedUnits_LoneSurrogatesReplaced) {
  const std::u16string units = {u'a', 0xD83D, 0xDE00, 0xD800, u'b', 0xFEFF, 0xDC00};
  std::string bytes(1 + units.size() * 2, '\0');
  std::memcpy(bytes.data() + 1, units.data(), units.size() * 2);
  ZEPUnicodeString text("before");
  EXPECT_EQ(text.BuildFromUTF16(bytes.data() + 1, units.size()), S_OK);
  EXPECT_EQ(UnitsOf(text), u"a\U0001F600\uFFFDb\uFEFF\uFFFD");
}

TEST_F(UnicodeString, Builders_GiveEmpty_NullWithoutBytes) {
  ZEPUnicodeString text("before");
  EXPECT_EQ(text.BuildFromUTF8(nullptr, 0), S_OK);
  EXPECT_TRUE(text.IsEmpty());
  text = "before";
  EXPECT_EQ(text.BuildFromUTF16(nullptr, 0), S_OK);
  EXPECT_TRUE(text.IsEmpty());
}

TEST_F(UnicodeString, NarrowText_StaysValid_UntilTheTextChanges) {
  const ZEPUnicodeString text = TextOf({u'a', 0xD800, u'b'});
  const char* const first = text.ConvertToChar();
  EXPECT_STREQ(text.CastToCharPtr(), "a\xEF\xBF\xBD"
                                     "b");
  EXPECT_STREQ(first, "a\xEF\xBF\xBD"
                      "b");
  ZEPUnicodeString changed("one");
  EXPECT_STREQ(changed.ConvertToChar(), "one");
  changed.Append("two");
  EXPECT_STREQ(changed.ConvertToChar(), "onetwo");
}

TEST_F(UnicodeString, Texts_MayBeReadByThreads_AtOnce) {
  const ZEPUnicodeString text("shared \xE2\x82\xAC");
  std::vector<std::thread> threads;
  for (int i = 0; i < 4; ++i) {
    threads.emplace_back([&text] {
      EXPECT_STREQ(text.ConvertToChar(), "shared \xE2\x82\xAC");
      const ZEPUnicodeString copy(text);
      EXPECT_TRUE(copy == text);
    });
  }
  for (std::thread& thread : threads) {
    thread.join();
  }
}

TEST_F(UnicodeString, SearchSubString_Finds_AndStaysInRange) {
  struct Row {
    int line;
    const char* text;
    const char* pattern;
    int start;
    int found;
  };
  const Row rows[] = {
      Row{__LINE__, "abcabc", "bc", 0, 1},
      Row{__LINE__, "abcabc", "bc", 1, 1},
      Row{__LINE__, "abcabc", "bc", 2, 4},
      Row{__LINE__, "abcabc", "BC", 0, -1},
      Row{__LINE__, "abcabc", "bc", -5, 1},
      Row{__LINE__, "abcabc", "bc", INT_MIN, 1},
      Row{__LINE__, "abcabc", "bc", 6, -1},
      Row{__LINE__, "abcabc", "bc", INT_MAX, -1},
      Row{__LINE__, "abcabc", "abcabcd", 0, -1},
      Row{__LINE__, "", "a", 0, -1},
      Row{__LINE__, "abc", "", 0, 0},
      Row{__LINE__, "abc", "", 2, 2},
      Row{__LINE__, "aab", "ab", 0, 1},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(row.line);
    EXPECT_EQ(ZEPUnicodeString(row.text).SearchSubString(row.pattern, row.start, kForward), row.found);
  }
}

TEST_F(UnicodeString, Ranges_NameWhatTheyOverlap_SubStringAndRemove) {
  struct Row {
    int line;
    int start;
    int length;
    const char* part;
    const char* rest;
  };
  const Row rows[] = {
      Row{__LINE__, 0, 3, "abc", "def"},
      Row{__LINE__, 2, 2, "cd", "abef"},
      Row{__LINE__, 4, 100, "ef", "abcd"},
      Row{__LINE__, 4, INT_MAX, "ef", "abcd"},
      Row{__LINE__, -2, 4, "ab", "cdef"},
      Row{__LINE__, -2, 2, "", "abcdef"},
      Row{__LINE__, INT_MIN, INT_MAX, "", "abcdef"},
      Row{__LINE__, 0, 0, "", "abcdef"},
      Row{__LINE__, 2, -1, "", "abcdef"},
      Row{__LINE__, 2, INT_MIN, "", "abcdef"},
      Row{__LINE__, 6, 1, "", "abcdef"},
      Row{__LINE__, INT_MAX, INT_MAX, "", "abcdef"},
      Row{__LINE__, -1, INT_MAX, "abcdef", ""},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(row.line);
    ZEPUnicodeString text("abcdef");
    EXPECT_EQ(Bytes(text.SubString(row.start, row.length)), row.part);
    EXPECT_EQ(&text.Remove(row.start, row.length), &text);
    EXPECT_EQ(Bytes(text), row.rest);
  }
}

TEST_F(UnicodeString, Insert_MovesItsPosition_IntoTheText) {
  struct Row {
    int line;
    int position;
    const char* expected;
  };
  const Row rows[] = {Row{__LINE__, 0, "-abc"},      Row{__LINE__, 1, "a-bc"},
                      Row{__LINE__, 3, "abc-"},      Row{__LINE__, 99, "abc-"},
                      Row{__LINE__, -1, "-abc"},     Row{__LINE__, INT_MAX, "abc-"},
                      Row{__LINE__, INT_MIN, "-abc"}};
  for (const Row& row : rows) {
    SCOPED_TRACE(row.line);
    ZEPUnicodeString text("abc");
    EXPECT_EQ(&text.Insert(row.position, "-"), &text);
    EXPECT_EQ(Bytes(text), row.expected);
  }
}

TEST_F(UnicodeString, Changes_TakeTheTextItself) {
  ZEPUnicodeString text("abc");
  text.Append(text);
  EXPECT_EQ(Bytes(text), "abcabc");
  text.Insert(1, text);
  EXPECT_EQ(Bytes(text), "aabcabcbcabc");
  EXPECT_EQ(Bytes(text + text).size(), 24U);
}

// Both are offered for speed alone; a platform need not have them.
template <class String>
void ExpectAppendPartAndReserve() {
  String text("x");
  if constexpr (requires { text.AppendPart(text, 0, 0); }) {
    EXPECT_EQ(&text.AppendPart("abcdef", 4, INT_MAX), &text);
    text.AppendPart("abcdef", -3, 4).AppendPart(text, 0, 2);
    EXPECT_EQ(Bytes(text), "xefaxe");
  }
  if constexpr (requires { text.Reserve(0); }) {
    const std::string before = Bytes(text);
    for (const int length : {1000, 0, -1, 7}) {
      text.Reserve(length);
      EXPECT_EQ(Bytes(text), before);
    }
  }
}

TEST_F(UnicodeString, AppendPartAndReserve_WhereTheyAreOffered) {
  ExpectAppendPartAndReserve<ZEPUnicodeString>();
}

TEST_F(UnicodeString, Strip_TakesStartEndOrBoth) {
  const char* const expected[] = {"a b  ", "  a b", "a b"};
  for (int mode = 0; mode <= 2; ++mode) {
    ZEPUnicodeString text("  a b  ");
    EXPECT_EQ(&text.Strip(mode, ' '), &text);
    EXPECT_EQ(Bytes(text), expected[mode]);
    ZEPUnicodeString blanks("   ");
    EXPECT_TRUE(blanks.Strip(mode, ' ').IsEmpty());
  }
}

TEST_F(UnicodeString, ToLower_IsFullAndWithoutLocale) {
  ZEPUnicodeString text("ABC xyz \xC3\x84\xD0\x96 I \xC4\xB0 \xE1\xBA\x9E");
  EXPECT_EQ(&text.ToLower(), &text);
  EXPECT_EQ(Bytes(text), "abc xyz \xC3\xA4\xD0\xB6 i i\xCC\x87 \xC3\x9F");
}

TEST_F(UnicodeString, Reset_Empties) {
  ZEPUnicodeString text("abc");
  text.Reset();
  EXPECT_TRUE(text.IsEmpty());
}

TEST_F(UnicodeString, Compare_TellsIdenticalFromEqualButForAsciiCase) {
  struct Row {
    int line;
    const char* left;
    const char* right;
    int expected;
  };
  const Row rows[] = {Row{__LINE__, "debug", "debug", 2}, Row{__LINE__, "debug", "DeBUG", 1},
                      Row{__LINE__, "debug", "debu", 0},  Row{__LINE__, "", "", 2},
                      Row{__LINE__, "", "a", 0},          Row{__LINE__, "\xC3\xA4", "\xC3\x84", 0},
                      Row{__LINE__, "[", "{", 0}};
  for (const Row& row : rows) {
    SCOPED_TRACE(row.line);
    EXPECT_EQ(ZEPUnicodeString(row.left).Compare(row.right), row.expected);
    EXPECT_EQ(ZEPUnicodeString(row.left) == ZEPUnicodeString(row.right), row.expected == 2);
    EXPECT_EQ(ZEPUnicodeString(row.left) == row.right, row.expected == 2);
  }
}

TEST_F(UnicodeString, ConvertToNum_ReadsOneNumber_OrLeavesTheVariable) {
  struct Row {
    int line;
    const char* text;
    int result;
    int number;
  };
  const Row rows[] = {
      Row{__LINE__, "12", 1, 12},
      Row{__LINE__, " \t\n-7x", 1, -7},
      Row{__LINE__, "+3 4", 1, 3},
      Row{__LINE__, "2147483647", 1, INT_MAX},
      Row{__LINE__, "-2147483648", 1, INT_MIN},
      Row{__LINE__, "2147483648", 0, 99},
      Row{__LINE__, "-2147483649", 0, 99},
      Row{__LINE__, "", 0, 99},
      Row{__LINE__, "x1", 0, 99},
      Row{__LINE__, "- 1", 0, 99},
      Row{__LINE__, "+", 0, 99},
      Row{__LINE__, "99999999999999999999", 0, 99},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(row.line);
    int number = 99;
    EXPECT_EQ(ZEPUnicodeString(row.text).ConvertToNum(&number, "%d"), row.result);
    EXPECT_EQ(number, row.number);
  }
  int number = 99;
  EXPECT_EQ(ZEPUnicodeString("12").ConvertToNum(&number, "%x"), 0);
  EXPECT_EQ(number, 99);
}

TEST_F(UnicodeString, Sum_IsANewText) {
  const ZEPUnicodeString left("a");
  const ZEPUnicodeString right("b");
  EXPECT_EQ(Bytes(left + right), "ab");
  EXPECT_EQ(Bytes(left), "a");
  EXPECT_EQ(Bytes(right), "b");
}

// ---- conversions ----

using UTF8Conversion = ContractTest;

TEST_F(UTF8Conversion, Bytes_AreTerminatedAndCounted_InPlaceAndBeyond) {
  for (const std::size_t length : {0U, 1U, 30U, 31U, 32U, 33U, 5000U}) {
    const std::string content(length, 'x');
    const ZEPUTF8Conversion utf8(Text(content));
    EXPECT_EQ(utf8.ByteCount(), length);
    EXPECT_EQ(std::string(utf8.Bytes(), utf8.ByteCount() + 1), content + '\0');
  }
}

TEST_F(UTF8Conversion, Nul_IsKept_AndALoneSurrogateReplaced) {
  const ZEPUTF8Conversion utf8(TextOf({u'a', 0, 0xDC00, 0xD83D, 0xDE00}));
  EXPECT_EQ(std::string(utf8.Bytes(), utf8.ByteCount()), "a\0\xEF\xBF\xBD\xF0\x9F\x98\x80"s);
}

TEST_F(UTF8Conversion, Bytes_OutliveTheText) {
  ZEPUnicodeString text("before");
  const ZEPUTF8Conversion utf8(text);
  text = "after";
  EXPECT_STREQ(utf8.Bytes(), "before");
}

using OmxUTF8String = ContractTest;

TEST_F(OmxUTF8String, Text_IsKeptByte_ForByte) {
  EXPECT_EQ(ZEPOmxUTF8String().length(), 0U);
  EXPECT_STREQ(ZEPOmxUTF8String().asChar(), "");
  EXPECT_EQ(ZEPOmxUTF8String(nullptr, 0).length(), 0U);

  const ZEPOmxUTF8String converted(TextOf({u'a', u'\0', 0x20AC, 0xD83D}));
  EXPECT_EQ(std::string(converted.asChar(), converted.length()), "a\0\xE2\x82\xAC\xEF\xBF\xBD"s);

  ZEPOmxUTF8String unchecked("\xFF\0\x80", 3);
  EXPECT_EQ(std::string(unchecked.asChar(), unchecked.length() + 1), "\xFF\0\x80\0"s);
}

TEST_F(OmxUTF8String, Copies_AreIndependent_AndAMovedOneIsEmpty) {
  ZEPOmxUTF8String text("abc", 3);
  ZEPOmxUTF8String copy(text);
  ZEPOmxUTF8String moved(std::move(text));
  EXPECT_EQ(moved.length(), 3U);
  EXPECT_EQ(text.length(), 0U); // NOLINT(bugprone-use-after-move)
  copy = ZEPOmxUTF8String("longer", 6);
  EXPECT_EQ(copy.length(), 6U);
  copy = std::move(moved);
  EXPECT_STREQ(copy.asChar(), "abc");
  EXPECT_EQ(moved.length(), 0U); // NOLINT(bugprone-use-after-move)
}

using OmxKeyString = ContractTest;

TEST_F(OmxKeyString, Text_IsGivenOut_InBothForms) {
  const ZEPOmxKeyString key("pr\xC3\xA9");
  EXPECT_STREQ(key.ToUTF8String().asChar(), "pr\xC3\xA9");
  EXPECT_TRUE(key.ToUnicodeString() == "pr\xC3\xA9");
  const ZEPOmxKeyString withNul("a\0b", 3);
  EXPECT_EQ(withNul.ToUTF8String().length(), 3U);
  EXPECT_EQ(withNul.ToUnicodeString().GetLengthInChar(), 3);
}

// ---- lists of texts ----

using StringList = ContractTest;

TEST_F(StringList, Elements_AreCounted_FromOne) {
  ZEPListValZEPUnicodeString list;
  EXPECT_EQ(list.Size(), 0);
  list.Append("first");
  list.Append("second");
  ASSERT_EQ(list.Size(), 2);
  EXPECT_TRUE(list[1] == "first");
  EXPECT_TRUE(list[2] == "second");
  list[2] = "changed";
  EXPECT_TRUE(std::as_const(list)[2] == "changed");
  list.RemoveAll();
  EXPECT_EQ(list.Size(), 0);
  list.Append("again");
  EXPECT_TRUE(list[1] == "again");
}

TEST_F(StringList, Append_CopiesAnElement_OfTheSameList) {
  ZEPListValZEPUnicodeString list;
  list.Append("a text that is too long to be kept in place");
  for (int i = 1; i < 40; ++i) {
    list.Append(list[i]);
  }
  ASSERT_EQ(list.Size(), 40);
  for (int i = 1; i <= 40; ++i) {
    EXPECT_TRUE(list[i] == "a text that is too long to be kept in place");
  }
}

TEST_F(StringList, Copy_HasItsOwn_Elements) {
  ZEPListValZEPUnicodeString list;
  list.Append("one");
  ZEPListValZEPUnicodeString copy(list);
  copy[1] = "other";
  EXPECT_TRUE(list[1] == "one");
  copy = list;
  list.RemoveAll();
  ASSERT_EQ(copy.Size(), 1);
  EXPECT_TRUE(copy[1] == "one");
  const ZEPListValZEPUnicodeString& same = copy;
  copy = same;
  EXPECT_EQ(copy.Size(), 1);
}

// ---- the tokenizer ----

using Tokenizer = ContractTest;

TEST_F(Tokenizer, Tokens_AreGivenOut_EmptyOnesToo) {
  struct Row {
    int line;
    const char* text;
    const char* separator;
    std::vector<const char*> tokens;
  };
  const Row rows[] = {
      Row{__LINE__, "C:\\a;C:\\b", ";", {"C:\\a", "C:\\b"}},
      Row{__LINE__, "a;;b", ";", {"a", "", "b"}},
      Row{__LINE__, ";a;", ";", {"", "a", ""}},
      Row{__LINE__, "", ";", {""}},
      Row{__LINE__, ";", ";", {"", ""}},
      Row{__LINE__, "alone", ";", {"alone"}},
      Row{__LINE__, " a ; b ", ";", {" a ", " b "}},
      Row{__LINE__, "a--b-c---d", "--", {"a", "b-c", "-d"}},
      Row{__LINE__, "a;b", "", {"a;b"}},
      Row{__LINE__, "\xE2\x82\xAC;\xC3\xA9", ";", {"\xE2\x82\xAC", "\xC3\xA9"}},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(row.line);
    ZEPToken tokenizer(row.text, row.separator);
    for (const char* const expected : row.tokens) {
      EXPECT_STREQ(tokenizer.GetNextToken().CastToCharPtr(), expected);
    }
    EXPECT_TRUE(tokenizer.GetNextToken().IsEmpty());
    EXPECT_TRUE(tokenizer.GetNextToken().IsEmpty());
  }
}

TEST_F(Tokenizer, Texts_AreCopied) {
  ZEPUnicodeString text("a;b");
  ZEPUnicodeString separator(";");
  ZEPToken tokenizer(text, separator);
  text = "changed";
  separator = "x";
  EXPECT_TRUE(tokenizer.GetNextToken() == "a");
  EXPECT_TRUE(tokenizer.GetNextToken() == "b");
}

} // namespace
