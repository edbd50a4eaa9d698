#include "support/FilterTest.h"

#include <algorithm>
#include <array>
#include <bitset>
#include <random>

// Small random expressions over a world that is small enough to look at each of its configurations.

namespace {

using namespace filter;

// ---- the world ---------------------------------------------------------------------------------

const std::vector<std::string> kHolders{"Model A", "Model B", "(other)"};
const std::vector<std::string> kEngines{"V6", "V8", "electric", "(other)"};
const std::vector<std::string> kSeats{"5", "7", "(other)"};
const std::vector<std::string> kInherited{"holds", "(other)"};
// Bounds lie between the second and the last but one: the outer ones stand for all that lies beyond.
const std::vector<std::string> kUnits{"1", "2", "3", "4", "5", "6", "7"};
const std::vector<std::string> kDays{"2025-02-27", "2025-02-28", "2025-03-01", "2025-03-02", "2025-03-03"};

enum Dimension { Holder, Engine, Seats, Inherited, Unit, Day, Dimensions };
const std::array<const std::vector<std::string>*, Dimensions> kWorld{&kHolders,   &kEngines, &kSeats,
                                                                     &kInherited, &kUnits,   &kDays};
constexpr std::size_t kConfigurations = std::size_t{3} * 4 * 3 * 2 * 7 * 5;
using Selection = std::bitset<kConfigurations>;

std::size_t ValueOf(std::size_t configuration, Dimension dimension) {
  for (int before = 0; before < dimension; ++before) {
    configuration /= kWorld[static_cast<std::size_t>(before)]->size();
  }
  return configuration % kWorld[dimension]->size();
}

std::size_t ConfigurationOf(const std::array<std::size_t, Dimensions>& values) {
  std::size_t configuration = 0;
  for (std::size_t dimension = Dimensions; dimension-- > 0;) {
    configuration = configuration * kWorld[dimension]->size() + values[dimension];
  }
  return configuration;
}

template <class IsSelected>
Selection Selected(Dimension dimension, const IsSelected& isSelected) {
  Selection selection;
  for (std::size_t configuration = 0; configuration < kConfigurations; ++configuration) {
    selection[configuration] = isSelected(ValueOf(configuration, dimension));
  }
  return selection;
}

// ---- random expressions ------------------------------------------------------------------------

struct Sample {
  std::string xml;
  Selection selection;
};

class Generator {
public:
  explicit Generator(unsigned seed) : m_random(seed) {}

  std::size_t Below(std::size_t bound) {
    return std::uniform_int_distribution<std::size_t>(0, bound - 1)(m_random);
  }

  Sample Expression() {
    if (Below(3) != 0) {
      return Condition(3);
    }
    Sample contexts;
    for (std::size_t count = 1 + Below(3); count > 0; --count) {
      const Sample context = Context();
      contexts.xml += context.xml;
      contexts.selection |= context.selection;
    }
    return contexts;
  }

  Sample Condition(int depth) {
    const std::size_t kind = depth == 0 ? 3 + Below(6) : Below(9);
    switch (kind) {
    case 0:
      return Combination("And", depth);
    case 1:
      return Combination("Or", depth);
    case 2:
      return Negation(depth);
    case 3:
      return Below(6) == 0 ? Boolean() : Feature("Seats", Seats);
    case 4:
      return Range("DateRange", Day);
    case 5:
    case 6:
      return Range("UnitRange", Unit);
    default:
      return Feature("Engine", Engine);
    }
  }

private:
  Sample Combination(const std::string& name, int depth) {
    Sample all = Condition(depth - 1);
    for (std::size_t count = Below(3); count > 0; --count) {
      const Sample part = Condition(depth - 1);
      all.xml += part.xml;
      all.selection = name == "And" ? all.selection & part.selection : all.selection | part.selection;
    }
    all.xml = "<" + name + ">" + all.xml + "</" + name + ">";
    return all;
  }

  Sample Negation(int depth) {
    const Sample part = Condition(depth - 1);
    return {"<Not>" + part.xml + "</Not>", ~part.selection};
  }

  Sample Boolean() {
    const bool isTrue = Below(2) == 0;
    return {isTrue ? "<Boolean>true</Boolean>" : "<Boolean>false</Boolean>",
            isTrue ? ~Selection() : Selection()};
  }

  Sample Feature(const std::string& name, Dimension dimension) {
    const std::vector<std::string>& values = *kWorld[dimension];
    Sample feature{"<Feature Name='" + name + "'>", {}};
    for (std::size_t count = 1 + Below(2); count > 0; --count) {
      const std::size_t chosen = Below(values.size() - 1);
      feature.xml += "<Value Name='" + values[chosen] + "'/>";
      feature.selection |= Selected(dimension, [chosen](std::size_t value) { return value == chosen; });
    }
    feature.xml += "</Feature>";
    return feature;
  }

  Sample Range(const std::string& name, Dimension dimension) {
    const std::vector<std::string>& values = *kWorld[dimension];
    const std::size_t from = 1 + Below(values.size() - 2);
    const std::size_t to = from + Below(values.size() - 1 - from);
    const std::size_t shape = Below(4); // neither bound, one of them, both
    const bool hasFrom = (shape & 1) != 0;
    const bool hasTo = (shape & 2) != 0;
    return {"<" + name + (hasFrom ? " From='" + values[from] + "'" : "") +
                (hasTo ? " To='" + values[to] + "'" : "") + "/>",
            Selected(dimension, [=](std::size_t value) {
              return (!hasFrom || value >= from) && (!hasTo || value <= to);
            })};
  }

  Sample Context() {
    const std::size_t holder = Below(2);
    Sample context{"", Selected(Holder, [holder](std::size_t value) { return value == holder; })};
    if (Below(3) == 0) {
      context.xml += "<InheritedEff Domain='Variant' FilterableId='12' HolderName='Family'/>";
      context.selection &= Selected(Inherited, [](std::size_t value) { return value == 0; });
    }
    if (Below(3) == 0) {
      context.xml += "<Change Name='CHG' OperationHandlerId='7'/>";
    }
    if (Below(5) != 0) {
      const Sample condition = Condition(2);
      context.xml += condition.xml;
      context.selection &= condition.selection;
    }
    context.xml = "<Context HolderType='Model' HolderName='" + kHolders[holder].substr(6) + "'>" +
                  context.xml + "</Context>";
    return context;
  }

  std::mt19937 m_random;
};

// ---- counterexamples ---------------------------------------------------------------------------

Dimension DimensionOf(const zep::ConfigurationValue& value) {
  switch (value.kind) {
  case zep::FilterVariableKind::Holder:
    return Holder;
  case zep::FilterVariableKind::Inherited:
    return Inherited;
  case zep::FilterVariableKind::Date:
    return Day;
  case zep::FilterVariableKind::Unit:
    return Unit;
  case zep::FilterVariableKind::Feature:
    break;
  }
  return value.variable == "Engine" ? Engine : Seats;
}

// Its place in the world: what is not known there is the last value, and a day before all others the first.
std::size_t PlaceOf(const zep::ConfigurationValue& value) {
  const Dimension dimension = DimensionOf(value);
  const std::vector<std::string>& values = *kWorld[dimension];
  if (!value.value || (dimension == Day && *value.value > values.back())) {
    return values.size() - 1;
  }
  const auto place = std::find(values.begin(), values.end(), *value.value);
  if (place == values.end()) {
    EXPECT_EQ(dimension, Day) << *value.value << " is no value of the world";
    return 0;
  }
  return static_cast<std::size_t>(place - values.begin());
}

std::size_t ConfigurationOf(const zep::Configuration& configuration) {
  std::array<std::size_t, Dimensions> values{};
  for (const zep::ConfigurationValue& value : configuration) {
    values[DimensionOf(value)] = PlaceOf(value);
  }
  return ConfigurationOf(values);
}

int included = 0;
int notIncluded = 0;

void ExpectAgreement(const Sample& a, const Sample& b) {
  SCOPED_TRACE("A: " + a.xml + "\nB: " + b.xml);
  const ZEPBinary compiledA = Binary(a.xml);
  const ZEPBinary compiledB = Binary(b.xml);
  const bool isIncluded = (a.selection & ~b.selection).none();
  EXPECT_EQ(IsIncluded(compiledA, compiledB), isIncluded);
  ++(isIncluded ? included : notIncluded);
  std::optional<zep::Configuration> counterexample;
  EXPECT_EQ(zep::FindCounterexample(compiledB, compiledA, counterexample), S_OK);
  ASSERT_NE(counterexample.has_value(), isIncluded);
  if (counterexample) {
    const std::size_t configuration = ConfigurationOf(*counterexample);
    EXPECT_TRUE(a.selection[configuration]) << "the counterexample is not in A";
    EXPECT_FALSE(b.selection[configuration]) << "the counterexample is in B";
  }
}

class FilterProperty : public testing::Test {
protected:
  void SetUp() override { included = notIncluded = 0; }

  // Both answers have to come up often, or nothing is shown.
  static void ExpectBothAnswers(int atLeast) {
    EXPECT_GE(included, atLeast);
    EXPECT_GE(notIncluded, atLeast);
  }
};

TEST_F(FilterProperty, randomPairs_agreeWithBruteForce) {
  Generator generator(1);
  for (int i = 0; i < 4000 && !HasFailure(); ++i) {
    const Sample a = generator.Expression();
    const Sample b = generator.Expression();
    ExpectAgreement(a, b);
  }
  ExpectBothAnswers(400);
}

// Covers of A by many parts, each of which alone does not include it.
TEST_F(FilterProperty, coversOfSeveralParts_agreeWithBruteForce) {
  Generator generator(2);
  for (int i = 0; i < 2000 && !HasFailure(); ++i) {
    const Sample a = generator.Condition(2);
    Sample b{"", {}};
    for (std::size_t count = 2 + generator.Below(4); count > 0; --count) {
      const Sample part = generator.Condition(2);
      const Sample rest = generator.Condition(0);
      b.xml += "<And>" + part.xml + rest.xml + "</And><And>" + a.xml + "<Not>" + rest.xml + "</Not></And>";
      b.selection |= (part.selection & rest.selection) | (a.selection & ~rest.selection);
    }
    b.xml = "<Or>" + b.xml + "</Or>";
    ExpectAgreement(a, b);
  }
  ExpectBothAnswers(200);
}

// The same set said in other words.
TEST_F(FilterProperty, rewrittenExpressions_includeEachOther) {
  Generator generator(3);
  for (int i = 0; i < 500 && !HasFailure(); ++i) {
    const Sample a = generator.Condition(2);
    const Sample split = generator.Condition(1);
    const std::string rewritten = "<Or><And>" + a.xml + split.xml + "</And><Not><Or><Not>" + a.xml +
                                  "</Not>" + split.xml + "</Or></Not></Or>";
    SCOPED_TRACE(a.xml + "\n" + rewritten);
    EXPECT_EQ(IsIncluded(Binary(a.xml), Binary(rewritten)), true);
    EXPECT_EQ(IsIncluded(Binary(rewritten), Binary(a.xml)), true);
    EXPECT_EQ(IsIncluded(Binary(a.xml), Binary("<Not>" + rewritten + "</Not>")), a.selection.none());
  }
}

} // namespace
