#include "ZEPCfgBasicInfraServices.h"
#include "ZEPCfgDictionaryServices.h"
#include "ZEPCfgWebServices.h"
#include "ZEPHResult.h"
#include "ZEPListValZEPPLMID.h"
#include "ZEPPLMID.h"
#include "support/XMLTest.h"

#include <ostream>
#include <string>
#include <vector>

// Identifiers and their textual form, and the lists of texts that are made of them.

namespace {

using xml::LastMessage;
using xml::Unicode;

constexpr int mostUnits = 1024;

ZEPPLMID Id(const std::string& utf8) {
  return ZEPPLMID(Unicode(utf8));
}

std::string TextOf(const ZEPUnicodeString& text) {
  return text.ConvertToChar();
}

// A result, and the output then, which was "before".
struct Answer {
  long result = S_OK;
  std::string text;

  bool operator==(const Answer&) const = default;
};

void PrintTo(const Answer& answer, std::ostream* out) {
  *out << answer.result << " \"" << answer.text << '"';
}

Answer LogicalId(const ZEPPLMID& id) {
  ZEPUnicodeString text = "before";
  const long result = ZEPCfgBasicInfraServices::GetLogicalID(id, text);
  return {result, TextOf(text)};
}

Answer PhysicalId(const ZEPPLMID& id) {
  ZEPUnicodeString text = "before";
  const long result = ZEPCfgBasicInfraServices::GetPhysicalID(id, text);
  return {result, TextOf(text)};
}

Answer IsOfType(const ZEPPLMID& id, const ZEPUnicodeString& type, unsigned char flag = 0) {
  constexpr unsigned char before = 7;
  unsigned char isOfType = before;
  const long result = ZEPCfgDictionaryServices::IsPLMIDOfType(id, type, flag, isOfType);
  return {result, isOfType == before ? "before" : std::to_string(isOfType)};
}

ZEPPLMID PartWithLogical(const std::string& logical) {
  return Id("Part:" + logical + ":p");
}

} // namespace

// ---- the value ----

TEST(identifier, is_null_without_a_text) {
  EXPECT_TRUE(ZEPPLMID().IsNull());
  EXPECT_TRUE(Id("").IsNull());
  EXPECT_EQ(TextOf(ZEPPLMID().ToString(0)), "");
  EXPECT_FALSE(Id("x").IsNull());
}

TEST(identifier, keeps_any_text_as_it_stands) {
  for (const char* const text : {"Part:l:p", "no form at all", ":", " ", "\xF0\x9F\x98\x80"}) {
    EXPECT_EQ(TextOf(Id(text).ToString(0)), text);
  }
}

TEST(identifier, copies_are_independent) {
  ZEPPLMID id = Id("Part:l:p");
  ZEPPLMID copy(id);
  id = Id("Part:l:q");
  EXPECT_EQ(TextOf(copy.ToString(0)), "Part:l:p");
  copy = id;
  id = ZEPPLMID();
  EXPECT_TRUE(id.IsNull());
  EXPECT_EQ(TextOf(copy.ToString(0)), "Part:l:q");
  copy = *&copy;
  EXPECT_EQ(TextOf(copy.ToString(0)), "Part:l:q");
}

// ---- its parts ----

TEST(identifier_parts, are_found_in_the_text) {
  struct Row {
    int line;
    std::string id;
    std::string type;
    std::string logical;
    std::string physical;
  };
  const std::string letters = "ABCXYZabcxyz0189_";
  const Row rows[] = {
      Row{__LINE__, "Part:l:p", "Part", "l", "p"},
      Row{__LINE__, "ConfigurationFeature:Engine: diesel:4F2A91C0.7B6E", "ConfigurationFeature",
          "Engine: diesel", "4F2A91C0.7B6E"},
      Row{__LINE__, letters + ":l:" + letters + "-.", letters, "l", letters + "-."},
      Row{__LINE__, "T:a:b:c:p", "T", "a:b:c", "p"},
      Row{__LINE__, "T:::p", "T", ":", "p"},
      Row{__LINE__, "T::::p", "T", "::", "p"},
      Row{__LINE__, "T: l :p", "T", " l ", "p"},
      Row{__LINE__, "T:\"<&>'\\,[]{}:p", "T", "\"<&>'\\,[]{}", "p"},
      Row{__LINE__, "T:caf\xC3\xA9:p", "T", "caf\xC3\xA9", "p"},
      Row{__LINE__, "T:\xC2\xA0:p", "T", "\xC2\xA0", "p"}, // just behind the control characters
      Row{__LINE__, "T:~:p", "T", "~", "p"},               // just before them
      Row{__LINE__, "T:\xF0\x9F\x98\x80:p", "T", "\xF0\x9F\x98\x80", "p"},
      Row{__LINE__, "T:\xF4\x8F\xBF\xBF:\xF0\x90\x80\x80:p", "T", "\xF4\x8F\xBF\xBF:\xF0\x90\x80\x80", "p"},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE("row at line " + std::to_string(row.line));
    EXPECT_EQ(IsOfType(Id(row.id), Unicode(row.type)), (Answer{S_OK, "1"}));
    EXPECT_EQ(LogicalId(Id(row.id)), (Answer{S_OK, row.logical}));
    EXPECT_EQ(PhysicalId(Id(row.id)), (Answer{S_OK, row.physical}));
  }
}

TEST(identifier_parts, logical_part_is_missing_only_where_it_is_asked_for) {
  const ZEPPLMID id = Id("ConfigurationFeature::p");
  EXPECT_EQ(IsOfType(id, entity_ConfigurationFeature), (Answer{S_OK, "1"}));
  EXPECT_EQ(PhysicalId(id), (Answer{S_OK, "p"}));
  ZEPError::ZEPCleanLastError();
  EXPECT_EQ(LogicalId(id), (Answer{E_FAIL, "before"}));
  EXPECT_EQ(LastMessage(E_FAIL), "the object has no logical identifier");
}

TEST(identifier_parts, type_is_compared_whole_and_exactly) {
  EXPECT_STREQ(entity_ConfigurationFeature, "ConfigurationFeature");
  const ZEPPLMID id = Id("ConfigurationFeature:l:p");
  EXPECT_EQ(IsOfType(id, entity_ConfigurationFeature), (Answer{S_OK, "1"}));
  for (const std::string& other :
       {std::string(), std::string("configurationFeature"), std::string("ConfigurationFeatur"),
        std::string("ConfigurationFeatureX"), std::string(" ConfigurationFeature"), std::string("Part"),
        std::string("ConfigurationFeature:l"), std::string("ConfigurationFeature\0", 21)}) {
    EXPECT_EQ(IsOfType(id, Unicode(other)), (Answer{S_OK, "0"})) << other;
  }
  EXPECT_EQ(IsOfType(Id("Part:ConfigurationFeature:p"), entity_ConfigurationFeature), (Answer{S_OK, "0"}));
}

TEST(identifier_parts, have_no_other_flag_than_0) {
  for (const unsigned char flag : std::vector<unsigned char>{1, 2, 255}) {
    for (const char* const id : {"Part:l:p", ""}) {
      ZEPError::ZEPCleanLastError();
      EXPECT_EQ(IsOfType(Id(id), "Part", flag), (Answer{E_INVALIDARG, "before"}));
      EXPECT_EQ(LastMessage(E_INVALIDARG), "the dictionary knows no flag but 0");
    }
  }
}

// ---- faults ----

namespace {

// Every operation refuses the identifier, says why, and leaves its output.
void ExpectFault(const ZEPPLMID& id, const std::string& message) {
  const Answer refused = {E_INVALIDARG, "before"};
  ZEPError::ZEPCleanLastError();
  EXPECT_EQ(IsOfType(id, entity_ConfigurationFeature), refused);
  EXPECT_EQ(LastMessage(E_INVALIDARG), message);
  EXPECT_EQ(LogicalId(id), refused);
  EXPECT_EQ(LastMessage(E_INVALIDARG), message);
  EXPECT_EQ(PhysicalId(id), refused);
  EXPECT_EQ(LastMessage(E_INVALIDARG), message);
}

} // namespace

TEST(identifier_fault, is_named_with_the_text) {
  const std::string null = "the identifier is null: \"";
  const std::string control = "the identifier holds a control character: \"";
  const std::string form = "the identifier is not of the form type:logical:physical: \"";
  const std::string type = "the identifier's type is not made of letters, digits and _: \"";
  const std::string physical =
      "the identifier's physical part is not made of letters, digits, _, - and .: \"";
  struct Row {
    int line;
    std::string id;
    std::string message; // without the text and the quote behind it
  };
  const Row rows[] = {
      Row{__LINE__, "", null},
      Row{__LINE__, "Part:a\tb:p", control},
      Row{__LINE__, "Part:a\nb:p", control},
      Row{__LINE__, "Part:a\x1F:p", control},
      Row{__LINE__, "Part:a\x7F:p", control},
      Row{__LINE__, "Part:a\xC2\x80:p", control},
      Row{__LINE__, "Part:a\xC2\x9F:p", control},
      Row{__LINE__, "Part:l:p\n", control},
      Row{__LINE__, "\n", control},
      Row{__LINE__, "Part", form},
      Row{__LINE__, " ", form},
      Row{__LINE__, ":", form},
      Row{__LINE__, "Part:", form},
      Row{__LINE__, "Part:p", form},
      Row{__LINE__, ":p", form},
      Row{__LINE__, "::", type},
      Row{__LINE__, "::p", type},
      Row{__LINE__, ":l:p", type},
      Row{__LINE__, " Part:l:p", type},
      Row{__LINE__, "Pa-rt:l:p", type},
      Row{__LINE__, "Pa.rt:l:p", type},
      Row{__LINE__,
          "Pi\xC3\xA8"
          "ce:l:p",
          type},
      Row{__LINE__, "\xF0\x9D\x94\x93:l:p", type}, // a letter, but none of these
      Row{__LINE__, "Part::", physical},
      Row{__LINE__, "Part:l:", physical},
      Row{__LINE__, "Part:l: ", physical},
      Row{__LINE__, "Part:l:p ", physical},
      Row{__LINE__, "Part:l:a/b", physical},
      Row{__LINE__, "Part:l:a\"b", physical},
      Row{__LINE__, "Part:l:\xEF\xBC\x91", physical}, // a wide digit
      Row{__LINE__, "Part:l:\xF0\x9F\x98\x80", physical},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE("row at line " + std::to_string(row.line));
    ExpectFault(Id(row.id), row.message + row.id + "\"");
  }
}

TEST(identifier_fault, nul_is_a_control_character) {
  const ZEPPLMID id = Id(std::string("Part:a\0b:p", 10));
  EXPECT_EQ(IsOfType(id, "Part"), (Answer{E_INVALIDARG, "before"}));
  // The message, shown here as a narrow text, goes on behind the NUL.
  EXPECT_EQ(LastMessage(E_INVALIDARG), "the identifier holds a control character: \"Part:a");
}

TEST(identifier_fault, is_the_length_from_1025_on) {
  const int room = mostUnits - static_cast<int>(std::string("Part::p").size());
  const std::string tooLong = "the identifier is longer than 1024 characters: \"";
  const std::string longest(static_cast<std::size_t>(room), 'x');
  EXPECT_EQ(LogicalId(PartWithLogical(longest)), (Answer{S_OK, longest}));
  // What is quoted ends where the identifier had to.
  ExpectFault(PartWithLogical(longest + "x"), tooLong + "Part:" + longest + "x:\"");
  ExpectFault(PartWithLogical(std::string(1 << 20, 'x')), tooLong + "Part:" + longest + "xx\"");
}

TEST(identifier_fault, length_counts_a_character_beyond_the_basic_plane_twice) {
  const int room = mostUnits - static_cast<int>(std::string("Part::p").size());
  std::string pairs;
  for (int i = 0; i < room / 2; ++i) {
    pairs += "\xF0\x9F\x98\x80";
  }
  ASSERT_EQ(room % 2, 1);
  EXPECT_EQ(LogicalId(PartWithLogical(pairs + "x")), (Answer{S_OK, pairs + "x"}));
  ExpectFault(PartWithLogical(pairs + "xx"),
              "the identifier is longer than 1024 characters: \"Part:" + pairs + "xx:\"");
  // A pair that the quoted text would part.
  ExpectFault(PartWithLogical(pairs + "xx\xF0\x9F\x98\x80"),
              "the identifier is longer than 1024 characters: \"Part:" + pairs + "xx\xEF\xBF\xBD\"");
}

// ---- lists of texts ----

namespace {

struct JsonList {
  long result = S_OK;
  std::vector<std::string> texts;

  bool operator==(const JsonList&) const = default;
};

void PrintTo(const JsonList& list, std::ostream* out) {
  *out << list.result << ' ' << ::testing::PrintToString(list.texts);
}

// Behind the text "before".
JsonList ListOf(const std::vector<std::string>& ids) {
  ZEPListValZEPPLMID list;
  for (const std::string& id : ids) {
    list.Append(Id(id));
  }
  std::vector<ZEPUnicodeString> texts = {"before"};
  JsonList answer;
  answer.result = ZEPCfgWebServices::BuildJsonList(list, texts);
  for (const ZEPUnicodeString& text : texts) {
    answer.texts.push_back(TextOf(text));
  }
  return answer;
}

} // namespace

TEST(identifier_list, names_features_by_their_logical_and_others_by_their_physical_part) {
  EXPECT_EQ(ListOf({}), (JsonList{S_OK, {"before"}}));
  EXPECT_EQ(ListOf({"ConfigurationFeature:Engine: \"V6\", V8:4F2A", "Part::9C0.7", "Part:Bolt:9C0.8",
                    "configurationfeature:Colour:1-A", "ConfigurationFeature:\xF0\x9F\x98\x80:5"}),
            (JsonList{S_OK, {"before", "Engine: \"V6\", V8", "9C0.7", "9C0.8", "1-A", "\xF0\x9F\x98\x80"}}));
}

TEST(identifier_list, ends_at_the_first_identifier_with_a_fault) {
  struct Row {
    int line;
    std::string id;
    long result;
    std::string message;
  };
  const Row rows[] = {
      Row{__LINE__, "", E_INVALIDARG, "the identifier is null: \"\""},
      Row{__LINE__, "Part", E_INVALIDARG,
          "the identifier is not of the form type:logical:physical: \"Part\""},
      Row{__LINE__, "ConfigurationFeature::p", E_FAIL, "the object has no logical identifier"},
      Row{__LINE__, "Part:l:a b", E_INVALIDARG,
          "the identifier's physical part is not made of letters, digits, _, - and .: \"Part:l:a b\""},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE("row at line " + std::to_string(row.line));
    ZEPError::ZEPCleanLastError();
    EXPECT_EQ(ListOf({"Part:l:p", "ConfigurationFeature:l:p", row.id, "Part:l:q"}),
              (JsonList{row.result, {"before", "p", "l"}}));
    EXPECT_EQ(LastMessage(row.result), row.message);
  }
}

TEST(identifier_list, may_be_long) {
  std::vector<std::string> ids;
  std::vector<std::string> texts = {"before"};
  for (int i = 0; i < 50000; ++i) {
    const std::string number = std::to_string(i);
    ids.push_back((i % 2 == 0 ? "ConfigurationFeature:l" : "Part:l") + number + ":p" + number);
    texts.push_back((i % 2 == 0 ? "l" : "p") + number);
  }
  const JsonList answer = ListOf(ids);
  EXPECT_EQ(answer.result, S_OK);
  EXPECT_TRUE(answer.texts == texts);
}
