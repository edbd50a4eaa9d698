#include "AllocationWatch.h"
#include "ConformanceTest.h"
#include "ZEPBinary.h"
#include "ZEPCfgFilterBasicServices.h"

#include <functional>
#include <ostream>
#include <string>
#include <vector>

// Whether one compiled filter is included in another: the one question to the comparison service,
// and what becomes of its answer.

using namespace scripted;

namespace {

constexpr unsigned char before = 7; // in the output, and no answer of the service here
constexpr long unnamedFailure = -123456;

const std::string entry =
    "ZEPCfgFilterBasicServices > long __cdecl ZEPCfgFilterBasicServices::IsAIncludedInB("
    "const class ZEPBinary &,const class ZEPBinary &,unsigned char &)\n"
    "ZEPCfgFilterBasicServices entry\n";
const std::string question = "IsIncluding(the reference, [the candidate], 1, [], 1, 1)\n";
const std::string error = "ZEPCfgFilterBasicServices | <ERROR>\n"
                          "ZEPCfgFilterBasicServices | <INDENT> ERROR : IsIncluding FAILED\n";
const std::string exitRecord = "ZEPCfgFilterBasicServices exit\n"
                               "ZEPCfgFilterBasicServices <\n";

// A result and the output then.
struct Inclusion {
  long result = S_OK;
  unsigned char answer = before;

  bool operator==(const Inclusion&) const = default;
};

void PrintTo(const Inclusion& inclusion, std::ostream* out) {
  *out << codeName(inclusion.result) << ' ' << static_cast<int>(inclusion.answer);
}

ZEPBinary binary(const std::string& bytes) {
  return {bytes.data(), bytes.size()};
}

Inclusion ask(const ZEPBinary& a, const ZEPBinary& b) {
  Inclusion inclusion;
  inclusion.result = ZEPCfgFilterBasicServices::IsAIncludedInB(a, b, inclusion.answer);
  return inclusion;
}

Inclusion ask() {
  return ask(binary("the candidate"), binary("the reference"));
}

class FilterInclusionTest : public ConformanceTest {
protected:
  using Preparation = std::function<void()>;

  // With the trace on and off, and everything that is done, in order.
  void ExpectInBothModes(const Preparation& prepare, const Inclusion& expected, const std::string& steps) {
    for (const bool traceIsOn : {true, false}) {
      Start(prepare, traceIsOn);
      EXPECT_EQ(ask(), expected);
      EXPECT_EQ(script().log(), traceIsOn ? entry + steps + exitRecord : steps);
      EXPECT_EQ(script().activatedQueries(), 2);
      endRow();
    }
  }

  void Start(const Preparation& prepare, bool traceIsOn) {
    startRow();
    if (traceIsOn) {
      script().traceOn();
    }
    prepare();
  }
};

TEST_F(FilterInclusionTest, answer_isTheServicesOne_whateverTheNumber) {
  for (const int answer : {0, 1, 2, 128, 255}) {
    SCOPED_TRACE(answer);
    const auto number = static_cast<unsigned char>(answer);
    ExpectInBothModes([number] { script().inclusions = {number}; }, {S_OK, number}, question);
  }
}

TEST_F(FilterInclusionTest, service_isGivenBAsTheReference_andAAsTheOnlyCandidate) {
  struct Row {
    int line;
    std::string a;
    std::string b;
    std::string call;
  };
  const std::string large(1 << 20, 'x');
  const Row rows[] = {
      Row{__LINE__, "small", "large", "IsIncluding(large, [small], 1, [], 1, 1)\n"},
      Row{__LINE__, "same", "same", "IsIncluding(same, [same], 1, [], 1, 1)\n"},
      Row{__LINE__, "", "", "IsIncluding(\"\", [\"\"], 1, [], 1, 1)\n"},
      Row{__LINE__, "a", "", "IsIncluding(\"\", [a], 1, [], 1, 1)\n"},
      Row{__LINE__, std::string("\0a\0", 3), std::string("b\0", 2),
          "IsIncluding(\"b\\x00\", [\"\\x00a\\x00\"], 1, [], 1, 1)\n"},
      Row{__LINE__, large, "b", "IsIncluding(b, [" + large + "], 1, [], 1, 1)\n"},
      Row{__LINE__, "a", large, "IsIncluding(" + large + ", [a], 1, [], 1, 1)\n"},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE("row at line " + std::to_string(row.line));
    startRow();
    EXPECT_EQ(ask(binary(row.a), binary(row.b)), (Inclusion{S_OK, 1}));
    EXPECT_TRUE(script().calls() == row.call);
    endRow();
  }
}

TEST_F(FilterInclusionTest, filters_mayBeTheSameObject) {
  const ZEPBinary filter = binary("filter");
  EXPECT_EQ(ask(filter, filter), (Inclusion{S_OK, 1}));
  EXPECT_EQ(script().calls(), "IsIncluding(filter, [filter], 1, [], 1, 1)\n");
  EXPECT_EQ(filter.ByteCount(), 6U);
}

// The service decides; equal filters are no case of their own.
TEST_F(FilterInclusionTest, equalFilters_areAskedAboutToo) {
  script().inclusions = {0};
  EXPECT_EQ(ask(binary("same"), binary("same")), (Inclusion{S_OK, 0}));
  EXPECT_EQ(script().count(Op::IsIncluding), 1);
}

TEST_F(FilterInclusionTest, positiveCode_isPassedOn_withTheAnswer) {
  for (const long code : {S_FALSE, 5L, 0x7FFFFFFFL}) {
    SCOPED_TRACE(code);
    for (const unsigned char answer : std::vector<unsigned char>{0, 1}) {
      const auto prepare = [code, answer] {
        script().inclusions = {answer};
        script().returns(Op::IsIncluding, code);
      };
      ExpectInBothModes(prepare, {code, answer}, question);
    }
  }
}

TEST_F(FilterInclusionTest, failureOfTheService_isTheResult_andLeavesTheOutput) {
  for (const long code : {E_FAIL, E_INVALIDARG, E_ABORT, unnamedFailure}) {
    SCOPED_TRACE(code);
    ExpectInBothModes([code] { script().fail(Op::IsIncluding, code); }, {code, before}, question + error);
    // Whatever it filled in.
    ExpectInBothModes([code] { script().returns(Op::IsIncluding, code); }, {code, before}, question + error);
  }
}

TEST_F(FilterInclusionTest, otherThanOneAnswer_isAFailure_withoutAnErrorRecord) {
  const std::vector<std::vector<unsigned char>> rows = {{}, {1, 1}, {0, 1}, {1, 0, 1}};
  for (const std::vector<unsigned char>& inclusions : rows) {
    SCOPED_TRACE(::testing::PrintToString(inclusions));
    for (const long code : {S_OK, S_FALSE}) {
      const auto prepare = [&inclusions, code] {
        script().inclusions = inclusions;
        script().returns(Op::IsIncluding, code);
      };
      ExpectInBothModes(prepare, {E_FAIL, before}, question);
    }
  }
}

TEST_F(FilterInclusionTest, exception_passesThrough_andLeavesTheOutput) {
  for (const bool traceIsOn : {true, false}) {
    Start([] { script().throwIn(Op::IsIncluding); }, traceIsOn);
    unsigned char answer = before;
    EXPECT_THROW(
        ZEPCfgFilterBasicServices::IsAIncludedInB(binary("the candidate"), binary("the reference"), answer),
        ScriptedException);
    EXPECT_EQ(answer, before);
    EXPECT_EQ(script().log(), traceIsOn ? entry + question + exitRecord : question);
    endRow();
  }
}

TEST_F(FilterInclusionTest, trace_isAskedOnceForEntryAndExit_andNeverForAnError) {
  struct Row {
    int line;
    int query; // the only one answered with yes
    std::string log;
  };
  const Row rows[] = {
      Row{__LINE__, 1, entry + question + error},
      Row{__LINE__, 2, question + error + exitRecord},
      Row{__LINE__, 3, question + error},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE("row at line " + std::to_string(row.line));
    startRow();
    script().allowUnbalancedMethods();
    script().traceWhen([&row](int query) { return query == row.query; });
    script().fail(Op::IsIncluding, E_ABORT);
    EXPECT_EQ(ask(), (Inclusion{E_ABORT, before}));
    EXPECT_EQ(script().log(), row.log);
    EXPECT_EQ(script().activatedQueries(), 2);
    endRow();
  }
}

TEST_F(FilterInclusionTest, calls_doNotDependOnThoseBefore) {
  script().fail(Op::IsIncluding, E_ABORT).at(2);
  script().giveEmpty(Op::IsIncluding).at(3);
  EXPECT_EQ(ask(), (Inclusion{S_OK, 1}));
  EXPECT_EQ(ask(), (Inclusion{E_ABORT, before}));
  EXPECT_EQ(ask(), (Inclusion{E_FAIL, before}));
  script().inclusions = {0};
  EXPECT_EQ(ask(), (Inclusion{S_OK, 0}));
  EXPECT_EQ(script().calls(), question + question + question + question);
}

TEST_F(FilterInclusionTest, lists_areReleased_onEveryWayOut) {
  ZEP_SKIP_UNLESS_ALLOCATIONS_ARE_SEEN()
  struct Row {
    int line;
    Preparation prepare;
  };
  const Row rows[] = {
      Row{__LINE__, [] {}},
      Row{__LINE__, [] { script().returns(Op::IsIncluding, S_FALSE); }},
      Row{__LINE__, [] { script().fail(Op::IsIncluding, E_ABORT); }},
      Row{__LINE__, [] { script().returns(Op::IsIncluding, E_ABORT); }},
      Row{__LINE__, [] { script().giveEmpty(Op::IsIncluding); }},
      Row{__LINE__, [] { script().inclusions.assign(100, 1); }},
      Row{__LINE__, [] { script().throwIn(Op::IsIncluding); }},
  };
  const auto aliveAfter = [this](const Preparation& prepare) {
    Start(prepare, true);
    try {
      ask();
    } catch (const ScriptedException&) {}
    script().reset();
    return allocations::alive();
  };
  for (const Row& row : rows) {
    SCOPED_TRACE("row at line " + std::to_string(row.line));
    const long first = aliveAfter(row.prepare); // the script's own buffers have grown then
    EXPECT_EQ(aliveAfter(row.prepare), first);
  }
}

} // namespace
