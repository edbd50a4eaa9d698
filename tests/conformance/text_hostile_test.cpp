#include "ProcessView.h"
#include "TextOperations.h"

#include <functional>

// Texts made to hurt: the operations come to an end, and take memory in proportion to what they
// read and write. How long they may take is the test runner's limit.

using namespace scripted;

namespace {

constexpr int many = 100000;

ZEPUnicodeString unitsOf(const std::u16string& units) {
  return {units.data(), units.size()};
}

class TextHostileTest : public XMLExpressionTest {
protected:
  static int CountOfContexts(const ZEPUnicodeString& expression) {
    ZEPListValZEPCfgContextExpression contexts;
    EXPECT_EQ(ZEPCfgXMLExpressionServices::SplitByContext(expression, contexts), S_OK);
    return contexts.Size();
  }

  static long ResultOfRemoval(const ZEPUnicodeString& expression, ZEPUnicodeString& cleaned) {
    return ZEPCfgXMLExpressionServices::RemoveDescription(expression, cleaned);
  }
};

TEST_F(TextHostileTest, tenMegabytesOfStarts_giveNoContext) {
  const ZEPUnicodeString text = textOf(repeated(10 * 1000 * 1000 / 8, "<Context"));
  EXPECT_EQ(CountOfContexts(text), 0);
  ZEPUnicodeString cleaned;
  EXPECT_EQ(ResultOfRemoval(text, cleaned), E_FAIL);
}

TEST_F(TextHostileTest, tenMegabytesOfStarts_withOneEnd_giveOneContext) {
  const ZEPUnicodeString text = textOf(repeated(10 * 1000 * 1000 / 8, "<Context") + "</Context>");
  EXPECT_EQ(CountOfContexts(text), 1);
}

TEST_F(TextHostileTest, manyEnds_giveAsManySmallContexts) {
  EXPECT_EQ(CountOfContexts(textOf("<Context" + repeated(1000, "</Context>"))), 333);
}

TEST_F(TextHostileTest, manyQuotes_areNoNames) {
  for (const char* quote : {"\"", "'"}) {
    const std::string quotes = repeated(many, quote);
    EXPECT_EQ(CountOfContexts(textOf("<Context" + quotes + "</Context>")), 1);
    EXPECT_EQ(removeDescription(quotes), (Outcome{S_OK, quotes}));
    EXPECT_EQ(removeDescription(quotes + "DescId" + quotes), (Outcome{S_OK, repeated(2 * many - 2, quote)}));
  }
}

TEST_F(TextHostileTest, manyInheritedEffectivitiesWithoutAttributes_areWalkedOnce) {
  struct Row {
    int line;
    std::string head;
    std::string entry;
    std::string tail;
    int entries; // found
  };
  const Row rows[] = {
      Row{__LINE__, "<Context>", "<InheritedEff/>", "", 1},
      Row{__LINE__, "<Context HolderName=\"A\">", "<InheritedEff/>", "", 1},
      Row{__LINE__, "<Context>", "<InheritedEff/>", "<y FilterableId=\"1\" HolderName=\"H\"/>", 1},
      Row{__LINE__, "<Context HolderName=\"A\">", "<InheritedEff \"\" HolderName=\"\"/>", "", many},
      Row{__LINE__, "<Context HolderName=\"A\">", "<InheritedEff \"\" HolderName=\"\"/>",
          "FilterableId=\"1\"", many},
      Row{__LINE__, "<Context HolderName=\"A\">", "<InheritedEff \"\" HolderName=\"\"/>", "<InheritedEff/>",
          many + 1},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE("row at line " + std::to_string(row.line));
    ZEPListValZEPCfgContextExpression contexts;
    const std::string text = row.head + repeated(many, row.entry) + row.tail + "</Context>";
    EXPECT_EQ(ZEPCfgXMLExpressionServices::SplitByContext(textOf(text), contexts), S_OK);
    ASSERT_EQ(contexts.Size(), 1);
    EXPECT_EQ(contexts[1].m_inheritedEffIds.Size(), row.entries);
    EXPECT_EQ(contexts[1].m_holderNames.Size(), row.entries);
  }
}

TEST_F(TextHostileTest, manyChangesWithoutValues_areWalkedOnce) {
  struct Row {
    int line;
    std::string change;
    std::string tail;
    int changes;
  };
  const Row rows[] = {
      Row{__LINE__, "OperationHandlerId", "", 1},
      Row{__LINE__, "OperationHandlerId\"\"", "", many},
      Row{__LINE__, "OperationHandlerId\"\"", "OperationHandlerId", many + 1},
      Row{__LINE__, "OperationHandlerId\"", "", many / 2},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE("row at line " + std::to_string(row.line));
    ZEPListValZEPCfgContextExpression contexts;
    const std::string text =
        "<Context HolderName=\"A\">" + repeated(many, row.change) + row.tail + "</Context>";
    EXPECT_EQ(ZEPCfgXMLExpressionServices::SplitByContext(textOf(text), contexts), S_OK);
    ASSERT_EQ(contexts.Size(), 1);
    EXPECT_EQ(contexts[1].m_operationHandlerIds.Size(), row.changes);
  }
}

TEST_F(TextHostileTest, manyIdentifiers_areAllCut) {
  EXPECT_EQ(removeDescription("<X" + repeated(many, " DescId=\"1\"") + "/>"),
            (Outcome{S_OK, "<X" + repeated(many, " ") + "/>"}));
  // each cut joins the next name
  EXPECT_EQ(removeDescription(repeated(many, "Desc") + "DescId=\"\"" + repeated(many, "Id=\"\"")),
            (Outcome{S_OK, ""}));
}

TEST_F(TextHostileTest, identifiersAlone_fail) {
  const std::string names = repeated(many, "DescId");
  EXPECT_EQ(removeDescription(names), (Outcome{E_FAIL, ""}));
  EXPECT_EQ(removeDescription(names + "\""), (Outcome{E_FAIL, ""}));
  EXPECT_EQ(removeDescription(names + "\"\""), (Outcome{S_OK, ""}));
  EXPECT_EQ(removeDescription("\"\"" + names), (Outcome{E_FAIL, ""}));
  EXPECT_EQ(CountOfContexts(textOf(names)), 0);
}

TEST_F(TextHostileTest, manyDescriptions_loseTheFirst) {
  const std::string element = "<Description>t</Description>";
  EXPECT_EQ(removeDescription("\"" + repeated(many, element)),
            (Outcome{S_OK, "\"" + repeated(many - 1, element)}));
  EXPECT_EQ(removeDescription("\"" + repeated(many, "<Description>")), (Outcome{E_FAIL, ""}));
}

TEST_F(TextHostileTest, anyCodeUnit_isKeptAsItIs) {
  const std::u16string strange = {u'\0', 0xD800, 0xDC00, 0xDC00, 0xD800, 0xFFFE, 0xFFFF, 0x1, 0xD83D};
  const std::u16string context = u"<Context HolderName=\"" + strange + u"\">" + strange + u"</Context>";
  ZEPListValZEPCfgContextExpression contexts;
  EXPECT_EQ(ZEPCfgXMLExpressionServices::SplitByContext(unitsOf(strange + context + strange), contexts),
            S_OK);
  ASSERT_EQ(contexts.Size(), 1);
  EXPECT_TRUE(contexts[1].m_contextName == unitsOf(strange));
  EXPECT_TRUE(contexts[1].m_contextExpression == unitsOf(strange + context + strange));
  ZEPUnicodeString cleaned;
  EXPECT_EQ(ResultOfRemoval(unitsOf(strange + u"<X DescId=\"" + strange + u"\"/>" + strange), cleaned), S_OK);
  EXPECT_TRUE(cleaned == unitsOf(strange + u"<X />" + strange));
}

TEST_F(TextHostileTest, patternsWithANulInside_areNoMatch) {
  const std::string nul(1, '\0');
  EXPECT_EQ(split("<Con" + nul + "text HolderName=\"A\"></Context>"), std::vector<SplitContext>{});
  EXPECT_EQ(removeDescription("<X Desc" + nul + "Id=\"1\"/>"),
            (Outcome{S_OK, "<X Desc" + nul + "Id=\"1\"/>"}));
  EXPECT_EQ(removeDescription(nul), (Outcome{E_FAIL, ""}));
}

// ---- memory ------------------------------------------------------------------------------------

// The most memory in use at a call, above what was in use before. The platform is asked about the
// trace at each step, which is where it is measured.
std::size_t mostMemoryOf(const std::function<void()>& operation) {
  const std::size_t before = memoryInUse();
  std::size_t most = before;
  script().traceWhen([&most](int query) {
    if (query % 1000 < 20) {
      most = std::max(most, memoryInUse());
    }
    return false;
  });
  operation();
  script().traceOff();
  return most - before;
}

TEST_F(TextHostileTest, memoryOfASplit_isASmallMultipleOfItsOutput) {
#ifdef SCRIPTED_UNDER_ASAN
  GTEST_SKIP() << "the sanitizer's allocator does not tell";
#endif
  const ZEPUnicodeString text = textOf(
      "<Context HolderName=\"A\">" + repeated(many, "<InheritedEff  \"\" HolderName=\"\"/>") + "</Context>");
  ZEPListValZEPCfgContextExpression contexts;
  const std::size_t most = mostMemoryOf([&] { ZEPCfgXMLExpressionServices::SplitByContext(text, contexts); });
  ASSERT_EQ(contexts.Size(), 1);
  // The text, and a number and a name for each entry.
  const std::size_t output = static_cast<std::size_t>(text.GetLengthInChar()) * sizeof(char16_t) +
                             many * (sizeof(int) + sizeof(ZEPUnicodeString));
  EXPECT_GT(most, output / 2);
  EXPECT_LT(most, 6 * output);
}

TEST_F(TextHostileTest, memoryOfARemoval_isASmallMultipleOfTheText) {
#ifdef SCRIPTED_UNDER_ASAN
  GTEST_SKIP() << "the sanitizer's allocator does not tell";
#endif
  const ZEPUnicodeString text = textOf("<X" + repeated(many, " DescId=\"1\"") + "/>");
  ZEPUnicodeString cleaned;
  const std::size_t most = mostMemoryOf([&] { ResultOfRemoval(text, cleaned); });
  const std::size_t input = static_cast<std::size_t>(text.GetLengthInChar()) * sizeof(char16_t);
  const std::size_t output = static_cast<std::size_t>(cleaned.GetLengthInChar()) * sizeof(char16_t);
  EXPECT_GT(most, output / 2);
  EXPECT_LT(most, 4 * input);
}

} // namespace
