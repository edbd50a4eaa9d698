#include "ConformanceTest.h"
#include "ZEPCfgConstantsConversion.h"

#include <limits>

using Conversion = ZEPCfgConstantsConversion;
using namespace scripted;

namespace {

constexpr int lowest = std::numeric_limits<int>::min();
constexpr int highest = std::numeric_limits<int>::max();

struct Row {
  int line;
  int from;
  int to;
};

template <class To, class From>
void expectEach(std::initializer_list<Row> rows, To (*convert)(From)) {
  for (const Row& row : rows) {
    SCOPED_TRACE("row at line " + std::to_string(row.line));
    EXPECT_EQ(static_cast<int>(convert(static_cast<From>(row.from))), row.to);
  }
}

class ConstantsConversionTest : public ConformanceTest {};

TEST_F(ConstantsConversionTest, enumerators_haveTheirNumbers) {
  EXPECT_EQ(ZEPCfgEffectivityViewUnset, 0);
  EXPECT_EQ(ZEPCfgEffectivityViewSource, 1);
  EXPECT_EQ(ZEPCfgEffectivityViewCurrent, 2);
  EXPECT_EQ(ZEPCfgEffectivityViewProjected, 3);
  EXPECT_EQ(PLMCfgExpressionViewSource, 0);
  EXPECT_EQ(PLMCfgExpressionViewCurrent, 1);
  EXPECT_EQ(PLMCfgExpressionViewProjected, 2);
  EXPECT_EQ(PLMCfgExpressionViewUnset, 3);
  EXPECT_EQ(ZEPCfgDiversityDomainUnset, 0);
  EXPECT_EQ(ZEPCfgDiversityDomainDWS, 1);
  EXPECT_EQ(ZEPCfgDiversityDomainConfigChange, 2);
  EXPECT_EQ(ZEPCfgDiversityDomainEngineeringActivation, 3);
  EXPECT_EQ(ZEPCfgDiversityDomainEvolution, 4);
  EXPECT_EQ(ZEPCfgDiversityDomainVariant, 5);
  EXPECT_EQ(PLMCfgDiversityDomainUnset, 0);
  EXPECT_EQ(PLMCfgDiversityDomainDWS, 1);
  EXPECT_EQ(PLMCfgDiversityDomainConfigChange, 2);
  EXPECT_EQ(PLMCfgDiversityDomainEngineeringActivation, 3);
  EXPECT_EQ(PLMCfgDiversityDomainEvolution, 4);
  EXPECT_EQ(PLMCfgDiversityDomainVariant, 5);
}

TEST_F(ConstantsConversionTest, coreView_becomesCallersView_sourceWhenUnknown) {
  expectEach<ZEPCfgEffectivityView, PLMCfgExpressionView>(
      {
          Row{__LINE__, 0, 1},
          Row{__LINE__, 1, 2},
          Row{__LINE__, 2, 3},
          Row{__LINE__, 3, 1},
          Row{__LINE__, 4, 1},
          Row{__LINE__, 7, 1},
          Row{__LINE__, -1, 1},
          Row{__LINE__, lowest, 1},
          Row{__LINE__, highest, 1},
      },
      &Conversion::ApplyingView);
}

TEST_F(ConstantsConversionTest, callersView_becomesCoreView_unsetWhenUnknown) {
  expectEach<PLMCfgExpressionView, ZEPCfgEffectivityView>(
      {
          Row{__LINE__, 1, 0},
          Row{__LINE__, 2, 1},
          Row{__LINE__, 3, 2},
          Row{__LINE__, 0, 3},
          Row{__LINE__, 4, 3},
          Row{__LINE__, -1, 3},
          Row{__LINE__, lowest, 3},
          Row{__LINE__, highest, 3},
      },
      &Conversion::ApplyingView);
}

TEST_F(ConstantsConversionTest, roundTripOfViews_givesKnownOnesBack_andLosesUnset) {
  for (const auto view :
       {ZEPCfgEffectivityViewSource, ZEPCfgEffectivityViewCurrent, ZEPCfgEffectivityViewProjected}) {
    EXPECT_EQ(Conversion::ApplyingView(Conversion::ApplyingView(view)), view);
  }
  for (const auto view :
       {PLMCfgExpressionViewSource, PLMCfgExpressionViewCurrent, PLMCfgExpressionViewProjected}) {
    EXPECT_EQ(Conversion::ApplyingView(Conversion::ApplyingView(view)), view);
  }
  EXPECT_EQ(Conversion::ApplyingView(Conversion::ApplyingView(PLMCfgExpressionViewUnset)),
            PLMCfgExpressionViewSource);
  EXPECT_EQ(Conversion::ApplyingView(Conversion::ApplyingView(ZEPCfgEffectivityViewUnset)),
            ZEPCfgEffectivityViewSource);
}

TEST_F(ConstantsConversionTest, domain_staysTheSame_unsetWhenUnknown) {
  const std::initializer_list<Row> rows = {
      Row{__LINE__, 0, 0},      Row{__LINE__, 1, 1},       Row{__LINE__, 2, 2}, Row{__LINE__, 3, 3},
      Row{__LINE__, 4, 4},      Row{__LINE__, 5, 5},       Row{__LINE__, 6, 0}, Row{__LINE__, -1, 0},
      Row{__LINE__, lowest, 0}, Row{__LINE__, highest, 0},
  };
  expectEach<ZEPCfgDiversityDomain, PLMCfgDiversityDomain>(rows, &Conversion::DiversityDomain);
  expectEach<PLMCfgDiversityDomain, ZEPCfgDiversityDomain>(rows, &Conversion::DiversityDomain);
}

TEST_F(ConstantsConversionTest, conversions_writeNoTrace) {
  script().traceOn();
  Conversion::ApplyingView(PLMCfgExpressionViewUnset);
  Conversion::ApplyingView(ZEPCfgEffectivityViewUnset);
  Conversion::DiversityDomain(PLMCfgDiversityDomainVariant);
  Conversion::DiversityDomain(ZEPCfgDiversityDomainVariant);
  EXPECT_EQ(script().log(), "");
  EXPECT_EQ(script().activatedQueries(), 0);
}

TEST_F(ConstantsConversionTest, objects_canBeAssigned) {
  Conversion one;
  Conversion other;
  one = other;
  one = static_cast<Conversion&&>(other);
  EXPECT_EQ(Conversion::ApplyingView(PLMCfgExpressionViewCurrent), ZEPCfgEffectivityViewCurrent);
}

} // namespace
