#include "support/FilterTest.h"

#include "ZEPFilter_generated.h"

#include <cstdint>
#include <functional>
#include <limits>

#include <zlib.h>

namespace {

using namespace filter;

using testing::HasSubstr;
using testing::StartsWith;

constexpr std::int64_t kMax = std::numeric_limits<std::int64_t>::max();

const std::string kSample = "<Or>"
                            "<And><Feature Name='Engine'><Value Name='V6'/><Value Name='V8'/></Feature>"
                            "<UnitRange From='5' To='20'/></And>"
                            "<And><Not><Feature Name='Seats'><Value Name='5'/></Feature></Not>"
                            "<DateRange From='2025-01-01'/></And>"
                            "</Or>";

// What the comparison says of these bytes, as reference and as candidate.
struct Judgement {
  std::optional<bool> isIncluded;
  std::string message;
};

Judgement Judged(const ZEPBinary& binary, const ZEPBinary& other) {
  const std::optional<bool> asCandidate = IsIncluded(binary, other);
  const std::string message = asCandidate ? "" : LastMessage(E_INVALIDARG);
  const std::optional<bool> asReference = IsIncluded(other, binary);
  EXPECT_EQ(asCandidate.has_value(), asReference.has_value());
  return {asCandidate, message};
}

TEST(FilterBinary, anyByteChanged_givesAnAnswerOrAClearFailure) {
  const ZEPBinary sample = Binary(kSample);
  const std::vector<unsigned char> good = Bytes(sample);
  std::size_t failures = 0;
  for (std::size_t place = 0; place < good.size(); ++place) {
    for (int change = 1; change < 256; change += place % 8 == 0 ? 1 : 37) {
      std::vector<unsigned char> bytes = good;
      bytes[place] ^= static_cast<unsigned char>(change);
      const Judgement judgement = Judged(BinaryOf(bytes), sample);
      if (!judgement.isIncluded) {
        ++failures;
        EXPECT_THAT(judgement.message, HasSubstr("compiled filter")) << place << " ^ " << change;
      }
    }
  }
  EXPECT_GT(failures, good.size());
}

TEST(FilterBinary, oneChangedByte_isNeverTakenForAnotherFilter) {
  const ZEPBinary sample = Binary(kSample);
  std::vector<unsigned char> bytes = Bytes(sample);
  for (std::size_t place = 0; place < bytes.size(); ++place) {
    bytes[place] ^= 0x04;
    EXPECT_EQ(Judged(BinaryOf(bytes), sample).isIncluded, std::nullopt) << place;
    bytes[place] ^= 0x04;
  }
  EXPECT_EQ(Judged(BinaryOf(bytes), sample).isIncluded, true);
}

TEST(FilterBinary, everyLengthButItsOwn_isRefused) {
  const ZEPBinary sample = Binary(kSample);
  std::vector<unsigned char> bytes = Bytes(sample);
  for (std::size_t length = 0; length < bytes.size(); ++length) {
    // A buffer of its own, so that a read behind the end is seen by the sanitizers.
    const std::vector<unsigned char> part(bytes.begin(), bytes.begin() + static_cast<std::ptrdiff_t>(length));
    EXPECT_EQ(Judged(BinaryOf(part), sample).isIncluded, std::nullopt) << length;
  }
  bytes.push_back(0);
  EXPECT_EQ(Judged(BinaryOf(bytes), sample).isIncluded, std::nullopt);
}

TEST(FilterBinary, sameDamagedBytesOnBothSides_areAFailure) {
  const ZEPBinary damaged("damaged", 7);
  EXPECT_EQ(IsIncluded(damaged, damaged), std::nullopt);
  EXPECT_EQ(IsIncluded(ZEPBinary(), ZEPBinary()), std::nullopt);
  EXPECT_EQ(LastMessage(E_INVALIDARG), "these bytes are no compiled filter");
}

// ---- filters that no compiler writes -----------------------------------------------------------

struct Variable {
  std::uint8_t kind;
  std::string name;
  std::vector<std::string> values;
};

struct Content {
  std::vector<Variable> variables;
  std::vector<std::uint32_t> literalCounts;
  std::vector<zep::binary::Literal> literals;
  std::vector<zep::binary::Range> ranges;
  std::uint32_t version = 1;
  bool isChecksumRight = true;
};

ZEPBinary Written(const Content& content) {
  flatbuffers::FlatBufferBuilder inner;
  std::vector<flatbuffers::Offset<zep::binary::Variable>> variables;
  for (const Variable& variable : content.variables) {
    const auto name = inner.CreateString(variable.name);
    const auto values = inner.CreateVectorOfStrings(variable.values);
    variables.push_back(zep::binary::CreateVariable(inner, variable.kind, name, values));
  }
  inner.Finish(zep::binary::CreateFilterDirect(inner, &variables, &content.literalCounts, &content.literals,
                                               &content.ranges));
  flatbuffers::FlatBufferBuilder outer;
  outer.ForceVectorAlignment(inner.GetSize(), 1, 8);
  const auto bytes = outer.CreateVector(inner.GetBufferPointer(), inner.GetSize());
  const auto checksum = static_cast<std::uint32_t>(crc32_z(0, inner.GetBufferPointer(), inner.GetSize()));
  zep::binary::FinishCompiledFilterBuffer(
      outer, zep::binary::CreateCompiledFilter(outer, content.version,
                                               checksum + (content.isChecksumRight ? 0 : 1), bytes));
  return {outer.GetBufferPointer(), outer.GetSize()};
}

// Engine is V6, or it is V8 and the unit lies between 5 and 20.
Content Good() {
  Content content;
  content.variables = {{2, "Engine", {"V6", "V8"}}, {4, "", {}}};
  content.literalCounts = {1, 2};
  content.literals = {{0, 1}, {0, 1}, {1, 1}};
  content.ranges = {{0, 0}, {1, 1}, {5, 20}};
  return content;
}

TEST(FilterBinary, handmadeFilter_isThatOfTheCompiler) {
  EXPECT_EQ(Bytes(Written(Good())),
            Bytes(Binary(
                "<Or><Feature Name='Engine'><Value Name='V6'/></Feature><And><Feature Name='Engine'><Value "
                "Name='V8'/></Feature><UnitRange From='5' To='20'/></And></Or>")));
}

TEST(FilterBinary, contentThatNoCompilerWrites_isRefused) {
  struct Row {
    int line;
    std::function<void(Content&)> change;
    std::string message;
  };
  const std::string damaged = "the compiled filter is damaged: ";
  const Row rows[] = {
      Row{__LINE__, [](Content& c) { c.version = 2; },
          "the compiled filter is of version 2, which is not known here: compile the expression again"},
      Row{__LINE__, [](Content& c) { c.version = 0; }, "the compiled filter is of version 0"},
      Row{__LINE__, [](Content& c) { c.isChecksumRight = false; },
          damaged + "its checksum does not fit its content"},
      Row{__LINE__, [](Content& c) { c.variables[0].kind = 5; }, damaged + "a variable is of no known kind"},
      Row{__LINE__, [](Content& c) { c.variables[0].kind = 255; },
          damaged + "a variable is of no known kind"},
      Row{__LINE__, [](Content& c) { c.variables[0].name = ""; },
          damaged + "a variable has a name that its kind cannot have"},
      Row{__LINE__, [](Content& c) { c.variables[1].name = "x"; },
          damaged + "a variable has a name that its kind cannot have"},
      Row{__LINE__, [](Content& c) { c.variables[0].kind = 0; },
          damaged + "a variable has a name that its kind cannot have"},
      Row{__LINE__, [](Content& c) { c.variables[0].values = {}; },
          damaged + "a variable has values that its kind cannot have"},
      Row{__LINE__, [](Content& c) { c.variables[1].values = {"x"}; },
          damaged + "a variable has values that its kind cannot have"},
      Row{__LINE__,
          [](Content& c) {
            c.variables[0].values = {"V8", "V6"};
          },
          damaged + "values are not in order"},
      Row{__LINE__,
          [](Content& c) {
            c.variables[0].values = {"V6", "V6"};
          },
          damaged + "values are not in order"},
      Row{__LINE__, [](Content& c) { c.variables[0].values[0] = "\xFF"; }, damaged + "a text is not UTF-8"},
      Row{__LINE__, [](Content& c) { c.variables[0].name = "\xED\xA0\x80"; },
          damaged + "a text is not UTF-8"},
      Row{__LINE__, [](Content& c) { std::swap(c.variables[0], c.variables[1]); },
          damaged + "variables are not in order"},
      Row{__LINE__, [](Content& c) { c.variables[1] = c.variables[0]; },
          damaged + "variables are not in order"},
      Row{__LINE__, [](Content& c) { c.literalCounts[1] = 3; }, damaged + "literals are missing"},
      Row{__LINE__, [](Content& c) { c.literalCounts[1] = 0xFFFFFFFF; }, damaged + "literals are missing"},
      Row{__LINE__, [](Content& c) { c.literalCounts[1] = 1; },
          damaged + "there are literals or ranges of no term"},
      Row{__LINE__, [](Content& c) { c.ranges.emplace_back(40, 50); },
          damaged + "there are literals or ranges of no term"},
      Row{__LINE__, [](Content& c) { c.literalCounts = {}; },
          damaged + "there are literals or ranges of no term"},
      Row{__LINE__,
          [](Content& c) {
            c.literals[2] = {2, 1};
          },
          damaged + "a literal is of no variable"},
      Row{__LINE__,
          [](Content& c) {
            c.literals[2] = {0xFFFFFFFF, 1};
          },
          damaged + "a literal is of no variable"},
      Row{__LINE__,
          [](Content& c) {
            c.literals[2] = {0, 1};
          },
          damaged + "ranges are not in order"},
      Row{__LINE__,
          [](Content& c) {
            c.literals[2] = {0, 1};
            c.ranges[2] = {1, 1};
          },
          damaged + "literals are not in order"},
      Row{__LINE__,
          [](Content& c) {
            std::swap(c.literals[1], c.literals[2]);
            std::swap(c.ranges[1], c.ranges[2]);
          },
          damaged + "literals are not in order"},
      Row{__LINE__,
          [](Content& c) {
            c.literals[2] = {1, 2};
          },
          damaged + "ranges are missing"},
      Row{__LINE__,
          [](Content& c) {
            c.literals[2] = {1, 0xFFFFFFFF};
          },
          damaged + "ranges are missing"},
      Row{__LINE__,
          [](Content& c) {
            c.literals[2] = {1, 0};
          },
          damaged + "ranges are missing"},
      Row{__LINE__,
          [](Content& c) {
            c.ranges[2] = {20, 5};
          },
          damaged + "ranges are not in order"},
      Row{__LINE__,
          [](Content& c) {
            c.ranges[2] = {0, 5};
          },
          damaged + "ranges are not in order"},
      Row{__LINE__,
          [](Content& c) {
            c.ranges[2] = {1, kMax};
          },
          damaged + "ranges are not in order"},
      Row{__LINE__,
          [](Content& c) {
            c.ranges[1] = {-1, 1};
          },
          damaged + "ranges are not in order"},
      Row{__LINE__,
          [](Content& c) {
            c.ranges[1] = {1, 2};
          },
          damaged + "ranges are not in order"},
      Row{__LINE__,
          [](Content& c) {
            c.ranges[1] = {3, kMax};
          },
          damaged + "ranges are not in order"},
      Row{__LINE__,
          [](Content& c) {
            c.ranges[1] = {2, 5};
          },
          damaged + "ranges are not in order"},
      Row{__LINE__,
          [](Content& c) {
            c.literals[2] = {1, 2};
            c.ranges.emplace_back(21, 30);
          },
          damaged + "ranges are not in order"},
      Row{__LINE__,
          [](Content& c) {
            c.literals[2] = {1, 2};
            c.ranges.emplace_back(5, 20);
          },
          damaged + "ranges are not in order"},
      Row{__LINE__,
          [](Content& c) {
            c.literals[2] = {1, 2};
            c.ranges[2] = {1, kMax};
            c.ranges.emplace_back(5, 20);
          },
          damaged + "ranges are not in order"},
      Row{__LINE__,
          [](Content& c) {
            c.ranges[0] = {1, 1};
            c.ranges[1] = {0, 0};
          },
          damaged + "terms are not in order"},
      Row{__LINE__,
          [](Content& c) {
            c.literalCounts = {1, 1};
            c.literals = {{0, 1}, {0, 1}};
            c.ranges = {{0, 0}, {0, 0}};
          },
          damaged + "terms are not in order"},
  };
  const ZEPBinary good = Written(Good());
  ASSERT_EQ(IsIncluded(good, good), true);
  for (const Row& row : rows) {
    SCOPED_TRACE(testing::Message() << "row of line " << row.line);
    Content content = Good();
    row.change(content);
    const Judgement judgement = Judged(Written(content), good);
    EXPECT_EQ(judgement.isIncluded, std::nullopt);
    EXPECT_THAT(judgement.message, StartsWith(row.message));
  }
}

TEST(FilterBinary, contentThatACompilerCouldWrite_isTaken) {
  Content content = Good();
  content.ranges[1] = {2, kMax}; // neither V6 nor V8
  EXPECT_EQ(Judged(Written(content), Written(Good())).isIncluded, false);
  content.ranges[1] = {1, kMax}; // all but V6
  EXPECT_EQ(Judged(Written(content), Written(Good())).isIncluded, false);
  content = Good();
  content.variables[1] = {3, "", {}}; // days
  content.ranges[2] = {std::numeric_limits<std::int64_t>::min(), 7};
  EXPECT_EQ(Judged(Written(content), Written(content)).isIncluded, true);
  std::optional<zep::Configuration> counterexample;
  content.ranges[2] = {kMax - 5, kMax - 3};
  EXPECT_EQ(zep::FindCounterexample(Written(Good()), Written(content), counterexample), S_OK);
  ASSERT_TRUE(counterexample.has_value());
  EXPECT_EQ(counterexample->at(1).value, "day 9223372036854775802 from 1970-01-01");
}

// The same content, written in another order than the compiler's.
TEST(FilterBinary, otherLayoutOfTheSameContent_isRefused) {
  flatbuffers::FlatBufferBuilder inner;
  const std::vector<zep::binary::Range> ranges;
  const auto rangesFirst = inner.CreateVectorOfStructs(ranges);
  const std::vector<flatbuffers::Offset<zep::binary::Variable>> variables;
  const auto variablesThen = inner.CreateVector(variables);
  const std::vector<zep::binary::Literal> literals;
  const auto literalsThen = inner.CreateVectorOfStructs(literals);
  const auto counts = inner.CreateVector(std::vector<std::uint32_t>{0});
  inner.Finish(zep::binary::CreateFilter(inner, variablesThen, counts, literalsThen, rangesFirst));
  flatbuffers::FlatBufferBuilder outer;
  outer.ForceVectorAlignment(inner.GetSize(), 1, 8);
  const auto bytes = outer.CreateVector(inner.GetBufferPointer(), inner.GetSize());
  const auto checksum = static_cast<std::uint32_t>(crc32_z(0, inner.GetBufferPointer(), inner.GetSize()));
  zep::binary::FinishCompiledFilterBuffer(outer,
                                          zep::binary::CreateCompiledFilter(outer, 1, checksum, bytes));
  const Judgement judgement = Judged({outer.GetBufferPointer(), outer.GetSize()}, Binary(""));
  EXPECT_EQ(judgement.message, "the compiled filter is damaged: it is not written as a compiler writes it");
}

TEST(FilterBinary, moreTermsThanTheLimit_areRefused) {
  const ZEPBinary good = Written(Good());
  setenv("ZEP_FILTER_MAX_TERMS", "1", 1);
  EXPECT_EQ(IsIncluded(good, good), std::nullopt);
  EXPECT_EQ(LastMessage(E_INVALIDARG),
            "the compiled filter has more terms or ranges than ZEP_FILTER_MAX_TERMS allows");
  unsetenv("ZEP_FILTER_MAX_TERMS");
}

} // namespace
