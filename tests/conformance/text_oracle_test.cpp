#include "TextOperations.h"
#include "text_oracle.h"

#include <cstdint>
#include <functional>
#include <random>

// Generated expressions, well-formed and malformed, through the operations and through the oracle.

using namespace scripted;

namespace {

constexpr int inputsPerTest = 50000;
constexpr int tracedEvery = 50;

// ---- generated texts ---------------------------------------------------------------------------

using Units = std::u16string;

// The same numbers on every machine.
class Chance {
public:
  explicit Chance(std::uint64_t seed) : m_engine(seed) {}

  std::size_t Below(std::size_t limit) { return static_cast<std::size_t>(m_engine() % limit); }
  int Between(int low, int high) {
    return low + static_cast<int>(Below(static_cast<std::size_t>(high - low + 1)));
  }
  bool OneIn(std::size_t count) { return Below(count) == 0; }
  template <class Items>
  const auto& Of(const Items& items) {
    return items[Below(std::size(items))];
  }

private:
  std::mt19937_64 m_engine;
};

const std::vector<Units>& tokens() {
  static const std::vector<Units> all = {
      u"<Context",
      u"<Context ",
      u"<Context HolderName=\"",
      u"</Context>",
      u"</Context>",
      u"<Contex",
      u"</Contex",
      u"HolderName",
      u"HolderName=\"",
      u" HolderName=\"H\"",
      u"HolderNam",
      u"InheritedEff",
      u"<InheritedEff ",
      u"<InheritedEff  ",
      u"<InheritedEff/>",
      u"Inherited",
      u"FilterableId",
      u"FilterableId=\"12\"",
      u"FilterableId=\"",
      u"OperationHandlerId",
      u" OperationHandlerId=\"7\"",
      u"OperationHandlerId=\"",
      u"DescId",
      u" DescId=\"x\"",
      u" DescId='x'",
      u"Desc",
      u"Id",
      u"D",
      u"escId",
      u"=\"",
      u"Description",
      u"<Description>",
      u"</Description>",
      u"<Description/>",
      u"/Description",
      u"/Descriptio",
      u"/",
      u"<",
      u">",
      u"/>",
      u"\"",
      u"\"",
      u"\"",
      u"'",
      u"'",
      u"=",
      u" ",
      u"  ",
      u"\n",
      u"\t",
      u"-",
      u"1",
      u"42",
      u"-7",
      u"+3",
      u"2147483647",
      u"2147483648",
      u"99999999999",
      u"x",
      u"text",
      u"\xE9",
      u"\xD83D\xDE00",
      u"\xD83D",
      u"\xDE00",
      u"&quot;",
      u"<![CDATA[",
      u"<!-- ",
      Units(1, u'\0'),
      Units(18, u'.'),
  };
  return all;
}

Units soup(Chance& chance) {
  Units text;
  for (int count = chance.Between(0, 40); count > 0; --count) {
    text += chance.Of(tokens());
  }
  return text;
}

// Few tokens, so that names, quotes and their absence meet often.
Units denseSoup(Chance& chance) {
  static const std::vector<Units> inContext = {u"<InheritedEff ",
                                               u"<InheritedEff  ",
                                               u"InheritedEff",
                                               u"FilterableId=\"5\"",
                                               u"FilterableId",
                                               u"HolderName=\"N\"",
                                               u" HolderName=\"InheritedEff\"",
                                               u"HolderName",
                                               u"\"",
                                               u"'",
                                               u"OperationHandlerId",
                                               u"OperationHandlerId=\"6\"",
                                               u"/>",
                                               u" ",
                                               u"</Context>"};
  Units text = chance.OneIn(2) ? u"<Context>" : u"<Context HolderName=\"A\">";
  for (int count = chance.Between(0, 12); count > 0; --count) {
    text += chance.Of(inContext);
  }
  return text + u"</Context>";
}

// Identifiers put into the midst of one another.
Units nestedIdentifiers(Chance& chance) {
  static const std::vector<Units> identifiers = {u"DescId=\"1\"", u"DescId=\"\"",
                                                 u"DescId='2'",   u"DescId",
                                                 u"DescId=\"",    u"<Description>t</Description>"};
  Units text = u"<X " + chance.Of(identifiers) + u"/>";
  for (int count = chance.Between(1, 8); count > 0; --count) {
    text.insert(chance.Below(text.size() + 1), chance.OneIn(3) ? chance.Of(identifiers) : identifiers[0]);
  }
  return text;
}

Units number(Chance& chance) {
  const std::string digits = std::to_string(chance.Between(-5, 100000));
  return Units(digits.begin(), digits.end());
}

Units name(Chance& chance) {
  static const std::vector<Units> names = {u"Kestrel 40",   u"Line 3", u"\xE9t\xE9",
                                           u"\xD83D\xDE00", u"",       u"a&amp;b"};
  return chance.Of(names);
}

Units wellFormedContext(Chance& chance) {
  Units text = u"<Context HolderType=\"Model\" HolderName=\"" + name(chance) + u"\"";
  text += chance.OneIn(3) ? u" DescId=\"d\">" : u">";
  for (int count = chance.Between(0, 3); count > 0; --count) {
    text += u"<InheritedEff Domain=\"Variant\" FilterableId=\"" + number(chance) + u"\" HolderName=\"" +
            name(chance) + u"\"/>";
  }
  for (int count = chance.Between(0, 3); count > 0; --count) {
    text += u"<Change Name=\"" + name(chance) + u"\" OperationHandlerId=\"" + number(chance) + u"\"/>";
  }
  return text + u"<And DescId=\"e\"><Feature Name=\"F\"/></And></Context>";
}

Units wellFormed(Chance& chance) {
  Units text = u"<EffectivityExpression>\n";
  if (chance.OneIn(2)) {
    text += u"<Description><Summary>s</Summary><Label Id=\"d\">" + name(chance) + u"</Label></Description>";
  }
  for (int count = chance.Between(0, 4); count > 0; --count) {
    text += wellFormedContext(chance) + (chance.OneIn(2) ? u"\n  " : u"");
  }
  text += u"</EffectivityExpression>";
  if (chance.OneIn(3)) {
    for (char16_t& unit : text) {
      unit = unit == u'"' ? u'\'' : unit;
    }
  }
  return text;
}

void mutate(Chance& chance, Units& text) {
  const std::size_t at = chance.Below(text.size() + 1);
  const std::size_t length = chance.Below(20);
  switch (chance.Below(5)) {
  case 0:
    text.erase(at, length);
    break;
  case 1:
    text.insert(at, text.substr(chance.Below(text.size() + 1), length));
    break;
  case 2:
    text.insert(at, chance.Of(tokens()));
    break;
  case 3:
    if (at < text.size()) {
      text[at] = chance.OneIn(2) ? u'"' : u'\'';
    }
    break;
  default:
    text.resize(text.size() - std::min(text.size(), length));
  }
}

Units mutated(Chance& chance) {
  Units text = wellFormed(chance);
  for (int count = chance.Between(1, 8); count > 0; --count) {
    mutate(chance, text);
  }
  return text;
}

Units generated(Chance& chance, std::size_t input) {
  using Generator = Units (*)(Chance&);
  static constexpr Generator generators[] = {soup,       denseSoup, nestedIdentifiers,
                                             wellFormed, mutated,   mutated};
  return generators[input % std::size(generators)](chance);
}

// ---- comparison --------------------------------------------------------------------------------

std::string shownText(const ZEPUnicodeString& text) {
  return ::testing::PrintToString(
      Units(text.CastToUnitPtr(), static_cast<std::size_t>(text.GetLengthInChar())));
}

// What the inputs were good for, all of them together.
struct Coverage {
  int contexts = 0;
  int jumpsBack = 0;
  int jumpsBackThatEnd = 0;
  int endlessWalks = 0;
  int joinedNames = 0;
  int failures = 0;
  int cleaned = 0;
};

class TextOracleTest : public XMLExpressionTest {
protected:
  // Runs the operation, and compares its records with the oracle's: without the trace those are errors.
  template <class Operation>
  static void ExpectRecords(const oracle::Run& expected, bool traced, Operation operation) {
    script().clearLog();
    if (traced) {
      script().traceOn();
    }
    EXPECT_EQ(operation(), expected.result);
    script().traceOff();
    std::vector<std::string> records;
    for (const TraceRecord& record : script().records()) {
      if (record.level == 0) {
        records.push_back(record.text);
      }
    }
    EXPECT_EQ(records, expected.records);
  }

  void CompareSplit(const ZEPUnicodeString& text, bool traced) {
    ZEPListValZEPCfgContextExpression expected;
    const oracle::Run run = oracle::splitByContext(text, expected, traced);
    ZEPListValZEPCfgContextExpression contexts;
    ExpectRecords(run, traced, [&] { return ZEPCfgXMLExpressionServices::SplitByContext(text, contexts); });
    EXPECT_TRUE(oracle::equal(contexts, expected))
        << ::testing::PrintToString(valuesOf(contexts)) << "\nshould be\n"
        << ::testing::PrintToString(valuesOf(expected));
    m_coverage.contexts += expected.Size();
    m_coverage.jumpsBack += run.jumpsBack;
    m_coverage.jumpsBackThatEnd += run.jumpsBack > 0 && run.endlessWalks == 0 ? 1 : 0;
    m_coverage.endlessWalks += run.endlessWalks;
  }

  void CompareRemoval(const ZEPUnicodeString& text, bool traced) {
    ZEPUnicodeString expected;
    const oracle::Run run = oracle::removeDescription(text, expected, traced);
    ZEPUnicodeString cleaned = "as it was";
    ExpectRecords(run, traced, [&] { return ZEPCfgXMLExpressionServices::RemoveDescription(text, cleaned); });
    EXPECT_TRUE(cleaned == expected) << shownText(cleaned) << "\nshould be\n" << shownText(expected);
    m_coverage.joinedNames += run.joinedNames;
    m_coverage.failures += run.result < 0 ? 1 : 0;
    m_coverage.cleaned += expected.GetLengthInChar() > 0 && !(expected == text) ? 1 : 0;
  }

  void CompareGenerated(std::uint64_t seed) {
    Chance chance(seed);
    for (std::size_t input = 0; input < inputsPerTest && !HasFailure(); ++input) {
      const Units units = generated(chance, input);
      const ZEPUnicodeString text(units.data(), units.size());
      const bool traced = input % tracedEvery == chance.Below(tracedEvery);
      CompareSplit(text, traced);
      CompareRemoval(text, traced);
      if (HasFailure()) {
        ADD_FAILURE() << "input " << input << ": " << shownText(text);
      }
    }
    ExpectAllKindsOccurred();
  }

  // Inputs that never reach a case would compare nothing there.
  void ExpectAllKindsOccurred() const {
    EXPECT_GT(m_coverage.contexts, 10000);
    EXPECT_GT(m_coverage.jumpsBack, 100);
    EXPECT_GT(m_coverage.jumpsBackThatEnd, 0);
    EXPECT_GT(m_coverage.endlessWalks, 1000);
    EXPECT_GT(m_coverage.joinedNames, 1000);
    EXPECT_GT(m_coverage.failures, 1000);
    EXPECT_GT(m_coverage.cleaned, 1000);
  }

private:
  Coverage m_coverage;
};

// Four tests, so that they can run side by side.
TEST_F(TextOracleTest, generatedInputs_giveWhatTheOracleGives_firstPart) {
  CompareGenerated(1);
}
TEST_F(TextOracleTest, generatedInputs_giveWhatTheOracleGives_secondPart) {
  CompareGenerated(2);
}
TEST_F(TextOracleTest, generatedInputs_giveWhatTheOracleGives_thirdPart) {
  CompareGenerated(3);
}
TEST_F(TextOracleTest, generatedInputs_giveWhatTheOracleGives_fourthPart) {
  CompareGenerated(4);
}

} // namespace
