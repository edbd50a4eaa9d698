#include "support/FilterTest.h"

#include <cstdlib>
#include <map>

namespace {

using namespace filter;
using testing::HasSubstr;
using testing::StartsWith;

std::string Filter(const std::string& content) {
  return "<FilterExpression xmlns='urn:zep:configuration-expression'>" + content + "</FilterExpression>";
}

const std::string kV6 = "<Feature Name='Engine'><Value Name='V6'/></Feature>";
const std::string kTrue = "<Boolean>true</Boolean>";

TEST(FilterCompiler, terms_areThoseOfTheNormalForm) {
  struct Row {
    int line;
    std::string content;
    std::size_t terms;
  };
  const std::string seats = "<Feature Name='Seats'><Value Name='5'/></Feature>";
  const Row rows[] = {
      Row{__LINE__, "", 0},
      Row{__LINE__, kTrue, 1},
      Row{__LINE__, "<Boolean> false\n</Boolean>", 0},
      Row{__LINE__, "<Boolean><![CDATA[true]]></Boolean>", 1},
      Row{__LINE__, kV6, 1},
      Row{__LINE__, "<Or>" + kV6 + seats + "</Or>", 2},
      Row{__LINE__, "<And>" + kV6 + seats + "</And>", 1},
      Row{__LINE__, "<Not><And>" + kV6 + seats + "</And></Not>", 2},
      Row{__LINE__, "<Not><Or>" + kV6 + seats + "</Or></Not>", 1},
      Row{__LINE__, "<Not><Not>" + kV6 + "</Not></Not>", 1},
      Row{__LINE__, "<And>" + kV6 + "<Not>" + kV6 + "</Not></And>", 0},
      Row{__LINE__, "<Or>" + kV6 + "<Not>" + kV6 + "</Not></Or>", 1},
      Row{__LINE__, "<Or>" + kV6 + kV6 + kV6 + "</Or>", 1},
      Row{__LINE__, "<Or>" + kV6 + "<Feature Name='Engine'><Value Name='V8'/></Feature></Or>", 1},
      Row{__LINE__, "<Or>" + kTrue + seats + "</Or>", 1},
      Row{__LINE__, "<Or><UnitRange To='4'/><UnitRange From='5'/></Or>", 1},
      Row{__LINE__, "<Or><And>" + kV6 + seats + "</And><And>" + kV6 + "<Not>" + seats + "</Not></And></Or>",
          1},
      Row{__LINE__,
          "<Context HolderType='Model' HolderName='A'/><Context HolderType='Model' HolderName='B'/>", 1},
      Row{__LINE__, "<Description><Summary>any <b xmlns='x'/></Summary></Description>" + kV6, 1},
      Row{__LINE__, "<!-- c --><?p i?>" + kV6, 1},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(testing::Message() << "row of line " << row.line);
    const Compiled compiled = CompiledDocument(Expression(row.content));
    EXPECT_EQ(compiled.result, S_OK) << compiled.message;
    EXPECT_EQ(compiled.terms, row.terms);
    EXPECT_TRUE(zep::IsCompiledFilter(compiled.bytes));
  }
}

TEST(FilterCompiler, sameMeaningInOtherWords_givesTheSameBytes) {
  struct Row {
    int line;
    std::string left;
    std::string right;
  };
  const std::string v8 = "<Feature Name='Engine'><Value Name='V8'/></Feature>";
  const std::string both = "<Feature Name='Engine'><Value Name='V8'/><Value Name='V6'/></Feature>";
  const Row rows[] = {
      Row{__LINE__, Expression(kV6), Expression("\n<!-- c -->" + kV6)},
      Row{__LINE__, Expression("<Or>" + kV6 + v8 + "</Or>"), Expression("<Or>" + v8 + kV6 + "</Or>")},
      Row{__LINE__, Expression("<Or>" + kV6 + v8 + "</Or>"), Expression(both)},
      Row{__LINE__, Expression(kV6),
          Filter("<FilterSelection SelectionMode='Strict'>" + kV6 + "</FilterSelection>")},
      Row{__LINE__, Expression(kV6),
          Filter("<FilterSelection SelectionMode='Lenient'>" + kV6 + "</FilterSelection>")},
      Row{__LINE__, Expression("<Feature Name='Engine' DescId='x'><Value Name='V6' DescId='y'/></Feature>"),
          Expression(kV6)},
      Row{__LINE__, Expression("<UnitRange From=' 01 ' To='5'/>"), Expression("<UnitRange To='5'/>")},
      Row{__LINE__, Expression("<Context HolderType='Model' HolderName='M'>" + kV6 + "</Context>"),
          Expression("<Context HolderType='Model' HolderName='M'><Change Name='C' OperationHandlerId='1'/>" +
                     kV6 + "</Context>")},
      Row{__LINE__, Expression(kV6),
          "<e:EffectivityExpression "
          "xmlns:e='urn:zep:configuration-expression'><e:Feature Name='Engine'><e:Value "
          "Name='V6'/></e:Feature></e:EffectivityExpression>"},
      Row{__LINE__, Expression(kV6),
          "<EffectivityExpression xmlns='urn:zep:configuration-expression' "
          "xmlns:xsi='http://www.w3.org/2001/XMLSchema-instance' xsi:schemaLocation='a b'>" +
              kV6 + "</EffectivityExpression>"},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(testing::Message() << "row of line " << row.line);
    const Compiled left = CompiledDocument(row.left);
    const Compiled right = CompiledDocument(row.right);
    EXPECT_EQ(left.result, S_OK) << left.message;
    EXPECT_EQ(Bytes(left.bytes), Bytes(right.bytes)) << right.message;
  }
}

TEST(FilterCompiler, whatIsNoExpression_isRefused_withItsLine) {
  struct Row {
    int line;
    std::string document;
    std::string message;
  };
  const std::string context = "<Context HolderType='Model' HolderName='M'>";
  const Row rows[] = {
      Row{__LINE__, "", "expression"},
      Row{__LINE__, "not XML", "Start tag expected"},
      Row{__LINE__, "<!DOCTYPE EffectivityExpression>" + Expression(kV6), "DOCTYPE"},
      Row{__LINE__, "<EffectivityExpression/>",
          "line 1: EffectivityExpression is no EffectivityExpression or"},
      Row{__LINE__, "<Other xmlns='urn:zep:configuration-expression'/>",
          "line 1: Other is no EffectivityExpression"},
      Row{__LINE__, Expression("\n<Xor/>"), "line 2: Xor is no condition"},
      Row{__LINE__, Expression("\n<x xmlns='y'/>"),
          "line 2: x is not an element of urn:zep:configuration-expression"},
      Row{__LINE__, Expression("text"), "EffectivityExpression holds a text where elements belong"},
      Row{__LINE__, Expression(kV6 + "\n" + kV6), "Feature stands beside another condition or a context"},
      Row{__LINE__, Expression(context + "</Context>\n" + kV6),
          "line 2: Feature stands beside another condition"},
      Row{__LINE__, Expression(context + kV6 + "\n" + kV6 + "</Context>"),
          "line 2: Feature stands beside another"},
      Row{__LINE__, Expression("<And/>"), "And needs a condition inside"},
      Row{__LINE__, Expression("<Or> </Or>"), "Or needs a condition inside"},
      Row{__LINE__, Expression("<Not/>"), "Not needs one condition inside"},
      Row{__LINE__, Expression("<Not>" + kV6 + kV6 + "</Not>"), "Not needs one condition inside"},
      Row{__LINE__, Expression("<Not a='b'>" + kV6 + "</Not>"),
          "Not has the attribute a, which it cannot have"},
      Row{__LINE__, Expression("<Feature Name='a'/>"), "Feature needs a Value"},
      Row{__LINE__, Expression("<Feature><Value Name='x'/></Feature>"), "Feature needs the attribute Name"},
      Row{__LINE__, Expression("<Feature Name=''><Value Name='x'/></Feature>"),
          "Feature needs the attribute Name"},
      Row{__LINE__, Expression("<Feature Name='a'><Value/></Feature>"), "Value needs the attribute Name"},
      Row{__LINE__, Expression("<Feature Name='a'>" + kTrue + "</Feature>"), "Boolean stands in a Feature"},
      Row{__LINE__, Expression("<Feature Name='a'><Value Name='b'>" + kTrue + "</Value></Feature>"),
          "Value holds elements, which it cannot"},
      Row{__LINE__, Expression("<Boolean>yes</Boolean>"), "Boolean needs true or false inside"},
      Row{__LINE__, Expression("<Boolean>tr<x/>ue</Boolean>"), "Boolean needs true or false inside"},
      Row{__LINE__, Expression("<Boolean/>"), "Boolean needs true or false inside"},
      Row{__LINE__, Expression("<UnitRange From='0'/>"), "UnitRange needs a unit number from 1 to"},
      Row{__LINE__, Expression("<UnitRange From='-3'/>"), "as From, not \"-3\""},
      Row{__LINE__, Expression("<UnitRange To='1000000000000000000'/>"),
          "as To, not \"1000000000000000000\""},
      Row{__LINE__, Expression("<UnitRange To='99999999999999999999999'/>"), "as To, not"},
      Row{__LINE__, Expression("<UnitRange From='5' To='4'/>"), "UnitRange ends before it begins"},
      Row{__LINE__, Expression("<UnitRange From='1.5'/>"), "not \"1.5\""},
      Row{__LINE__, Expression("<DateRange From='2025-02-29'/>"),
          "DateRange needs a day as 2025-03-31 as From"},
      Row{__LINE__, Expression("<DateRange From='2025-13-01'/>"), "not \"2025-13-01\""},
      Row{__LINE__, Expression("<DateRange To='2025-1-01'/>"), "as To, not \"2025-1-01\""},
      Row{__LINE__, Expression("<DateRange To='2025-01-01Z'/>"), "not \"2025-01-01Z\""},
      Row{__LINE__, Expression("<DateRange To='0000-01-01'/>"), "not \"0000-01-01\""},
      Row{__LINE__, Expression("<DateRange To='+025-01-01'/>"), "not \"+025-01-01\""},
      Row{__LINE__, Expression("<DateRange From='2025-01-02' To='2025-01-01'/>"),
          "DateRange ends before it begins"},
      Row{__LINE__, Expression("<Context HolderType='Car' HolderName='M'/>"), "has the HolderType \"Car\""},
      Row{__LINE__, Expression("<Context HolderName='M'/>"), "Context needs the attribute HolderType"},
      Row{__LINE__, Expression("<Context HolderType='Model'/>"), "Context needs the attribute HolderName"},
      Row{__LINE__, Expression(context + "<InheritedEff Domain='Variant' HolderName='x'/></Context>"),
          "InheritedEff needs the attribute FilterableId"},
      Row{__LINE__,
          Expression(context + "<InheritedEff Domain='Variant' FilterableId='2147483648' HolderName='x'/>"
                               "</Context>"),
          "InheritedEff needs a number from 0 to 2147483647 as its FilterableId"},
      Row{__LINE__,
          Expression(context + "<InheritedEff Domain='None' FilterableId='1' HolderName='x'/></Context>"),
          "has the Domain \"None\""},
      Row{__LINE__, Expression(context + "<Change Name='x'/></Context>"),
          "Change needs the attribute OperationHandlerId"},
      Row{__LINE__, Filter(kV6), "FilterExpression needs one FilterSelection"},
      Row{__LINE__, Filter("<FilterSelection SelectionMode='Some'>" + kV6 + "</FilterSelection>"),
          "has the SelectionMode \"Some\""},
      Row{__LINE__, Filter("<FilterSelection>" + kV6 + "</FilterSelection>"),
          "FilterSelection needs the attribute SelectionMode"},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(testing::Message() << "row of line " << row.line);
    const Compiled compiled = CompiledDocument(row.document);
    EXPECT_EQ(compiled.result, E_INVALIDARG);
    EXPECT_THAT(compiled.message, HasSubstr(row.message));
    EXPECT_EQ(compiled.terms, 987U);
    EXPECT_EQ(compiled.bytes.ByteCount(), 0U);
  }
}

// ---- limits ------------------------------------------------------------------------------------

// Its normal form has 2 to the power of `pairs` terms.
std::string Product(int pairs) {
  std::string all;
  for (int i = 0; i < pairs; ++i) {
    const std::string number = std::to_string(i);
    all += "<Or><Feature Name='a" + number + "'><Value Name='x'/></Feature><Feature Name='b" + number +
           "'><Value Name='x'/></Feature></Or>";
  }
  return Expression("<And>" + all + "</And>");
}

TEST(FilterCompiler, normalFormBeyondTheLimit_isRefused) {
  EXPECT_EQ(CompiledDocument(Product(10)).terms, 1024U);
  const Compiled compiled = CompiledDocument(Product(300));
  EXPECT_EQ(compiled.result, E_INVALIDARG);
  EXPECT_THAT(compiled.message,
              StartsWith("its disjunctive normal form, or a step on the way to it, has more than "
                         "65536 terms (ZEP_FILTER_MAX_TERMS)"));
}

TEST(FilterCompiler, limit_isThatOfTheEnvironment) {
  setenv("ZEP_FILTER_MAX_TERMS", "8", 1);
  EXPECT_EQ(CompiledDocument(Product(3)).terms, 8U);
  EXPECT_THAT(CompiledDocument(Product(4)).message, HasSubstr("more than 8 terms"));
  unsetenv("ZEP_FILTER_MAX_TERMS");
}

// One term, that names more values than 64 for each of the terms allowed.
TEST(FilterCompiler, tooManyRanges_areRefused) {
  const auto feature = [](int count) {
    std::string xml = "<Feature Name='a'>";
    std::string gaps = "<Feature Name='a'>";
    for (int i = 0; i < count; ++i) {
      xml += "<Value Name='" + std::to_string(10'000 + 2 * i) + "'/>";
      gaps += "<Value Name='" + std::to_string(10'001 + 2 * i) + "'/>";
    }
    return Expression("<And>" + xml + "</Feature><Not>" + gaps + "</Feature></Not></And>");
  };
  setenv("ZEP_FILTER_MAX_TERMS", "2", 1);
  EXPECT_EQ(CompiledDocument(feature(128)).result, S_OK);
  EXPECT_THAT(CompiledDocument(feature(129)).message, HasSubstr("names more than 128 values and ranges"));
  unsetenv("ZEP_FILTER_MAX_TERMS");
}

TEST(FilterCompiler, deepNesting_endsAtTheParsersDepth) {
  const auto nested = [](int depth) {
    std::string open;
    std::string close;
    for (int i = 0; i < depth; ++i) {
      open += "<Not>";
      close += "</Not>";
    }
    return Expression(open + kV6 + close);
  };
  EXPECT_EQ(CompiledDocument(nested(900)).terms, 1U);
  EXPECT_EQ(CompiledDocument(nested(5000)).result, E_INVALIDARG);
}

TEST(FilterCompiler, tenThousandAlternatives_compile) {
  std::string alternatives;
  for (int i = 0; i < 10'000; ++i) {
    const std::string number = std::to_string(i);
    alternatives += "<And><Feature Name='F" + std::to_string(i % 50) + "'><Value Name='" + number +
                    "'/></Feature><UnitRange From='" + std::to_string(i + 1) + "' To='" +
                    std::to_string(2 * i + 1) + "'/></And>";
  }
  EXPECT_EQ(CompiledDocument(Expression("<Or>" + alternatives + "</Or>")).terms, 10'000U);
}

} // namespace
