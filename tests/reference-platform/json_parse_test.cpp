#include "ZEPError.h"
#include "ZEPHResult.h"
#include "ZEPOmxAny.h"
#include "ZEPOmxAnyValue.h"
#include "ZEPOmxJson.h"
#include "ZEPOmxKeyValueBlock.h"
#include "ZEPUnicodeString.h"
#include "support/JsonTree.h"

#include <gtest/gtest.h>

#include <sstream>
#include <string>
#include <variant>
#include <vector>

namespace {

using json::Bytes;
using json::Show;
using json::Utf8;
using Value = ZEPOmxAny::Value;

std::string Characters(const ZEPUnicodeString& text) {
  return Bytes(ZEPOmxUTF8String(text));
}

ZEPOmxAny Parsed(const std::string& text) {
  ZEPOmxAny value;
  EXPECT_EQ(ZEPOmxJson::parse(Utf8(text), value), S_OK) << text;
  return value;
}

std::string Nested(std::size_t depth) {
  return std::string(depth, '[') + std::string(depth, ']');
}

TEST(Json, Parse_GivesTheTree_WholeDocuments) {
  struct Row {
    int line;
    std::string text;
    std::string tree;
  };
  const Row rows[] = {
      Row{__LINE__, "null", "null"},
      Row{__LINE__, " true ", "true"},
      Row{__LINE__, "false\n", "false"},
      Row{__LINE__, "-12", "#-12"},
      Row{__LINE__, "1.5e3", "#1500"},
      Row{__LINE__, "18446744073709551615", "#1.84467e+19"},
      Row{__LINE__, R"("")", "''"},
      Row{__LINE__, R"("a\"\\\/\b\f\n\r\tz")", "'a\"\\/\b\f\n\r\tz'"},
      Row{__LINE__, R"("\u00e9\u65e5\ud83d\ude00")", "'\u00e9\u65e5\U0001F600'"},
      Row{__LINE__, "\"\u00e9\u65e5\U0001F600\"", "'\u00e9\u65e5\U0001F600'"},
      Row{__LINE__, R"("a\u0000b")", std::string("'a\0b'", 5)},
      Row{__LINE__, "[]", "[]"},
      Row{__LINE__, "{}", "{}"},
      Row{__LINE__, R"([1,"x",[null],{"k":false}])", "[#1;'x';[null;];{k=false;};]"},
      Row{__LINE__, R"({"b":1,"a":{"b":2},"":3})", "{b=#1;a={b=#2;};=#3;}"},
      Row{__LINE__, R"({"k":1,"o":2,"k":3})", "{k=#1;o=#2;k=#3;}"},
      Row{__LINE__, R"({"caf\u00e9":1})", "{caf\u00e9=#1;}"},
      Row{__LINE__, "\xEF\xBB\xBF{\"k\":1}", "{k=#1;}"},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(row.line);
    EXPECT_EQ(Show(Parsed(row.text)), row.tree);
  }
}

TEST(Json, Parse_FailsAndLeavesTheOutput_NotOneDocument) {
  struct Row {
    int line;
    std::string text;
  };
  const Row rows[] = {
      Row{__LINE__, ""},
      Row{__LINE__, " \n"},
      Row{__LINE__, "\xEF\xBB\xBF"},
      Row{__LINE__, "\xEF\xBB\xBF\xEF\xBB\xBF{}"},
      Row{__LINE__, "\xFF\xFE{}"},
      Row{__LINE__, "{} {}"},
      Row{__LINE__, "{}x"},
      Row{__LINE__, "1 2"},
      Row{__LINE__, "null,"},
      Row{__LINE__, std::string("{}\0", 3)},
      Row{__LINE__, "{"},
      Row{__LINE__, "["},
      Row{__LINE__, "[1"},
      Row{__LINE__, "[1,]"},
      Row{__LINE__, "[1 2]"},
      Row{__LINE__, R"({"a")"},
      Row{__LINE__, R"({"a":)"},
      Row{__LINE__, R"({"a":1)"},
      Row{__LINE__, R"({"a":1,})"},
      Row{__LINE__, R"({"a" 1})"},
      Row{__LINE__, "{a:1}"},
      Row{__LINE__, "{1:1}"},
      Row{__LINE__, "{'a':1}"},
      Row{__LINE__, R"({"xslt":{"content":"abc)"},
      Row{__LINE__, R"("abc)"},
      Row{__LINE__, R"("abc\)"},
      Row{__LINE__, R"("abc\")"},
      Row{__LINE__, R"("\x")"},
      Row{__LINE__, R"("\u12")"},
      Row{__LINE__, R"("\u12g4")"},
      Row{__LINE__, R"("\ud800")"},
      Row{__LINE__, R"("\ud800\u0041")"},
      Row{__LINE__, R"("\ud800\ud800")"},
      Row{__LINE__, R"("\udc00")"},
      Row{__LINE__, "\"a\nb\""},
      Row{__LINE__, std::string("\"a\0b\"", 5)},
      Row{__LINE__, "\"\x80\""},
      Row{__LINE__, "\"\xC3\""},
      Row{__LINE__, "\"\xC0\x80\""},
      Row{__LINE__, "\"\xED\xA0\x80\""},
      Row{__LINE__, "\"\xF4\x90\x80\x80\""},
      Row{__LINE__, "01"},
      Row{__LINE__, "1."},
      Row{__LINE__, ".5"},
      Row{__LINE__, "+1"},
      Row{__LINE__, "NaN"},
      Row{__LINE__, "tru"},
      Row{__LINE__, "nulll"},
      Row{__LINE__, "// c\n1"},
      Row{__LINE__, "<html><body>502 Bad Gateway</body></html>"},
      Row{__LINE__, Nested(513)},
      Row{__LINE__, Nested(100000)},
      Row{__LINE__, std::string(100000, '[')},
  };
  const ZEPOmxAny before = Parsed("\"before\"");
  for (const Row& row : rows) {
    SCOPED_TRACE(row.line);
    ZEPOmxAny value = before;
    EXPECT_EQ(ZEPOmxJson::parse(Utf8(row.text), value), E_FAIL);
    EXPECT_EQ(value.GetValue(), before.GetValue()) << Show(value);
  }
}

TEST(Json, Parse_TakesEveryLevel_DepthAtTheLimit) {
  EXPECT_EQ(Show(Parsed(Nested(512))).size(), 2 * 512U + 511U);
}

TEST(Json, Parse_SaysWhatIsWrong_LastError) {
  ZEPOmxAny value;
  ASSERT_EQ(ZEPOmxJson::parse(Utf8("{\"a\":"), value), E_FAIL);
  ZEPError* const error = ZEPError::ZEPGetLastError(E_FAIL, nullptr);
  ASSERT_NE(error, nullptr);
  const std::string message = Characters(error->GetMessageText());
  error->Release();
  EXPECT_EQ(message.find("the text is not a JSON document that can be read: "), 0U) << message;
}

TEST(Json, Parse_Fails_MoreNodesThanAnAnswerHas) {
  std::string text = "[0";
  for (int i = 0; i < 200000; ++i) {
    text += ",0";
  }
  ZEPOmxAny value;
  EXPECT_EQ(ZEPOmxJson::parse(Utf8(text + "]"), value), E_FAIL);
  EXPECT_EQ(value.GetValue(), nullptr);
}

TEST(Json, Parse_FailsWithoutReadingOn_TextBeyondTheSizeLimit) {
  const std::string blanks((std::size_t{128} << 20) - 4, ' ');
  ZEPOmxAny value;
  EXPECT_EQ(ZEPOmxJson::parse(Utf8(blanks + "null"), value), S_OK);
  EXPECT_EQ(ZEPOmxJson::parse(Utf8(blanks + "null "), value), E_FAIL);
}

TEST(Json, Strings_StayWhereTheyWereDecoded_LongText) {
  const std::string content(5 << 20, 'x');
  const ZEPOmxAny value = Parsed(R"({"xslt":{"content":")" + content + "\"}}");
  const ZEPOmxAny inner = value.MapItems().at(0).GetValue().MapItems().at(0).GetValue();
  const ZEPOmxAny copy = inner;
  EXPECT_EQ(copy.GetValue(), inner.GetValue());
  EXPECT_EQ(std::get<Value::String>(copy.GetValue()->content).characters, content);
}

TEST(Json, Strings_OutliveTheTree_CopyKept) {
  ZEPOmxAny kept;
  {
    const ZEPOmxAny value = Parsed(R"({"a":"text that is kept"})");
    kept = value.MapItems().at(0).GetValue();
  }
  EXPECT_EQ(Characters(kept.ToUnicodeString()), "text that is kept");
}

TEST(Json, ToUnicodeString_IsEmpty_NotText) {
  EXPECT_TRUE(ZEPOmxAny().ToUnicodeString().IsEmpty());
  for (const char* const text : {"null", "true", "12", "[\"x\"]", "{\"x\":\"y\"}", "\"\""}) {
    EXPECT_TRUE(Parsed(text).ToUnicodeString().IsEmpty()) << text;
  }
}

TEST(Json, ToUnicodeString_GivesAllCharacters_TextWithNulAndSupplementary) {
  const ZEPUnicodeString text = Parsed(R"("a\u0000\ud83d\ude00")").ToUnicodeString();
  ASSERT_EQ(text.GetLengthInChar(), 4);
  EXPECT_EQ(Characters(text), std::string("a\0\U0001F600", 6));
}

TEST(Json, MapItems_AreNone_NotAnObject) {
  EXPECT_TRUE(ZEPOmxAny().MapItems().empty());
  for (const char* const text : {"null", "true", "12", "\"x\"", "[1,2]", "{}"}) {
    EXPECT_TRUE(Parsed(text).MapItems().empty()) << text;
  }
}

TEST(Json, MapItems_KeepOrderAndRepeatedKeys_Object) {
  std::string seen;
  for (const ZEPOmxMapItem& item : Parsed(R"({"z":"1","a":"2","z":"3"})").MapItems()) {
    seen += Characters(item.GetKey().ToUnicodeString()) + Characters(item.GetValue().ToUnicodeString()) + " ";
  }
  EXPECT_EQ(seen, "z1 a2 z3 ");
}

TEST(Json, Extract_FailsAndEmptiesTheBlock_NotAnObject) {
  for (const ZEPOmxAny& value : {ZEPOmxAny(), Parsed("null"), Parsed("[1]"), Parsed("\"content\"")}) {
    ZEPOmxKeyValueBlock block;
    ASSERT_EQ(Parsed(R"({"content":"old"})").Extract(block), S_OK);
    EXPECT_EQ(value.Extract(block), E_FAIL) << Show(value);
    ZEPOmxAny found;
    EXPECT_EQ(block.GetValue(ZEPOmxKeyString("content"), found), E_FAIL) << Show(value);
    EXPECT_EQ(Show(found), "none");
  }
}

TEST(Json, GetValue_FindsTheLastOfAKey_Object) {
  ZEPOmxKeyValueBlock block;
  ASSERT_EQ(Parsed(R"({"k":1,"other":null,"k":2,"a\u0000b":3})").Extract(block), S_OK);
  ZEPOmxAny found;
  EXPECT_EQ(block.GetValue(ZEPOmxKeyString("k"), found), S_OK);
  EXPECT_EQ(Show(found), "#2");
  EXPECT_EQ(block.GetValue(ZEPOmxKeyString("other"), found), S_OK);
  EXPECT_EQ(Show(found), "null");
  EXPECT_EQ(block.GetValue(ZEPOmxKeyString("a\0b", 3), found), S_OK);
  EXPECT_EQ(Show(found), "#3");
}

TEST(Json, GetValue_FailsAndLeavesTheOutput_NoSuchKey) {
  ZEPOmxKeyValueBlock block;
  ZEPOmxAny found = Parsed("\"before\"");
  EXPECT_EQ(block.GetValue(ZEPOmxKeyString("k"), found), E_FAIL);
  ASSERT_EQ(Parsed(R"({"k":1,"":2})").Extract(block), S_OK);
  for (const char* const key : {"K", "kk", "k "}) {
    EXPECT_EQ(block.GetValue(ZEPOmxKeyString(key), found), E_FAIL) << key;
  }
  EXPECT_EQ(Show(found), "'before'");
}

TEST(Json, GetValue_MayReplaceItsOwnSource_BlockOfTheOutput) {
  ZEPOmxAny value = Parsed(R"({"inner":{"leaf":"x"}})");
  ZEPOmxKeyValueBlock block;
  ASSERT_EQ(value.Extract(block), S_OK);
  ASSERT_EQ(block.GetValue(ZEPOmxKeyString("inner"), value), S_OK);
  ASSERT_EQ(value.Extract(block), S_OK);
  ASSERT_EQ(block.GetValue(ZEPOmxKeyString("leaf"), value), S_OK);
  EXPECT_EQ(Show(value), "'x'");
}

TEST(Json, MakeOmxText_KeepsItsOwnCharacters_TreeBuiltByHand) {
  const ZEPOmxAny tree = ZEPMakeOmxAny(
      Value::Object{ZEPOmxMapItem(ZEPOmxKeyString("content"), ZEPMakeOmxText(std::string("made by hand")))});
  EXPECT_EQ(Show(tree), "{content='made by hand';}");
}

} // namespace
