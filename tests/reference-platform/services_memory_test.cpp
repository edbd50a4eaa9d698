// Filters, answers of a server and expressions, each call running out of memory at each allocation in turn.
#include "support/FailingNew.h"
#include "support/FilterTest.h"
#include "support/JsonTree.h"

#include "ZEPCfgXMLExpressionServices.h"
#include "ZEPOmxJson.h"
#include "ZEPTraceObserver.h"
#include "session_test_support.h"
#include "support/XMLTest.h"

#include <functional>
#include <iostream>
#include <new>
#include <optional>
#include <string>

#ifdef __SANITIZE_ADDRESS__
#include <sanitizer/lsan_interface.h>

// Without memory the solver loses some of its blocks, and some solvers are beyond deletion.
__attribute__((visibility("default"))) const char* __lsan_default_suppressions() {
  return "leak:CaDiCaL\nleak:FilterSolver::Implementation::Implementation\n";
}
#endif

namespace {

using filter::And;
using filter::Dates;
using filter::EachInAHole;
using filter::Feature;
using filter::Inherited;
using filter::Model;
using filter::Not;
using filter::Or;
using filter::Pigeons;
using filter::Units;
using xml::Unicode;

template <class Output>
struct Outcome {
  std::optional<long> result; // none: std::bad_alloc
  Output output;

  bool operator==(const Outcome& other) const = default;
};

template <class Output>
using Operation = std::function<long(Output& output)>;

class ServicesMemory : public xml::QuietTest {
protected:
  void SetUp() override {
    QuietTest::SetUp();
    session::SetEnvironment({});
    // So that what is traced takes memory too.
    ZEPSetTraceObserver([](const ZEPTraceRecord& /*record*/, void* /*context*/) {}, nullptr, true);
  }
  void TearDown() override {
    allocations::failAt(0);
    ZEPSetTraceObserver(nullptr, nullptr, false);
    std::cout << m_faults << " allocations failed\n";
    QuietTest::TearDown();
  }

  // Each call gives what it gives with memory, or fails with its output untouched; the next one is right.
  template <class Output>
  void FailEach(const Output& untouched, long result, const Operation<Output>& operation, long step = 1) {
    Called(untouched, operation); // makes what is made once
    const Outcome<Output> right = Called(untouched, operation);
    ASSERT_EQ(right.result, result);
    for (const auto fail : {allocations::failAt, allocations::failFrom}) {
      for (long nth = 1;; nth += step) {
        const Outcome<Output> outcome = Called(untouched, operation, fail, nth);
        if (!m_hasFailed) {
          ASSERT_TRUE(outcome == right);
          break;
        }
        ++m_faults;
        ASSERT_TRUE(outcome == right || IsFailure(outcome, untouched)) << "allocation " << nth << " failed";
        ASSERT_TRUE(Called(untouched, operation) == right) << "after allocation " << nth << " failed";
      }
    }
  }

  long m_faults = 0;

private:
  template <class Output>
  static bool IsFailure(const Outcome<Output>& outcome, const Output& untouched) {
    return (!outcome.result || ZEPFailed(*outcome.result)) && outcome.output == untouched;
  }

  // Memory fails during the call alone.
  template <class Output>
  Outcome<Output> Called(const Output& untouched, const Operation<Output>& operation,
                         void (*fail)(long nth) = allocations::failAt, long nth = 0) {
    Outcome<Output> outcome{std::nullopt, untouched};
    fail(nth);
    try {
      outcome.result = operation(outcome.output);
    } catch (const std::bad_alloc&) {}
    m_hasFailed = allocations::hasFailed();
    allocations::failAt(0);
    ZEPError::ZEPCleanLastError();
    return outcome;
  }

  bool m_hasFailed = false;
};

// ---- filters -----------------------------------------------------------------------------------

const std::string kLongName = "a name that is not kept in place";

struct Filters {
  int line;
  std::string a;
  std::string b;
  bool isIncluded;
};

const Filters kFilters[] = {
    Filters{__LINE__, Model("M", Feature("F", {kLongName})), Model("M", Feature("F", {kLongName})), true},
    Filters{__LINE__, Model(kLongName, Feature("F", {"v"})), Model("M", Feature("F", {"v"})), false},
    Filters{__LINE__, And(Not(Feature("F", {"v"})) + Dates("2025-01-01", "2025-05-31")),
            Or(Dates("", "2025-06-30") + Units("4", "")), true},
    Filters{__LINE__, Model("M", Inherited("7") + Feature("F", {"v"})), Model("M", Inherited("7")), true},
    // Found by the solver.
    Filters{__LINE__, EachInAHole(4, 3), Pigeons(4, 3), true},
    Filters{__LINE__, EachInAHole(4, 4), Pigeons(4, 4), false},
};

TEST_F(ServicesMemory, Comparisons_AnswerRightlyOrFail_NoMemory) {
  constexpr unsigned char untouched = 77;
  for (const Filters& row : kFilters) {
    SCOPED_TRACE(row.line);
    const ZEPBinary a = filter::Binary(row.a);
    const ZEPBinary b = filter::Binary(row.b);
    ASSERT_EQ(filter::IsIncluded(a, b), row.isIncluded);
    FailEach<unsigned char>(untouched, S_OK, [&](unsigned char& isIncluded) {
      return ZEPCfgFilterBasicServices::IsAIncludedInB(a, b, isIncluded);
    });
  }
  EXPECT_GT(m_faults, 3000);
}

struct CompiledFilter {
  ZEPBinary bytes;
  std::size_t terms;

  bool operator==(const CompiledFilter& other) const {
    return filter::Bytes(bytes) == filter::Bytes(other.bytes) && terms == other.terms;
  }
};

TEST_F(ServicesMemory, Filters_AreCompiledOrFail_NoMemory) {
#ifdef __SANITIZE_ADDRESS__
  constexpr long step = 4; // each takes ten times as long there
#else
  constexpr long step = 1;
#endif
  const CompiledFilter untouched{ZEPBinary("untouched", 9), 987};
  for (const Filters& row : kFilters) {
    SCOPED_TRACE(row.line);
    for (const std::string& content : {row.a, row.b}) {
      const ZEPUnicodeString text = Unicode(filter::Expression(content));
      FailEach<CompiledFilter>(
          untouched, S_OK,
          [&](CompiledFilter& compiled) { return zep::CompileFilter(text, compiled.bytes, compiled.terms); },
          step);
    }
  }
  EXPECT_GT(m_faults, 6000 / step);
}

// ---- answers of a server -----------------------------------------------------------------------

const std::string kSheetText = "a text that is longer than what is kept in place: \u00e4\u4e2d";
const std::string kAnswer = "{\"other\": [1.5, true, null, {\"a name that is longer than a short one\": []}],"
                            " \"xslt\": {\"content\": \"" +
                            kSheetText + "\"}}";

struct Tree {
  ZEPOmxAny value;

  bool operator==(const Tree& other) const { return json::Show(value) == json::Show(other.value); }
};

TEST_F(ServicesMemory, Answers_AreParsedOrFail_NoMemory) {
  struct Row {
    int line;
    std::string text;
    long result;
  };
  const Row rows[] = {
      Row{__LINE__, kAnswer, S_OK},
      Row{__LINE__, kAnswer + "]", E_FAIL},
      Row{__LINE__, "\"" + kSheetText + "\"", S_OK},
      Row{__LINE__, std::string(40, '[') + std::string(40, ']'), S_OK},
  };
  const ZEPOmxUTF8String broken = json::Utf8("[");
  for (const Row& row : rows) {
    SCOPED_TRACE(row.line);
    const ZEPOmxUTF8String text = json::Utf8(row.text);
    FailEach<Tree>({}, row.result, [&](Tree& tree) { return ZEPOmxJson::parse(text, tree.value); });
    // The parser is kept until one text is refused.
    FailEach<Tree>({}, row.result, [&](Tree& tree) {
      return ZEPOmxJson::parse(broken, tree.value) == S_OK ? E_UNEXPECTED
                                                           : ZEPOmxJson::parse(text, tree.value);
    });
  }
  EXPECT_GT(m_faults, 400);
}

TEST_F(ServicesMemory, Answers_GiveTheirStylesheetOrFail_NoMemory) {
  ZEPOmxAny answer;
  ASSERT_EQ(ZEPOmxJson::parse(json::Utf8(kAnswer), answer), S_OK);
  FailEach<ZEPUnicodeString>("untouched", S_OK, [&](ZEPUnicodeString& sheet) {
    return ZEPCfgXMLExpressionServices::ParseQueryResponse(answer, sheet);
  });
  EXPECT_GT(m_faults, 3);
}

// ---- expressions -------------------------------------------------------------------------------

// The first is kept, once compiled; the second is not, since it makes use of a function beyond the standard.
const std::string kStylesheets[] = {
    xml::TextSheet("<xsl:value-of select='.'/>"),
    xml::TextSheet("<xsl:variable name='v'><b/></xsl:variable><xsl:value-of select='.'/>"
                   "<xsl:value-of select='name(e:node-set($v)/b)'/>",
                   "xmlns:e='http://exslt.org/common'"),
};

TEST_F(ServicesMemory, Expressions_AreFormattedOrFail_NoMemory) {
  const ZEPUnicodeString expression = "<a>a text that is longer than what is kept in place</a>";
  for (const std::string& stylesheet : kStylesheets) {
    SCOPED_TRACE(stylesheet);
    const session::TempDirectory files;
    const ZEPUnicodeString path = Unicode(files.Write("sheet.xsl", stylesheet));
    FailEach<ZEPUnicodeString>("untouched", S_OK, [&](ZEPUnicodeString& text) {
      return ZEPCfgXMLExpressionServices::FormatExpression(expression, text, path, 1);
    });
    // A start on a sequence that a failure left open begins a new one.
    FailEach<ZEPUnicodeString>("untouched", S_OK, [&](ZEPUnicodeString& text) {
      const long started = ZEPCfgXMLExpressionServices::StartExpressionFormatting(path);
      return ZEPFailed(started) ? started
                                : ZEPCfgXMLExpressionServices::ExpressionFormatting(expression, text, 1);
    });
    EXPECT_EQ(ZEPCfgXMLExpressionServices::EndExpressionFormatting(), S_OK);
  }
  EXPECT_GT(m_faults, 200);
}

} // namespace
