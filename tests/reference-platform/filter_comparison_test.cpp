#include "support/FilterTest.h"

#include "ZEPCfgExpressionComparisonServices.h"
#include "ZEPListValZEPBinary.h"
#include "ZEPListValZEPBoolean.h"
#include "session_test_support.h"

#include <thread>

namespace {

using namespace filter;
using testing::ElementsAre;
using testing::HasSubstr;

const std::string kTrue = "<Boolean>true</Boolean>";
const std::string kFalse = "<Boolean>false</Boolean>";
const std::string kNothing;

const char* KindName(zep::FilterVariableKind kind) {
  switch (kind) {
  case zep::FilterVariableKind::Holder:
    return "holder";
  case zep::FilterVariableKind::Inherited:
    return "inherited";
  case zep::FilterVariableKind::Feature:
    return "feature";
  case zep::FilterVariableKind::Date:
    return "date";
  case zep::FilterVariableKind::Unit:
    return "unit";
  }
  return "?";
}

std::vector<std::string> Counterexample(const std::string& a, const std::string& b) {
  std::optional<zep::Configuration> found;
  EXPECT_EQ(zep::FindCounterexample(Binary(b), Binary(a), found), S_OK);
  std::vector<std::string> lines;
  for (const zep::ConfigurationValue& value : found.value_or(zep::Configuration())) {
    lines.push_back(std::string(KindName(value.kind)) + " " + value.variable + "=" +
                    value.value.value_or("(any other)"));
  }
  return lines;
}

TEST(FilterComparison, answers_areThoseOfTheConfigurations) {
  const std::string v6 = Feature("Engine", {"V6"});
  const std::string v8 = Feature("Engine", {"V8"});
  const std::string v6or8 = Feature("Engine", {"V6", "V8"});
  struct Row {
    int line;
    std::string a;
    std::string b;
    bool isIncluded;
  };
  const Row rows[] = {
      // unions that no part covers alone
      Row{__LINE__, Units("5", "20"), Or(Units("1", "10") + Units("11", "")), true},
      Row{__LINE__, Units("5", "20"), Or(Units("1", "10") + Units("12", "")), false},
      Row{__LINE__, v6or8, Or(v6 + v8), true},
      Row{__LINE__, Or(v6 + v8), v6or8, true},
      Row{__LINE__, And(v6or8 + Units("5", "20")),
          Or(And(v6 + Units("", "20")) + And(v8 + Units("1", "10")) + And(v8 + Units("11", ""))), true},
      Row{__LINE__, And(v6or8 + Units("5", "20")),
          Or(And(v6 + Units("", "20")) + And(v8 + Units("1", "10")) + And(v8 + Units("12", ""))), false},
      // values that nobody named exist
      Row{__LINE__, kTrue, Or(v6 + v8), false},
      Row{__LINE__, kTrue, Or(v6 + Not(v6)), true},
      Row{__LINE__, Not(v6), v8, false},
      Row{__LINE__, Feature("Engine", {"electric"}), Not(v6or8), true},
      Row{__LINE__, Not(v6or8), Not(v6), true},
      Row{__LINE__, Not(v6), Not(v6or8), false},
      Row{__LINE__, Not(v6), Or(Feature("Engine", {"a"}) + Not(Feature("Engine", {"a", "V6"}))), true},
      Row{__LINE__, v6, v8, false},
      // units begin at 1, days nowhere
      Row{__LINE__, kTrue, Units("1", ""), true},
      Row{__LINE__, kTrue, Units("2", ""), false},
      Row{__LINE__, kTrue, Or(Dates("", "2025-02-28") + Dates("2025-03-01", "")), true},
      Row{__LINE__, kTrue, Or(Dates("", "2024-02-28") + Dates("2024-03-01", "")), false},
      Row{__LINE__, Dates("2025-01-01", "2025-12-31"), Dates("2025-01-01", ""), true},
      Row{__LINE__, Dates("", "2025-12-31"), Dates("2025-01-01", ""), false},
      Row{__LINE__, Units("1", "10"), Dates("", "2025-01-01"), false},
      // nothing and all
      Row{__LINE__, kNothing, kNothing, true},
      Row{__LINE__, kNothing, v6, true},
      Row{__LINE__, v6, kNothing, false},
      Row{__LINE__, kFalse, v6, true},
      Row{__LINE__, And(v6 + v8), kNothing, true},
      Row{__LINE__, v6, kTrue, true},
      Row{__LINE__, kTrue, kTrue, true},
      Row{__LINE__, kTrue, kFalse, false},
      Row{__LINE__, Model("M"), kTrue, true},
      // holders
      Row{__LINE__, Model("M", v6), Model("M"), true},
      Row{__LINE__, Model("M"), Model("M", v6), false},
      Row{__LINE__, Model("M"), Model("N"), false},
      Row{__LINE__, kTrue, Model("M"), false},
      Row{__LINE__, kTrue, Model("M") + Model("N"), false},
      Row{__LINE__, Model("M", v6) + Model("N", v8), Model("N", v6or8) + Model("M", v6or8), true},
      Row{__LINE__, Model("M", v6) + Model("N", v8), Model("N", v6) + Model("M", v6), false},
      Row{__LINE__, Model("M", v6or8), Model("M", v6) + Model("M", v8), true},
      Row{__LINE__, "<Context HolderType='Plant' HolderName='M'/>", Model("M"), false},
      Row{__LINE__, v6, Model("M", v6), false},
      Row{__LINE__, Model("M", v6), v6, true},
      // what is inherited restricts, and is known by its number
      Row{__LINE__, Model("M", Inherited("5") + v6), Model("M", v6), true},
      Row{__LINE__, Model("M", v6), Model("M", Inherited("5") + v6), false},
      Row{__LINE__, Model("M", Inherited("5")), Model("M", Inherited("5")), true},
      Row{__LINE__, Model("M", Inherited("5")), Model("M", Inherited("6")), false},
      // other features do not matter
      Row{__LINE__, And(v6 + Feature("Seats", {"5"})), v6, true},
      Row{__LINE__, v6, And(v6 + Feature("Seats", {"5"})), false},
      Row{__LINE__, v6, Or(And(v6 + Feature("Seats", {"5"})) + And(v6 + Not(Feature("Seats", {"5"})))), true},
      Row{__LINE__, Feature("Motör", {"ß"}), Feature("Motör", {"ß", "ẞ"}), true},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(testing::Message() << "row of line " << row.line);
    EXPECT_EQ(IsIncluded(Binary(row.a), Binary(row.b)), row.isIncluded);
  }
}

TEST(FilterComparison, counterexample_saysWhatMatters) {
  EXPECT_THAT(Counterexample(Feature("Engine", {"V6", "V8"}), Feature("Engine", {"V6"})),
              ElementsAre("feature Engine=V8"));
  EXPECT_THAT(Counterexample(kTrue, Feature("Engine", {"V6", "V8"})),
              ElementsAre("feature Engine=(any other)"));
  EXPECT_THAT(Counterexample(kTrue, Not(Feature("Engine", {"V6"}))), ElementsAre("feature Engine=V6"));
  EXPECT_THAT(Counterexample(Not(Feature("Engine", {"V6"})), Not(Feature("Engine", {"V6", "V8"}))),
              ElementsAre("feature Engine=V8"));
  EXPECT_THAT(Counterexample(Feature("Engine", {"electric"}), Feature("Engine", {"V6"})),
              ElementsAre("feature Engine=electric"));
  EXPECT_THAT(Counterexample(Units("5", "20"), Or(Units("1", "10") + Units("12", ""))),
              ElementsAre("unit =11"));
  EXPECT_THAT(Counterexample(kTrue, Or(Dates("", "2024-02-28") + Dates("2024-03-01", ""))),
              ElementsAre("date =2024-02-29"));
  EXPECT_THAT(Counterexample(kTrue, Dates("0001-01-01", "")), ElementsAre("date =0000-12-31"));
  EXPECT_THAT(Counterexample(kTrue, Dates("", "9999-12-31")), ElementsAre("date =10000-01-01"));
  EXPECT_THAT(Counterexample(Model("M", Feature("Seats", {"5"})), Model("N", Inherited("7"))),
              ElementsAre("holder =Model M", "inherited Variant 7=(any other)", "feature Seats=5"));
  EXPECT_THAT(Counterexample(Model("M"), Model("M", Inherited("7"))),
              ElementsAre("holder =Model M", "inherited Variant 7=(any other)"));
  EXPECT_THAT(Counterexample(kTrue, kNothing), ElementsAre());
  EXPECT_THAT(Counterexample(And(Dates("2025-01-02", "") + Feature("Seats", {"5"})), kNothing),
              ElementsAre("feature Seats=5", "date =2025-01-02"));
}

// Each term needs several of the reference's, and the last one has a hole that no first guess finds.
TEST(FilterComparison, counterexample_isOfTheTermThatHasIt) {
  const std::string v6 = Feature("Engine", {"V6"});
  const std::string v8 = Feature("Engine", {"V8"});
  const std::string both = Feature("Engine", {"V6", "V8"});
  const std::string reference = Or(And(v6 + Units("1", "15")) + And(v8 + Units("1", "9")) +
                                   And(both + Or(Units("10", "24") + Units("26", "40"))));
  const std::string fitting = And(v6 + Units("5", "20"));
  EXPECT_THAT(Counterexample(Or(fitting + And(v8 + Units("5", "30"))), reference),
              ElementsAre("feature Engine=V8", "unit =25"));
  EXPECT_THAT(Counterexample(Or(And(v6 + Units("5", "30")) + And(v8 + Units("5", "20"))), reference),
              ElementsAre("feature Engine=V6", "unit =25"));
}

// One reference, many candidates: what was learnt from one must not change the answer for the next.
TEST(FilterComparison, severalCandidates_haveAnAnswerEach_inTheirOrder) {
  ZEPListValZEPBinary candidates;
  for (int round = 0; round < 3; ++round) {
    candidates.Append(Binary(Units("5", "20")));
    candidates.Append(Binary(Units("5", "21")));
    candidates.Append(Binary(kNothing));
    candidates.Append(Binary(kTrue));
  }
  ZEPListValZEPBoolean results;
  results.Append(1);
  const ZEPBinary reference = Binary(Or(Units("1", "10") + Units("11", "20")));
  EXPECT_EQ(ZEPCfgExpressionComparisonServices::IsIncluding(
                reference, candidates, PLMCfgExpressionViewCurrent, results, PLMCfgComparisonModeExact,
                PLMCfgComparisonModeExact),
            S_OK);
  ASSERT_EQ(results.Size(), 12);
  for (int i = 1; i <= 12; ++i) {
    EXPECT_EQ(results[i], i % 4 == 1 || i % 4 == 3 ? 1 : 0) << i;
  }
}

TEST(FilterComparison, otherViewsAndModes_areRefused_andLeaveTheResults) {
  const ZEPBinary reference = Binary(kTrue);
  ZEPListValZEPBinary candidates;
  candidates.Append(reference);
  ZEPListValZEPBoolean results;
  results.Append(0);
  const auto compare = [&](PLMCfgExpressionView view, PLMCfgComparisonMode first,
                           PLMCfgComparisonMode second) {
    const long result =
        ZEPCfgExpressionComparisonServices::IsIncluding(reference, candidates, view, results, first, second);
    EXPECT_EQ(results.Size(), 1);
    EXPECT_EQ(LastMessage(result), "only current views are compared, and only exactly");
    return result;
  };
  EXPECT_EQ(compare(PLMCfgExpressionViewSource, PLMCfgComparisonModeExact, PLMCfgComparisonModeExact),
            E_INVALIDARG);
  EXPECT_EQ(compare(PLMCfgExpressionViewCurrent, PLMCfgComparisonModeUnset, PLMCfgComparisonModeExact),
            E_INVALIDARG);
  EXPECT_EQ(compare(PLMCfgExpressionViewCurrent, PLMCfgComparisonModeExact, PLMCfgComparisonModeUnset),
            E_INVALIDARG);
}

TEST(FilterComparison, noCandidates_giveNoResults) {
  ZEPListValZEPBoolean results;
  results.Append(1);
  EXPECT_EQ(ZEPCfgExpressionComparisonServices::IsIncluding(
                Binary(kTrue), ZEPListValZEPBinary(), PLMCfgExpressionViewCurrent, results,
                PLMCfgComparisonModeExact, PLMCfgComparisonModeExact),
            S_OK);
  EXPECT_EQ(results.Size(), 0);
}

TEST(FilterComparison, damagedCandidateAmongGoodOnes_failsAll_andLeavesTheResults) {
  const ZEPBinary reference = Binary(kTrue);
  ZEPListValZEPBinary candidates;
  candidates.Append(reference);
  candidates.Append(ZEPBinary("no filter", 9));
  ZEPListValZEPBoolean results;
  results.Append(0);
  const long result = ZEPCfgExpressionComparisonServices::IsIncluding(
      reference, candidates, PLMCfgExpressionViewCurrent, results, PLMCfgComparisonModeExact,
      PLMCfgComparisonModeExact);
  EXPECT_EQ(result, E_INVALIDARG);
  EXPECT_EQ(LastMessage(result), "these bytes are no compiled filter");
  EXPECT_EQ(results.Size(), 1);
}

// ---- the work limit ----------------------------------------------------------------------------

TEST(FilterComparison, pigeonholes_areSolved_whileTheyAreFew) {
  EXPECT_EQ(IsIncluded(Binary(EachInAHole(7, 6)), Binary(Pigeons(7, 6))), true);
  EXPECT_EQ(IsIncluded(Binary(EachInAHole(6, 6)), Binary(Pigeons(6, 6))), false);
}

TEST(FilterComparison, hopelessCase_endsWithAFailure_andTheNextOneWorks) {
  setenv("ZEP_FILTER_TIMEOUT_MS", "200", 1);
  const ZEPBinary a = Binary(EachInAHole(16, 15));
  const ZEPBinary b = Binary(Pigeons(16, 15));
  unsigned char isIncluded = 77;
  const auto before = std::chrono::steady_clock::now();
  EXPECT_EQ(ZEPCfgFilterBasicServices::IsAIncludedInB(a, b, isIncluded), E_ABORT);
  EXPECT_LT(std::chrono::steady_clock::now() - before, std::chrono::seconds(30));
  EXPECT_EQ(LastMessage(E_ABORT), "the comparison takes longer than ZEP_FILTER_TIMEOUT_MS allows");
  EXPECT_EQ(isIncluded, 77);
  unsetenv("ZEP_FILTER_TIMEOUT_MS");
  EXPECT_EQ(IsIncluded(Binary(EachInAHole(5, 4)), Binary(Pigeons(5, 4))), true);
}

// Each has a serial number of its own.
std::string Serials(int count) {
  std::string terms;
  for (int i = 0; i < count; ++i) {
    const std::string value = std::to_string(100'000 + i);
    terms += And(Feature("Serial", {value}) + Feature("Label", {value}));
  }
  return Or(terms);
}

TEST(FilterComparison, timeLimit_holdsWithoutTheSolverToo) {
  const ZEPBinary a = Binary(Serials(10'000));
  const ZEPBinary b = Binary(Serials(10'001));
  EXPECT_EQ(IsIncluded(a, b), true);
  EXPECT_EQ(IsIncluded(b, a), false);
  setenv("ZEP_FILTER_TIMEOUT_MS", "1", 1);
  EXPECT_EQ(IsIncluded(a, b), std::nullopt);
  EXPECT_EQ(LastMessage(E_ABORT), "the comparison takes longer than ZEP_FILTER_TIMEOUT_MS allows");
  unsetenv("ZEP_FILTER_TIMEOUT_MS");
}

// The names of A's one range are apart in the numbers of B.
TEST(FilterComparison, namesThatFallApartTooOften_areAFailure) {
  std::vector<std::string> names;
  std::vector<std::string> between;
  for (int i = 0; i < 100; ++i) {
    names.push_back(std::to_string(1000 + 2 * i));
    between.push_back(std::to_string(1001 + 2 * i));
  }
  const std::string v6 = Feature("Engine", {"V6"});
  const std::string four = Feature("Seats", {"4"});
  const std::string named = Feature("Serial", names);
  const ZEPBinary b = Binary(Or(And(named + v6) + And(named + Not(v6) + four) +
                                And(named + Not(v6) + Not(four)) + Feature("Serial", between)));
  std::string labels;
  for (int i = 0; i < 50; ++i) {
    labels += And(Feature("Label", {std::to_string(i)}) + Units(std::to_string(5 + i), ""));
  }
  const ZEPBinary a = Binary(And(named + Or(labels)));
  EXPECT_EQ(IsIncluded(a, b), true);
  setenv("ZEP_FILTER_MAX_TERMS", "64", 1);
  EXPECT_EQ(IsIncluded(a, b), std::nullopt);
  EXPECT_THAT(LastMessage(E_ABORT), HasSubstr("more than 4096 values and ranges"));
  unsetenv("ZEP_FILTER_MAX_TERMS");
}

TEST(FilterComparison, severalThreads_compareAtOnce) {
  std::vector<std::thread> threads;
  std::atomic<int> wrong{0};
  const ZEPBinary a = Binary(EachInAHole(5, 4));
  const ZEPBinary b = Binary(Pigeons(5, 4));
  for (int number = 0; number < 4; ++number) {
    threads.emplace_back([&] {
      for (int round = 0; round < 10; ++round) {
        wrong += IsIncluded(a, b) == true ? 0 : 1;
        wrong += IsIncluded(b, a) == false ? 0 : 1;
      }
    });
  }
  for (std::thread& thread : threads) {
    thread.join();
  }
  EXPECT_EQ(wrong, 0);
}

TEST(FilterComparison, standardOutput_staysEmpty) {
  testing::internal::CaptureStdout();
  IsIncluded(Binary(EachInAHole(6, 5)), Binary(Pigeons(6, 5)));
  IsIncluded(Binary(kTrue), Binary(Pigeons(6, 5)));
  std::fflush(stdout);
  EXPECT_EQ(testing::internal::GetCapturedStdout(), "");
}

} // namespace
