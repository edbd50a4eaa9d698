#include "AllocationWatch.h"
#include "ConformanceTest.h"
#include "ZEPCfgContextExpression.h"
#include "ZEPListValZEPCfgContextExpression.h"

#include <memory>
#include <new>
#include <string>
#include <type_traits>

using Context = ZEPCfgContextExpression;
using ContextList = ZEPListValZEPCfgContextExpression;
using namespace scripted;

namespace {

template <class Type>
concept IsEqualityComparable = requires(const Type& value) {
  value == value;
};
static_assert(!IsEqualityComparable<Context>);
static_assert(std::has_virtual_destructor_v<Context>);
static_assert(!std::is_polymorphic_v<ContextList>);
static_assert(std::is_same_v<int, decltype(std::declval<Context>() != std::declval<Context>())>);
static_assert(std::is_same_v<int, decltype(std::declval<ContextList>() == std::declval<ContextList>())>);
static_assert(std::is_same_v<int, decltype(std::declval<ContextList>() != std::declval<ContextList>())>);

// A text that does not fit into a string object itself.
std::string longText(const std::string& head) {
  return head + std::string(100, '.');
}

void fill(Context& context, const std::string& name, int number) {
  context.m_contextName = longText(name).c_str();
  context.m_contextExpression = longText("<" + name + ">").c_str();
  context.m_inheritedEffIds.Append(number);
  context.m_inheritedEffIds.Append(number + 1);
  context.m_holderNames.Append(longText("holder of " + name).c_str());
  context.m_operationHandlerIds.Append(number + 2);
}

Context contextNamed(const std::string& name, int number = 1) {
  Context context;
  fill(context, name, number);
  return context;
}

std::string numbersOf(const ZEPRawCollint& numbers) {
  std::string text;
  for (int i = 1; i <= numbers.Size(); ++i) {
    text += (i == 1 ? "" : " ") + std::to_string(numbers[i]);
  }
  return "(" + text + ")";
}

std::string described(const Context& context) {
  std::string names;
  for (int i = 1; i <= context.m_holderNames.Size(); ++i) {
    names += std::string(i == 1 ? "" : " ") + context.m_holderNames[i].ConvertToChar();
  }
  return std::string(context.m_contextName.ConvertToChar()) + "|" +
         context.m_contextExpression.ConvertToChar() + "|" + numbersOf(context.m_inheritedEffIds) + "|" +
         names + "|" + numbersOf(context.m_operationHandlerIds);
}

std::string described(const ContextList& list) {
  std::string text;
  for (int i = 1; i <= list.Size(); ++i) {
    text += described(list[i]) + "\n";
  }
  return text;
}

const char nothing[] = "||()||()";

void appendNamed(ContextList& list, std::initializer_list<const char*> names) {
  for (const char* name : names) {
    list.Append(contextNamed(name));
  }
}

std::vector<const void*> elementsOf(const ContextList& list) {
  std::vector<const void*> elements;
  for (int i = 1; i <= list.Size(); ++i) {
    elements.push_back(&list[i]);
  }
  return elements;
}

class ContextExpressionTest : public ConformanceTest {
protected:
  void SetUp() override {
    ConformanceTest::SetUp();
    script().traceOn();
    { SCOPED_TRACE("the first one allocates what stays"); }
    m_aliveAtStart = allocations::alive();
  }
  void TearDown() override {
    if (allocations::areSeen) {
      EXPECT_EQ(allocations::alive(), m_aliveAtStart);
    }
    EXPECT_EQ(script().log(), "") << "these classes write no trace";
    EXPECT_EQ(script().activatedQueries(), 0);
    ConformanceTest::TearDown();
  }

private:
  long m_aliveAtStart = 0;
};

// ---- the element -------------------------------------------------------------------------------

TEST_F(ContextExpressionTest, members_standInTheirOrder) {
  const Context context;
  const void* const members[] = {&context.m_contextName, &context.m_contextExpression,
                                 &context.m_inheritedEffIds, &context.m_holderNames,
                                 &context.m_operationHandlerIds};
  for (std::size_t i = 1; i < std::size(members); ++i) {
    EXPECT_LT(members[i - 1], members[i]);
  }
}

TEST_F(ContextExpressionTest, newOne_isEmpty) {
  EXPECT_EQ(described(Context()), nothing);
}

TEST_F(ContextExpressionTest, constructorWithFiveArguments_ignoresThem) {
  ZEPRawCollint numbers;
  numbers.Append(7);
  ZEPListValZEPUnicodeString names;
  names.Append("holder");
  EXPECT_EQ(described(Context("name", "<expression/>", numbers, names, numbers)), nothing);
}

TEST_F(ContextExpressionTest, copy_isIndependent) {
  Context context = contextNamed("A");
  const std::string before = described(context);
  const Context copy(context);
  fill(context, "B", 5);
  EXPECT_EQ(described(copy), before);
  EXPECT_NE(described(context), before);
}

TEST_F(ContextExpressionTest, assignment_takesAllMembers) {
  Context context = contextNamed("A", 1);
  const Context other = contextNamed("B", 10);
  EXPECT_EQ(&(context = other), &context);
  EXPECT_EQ(described(context), described(other));
  context = Context();
  EXPECT_EQ(described(context), nothing);
}

TEST_F(ContextExpressionTest, assignmentToItself_doesNothing) {
  Context context = contextNamed("A");
  const std::string before = described(context);
  const char16_t* const units = context.m_contextName.CastToUnitPtr();
  context = *&context;
  EXPECT_EQ(described(context), before);
  EXPECT_EQ(context.m_contextName.CastToUnitPtr(), units);
}

TEST_F(ContextExpressionTest, elements_neverCompareAsDifferent) {
  const Context context = contextNamed("A");
  EXPECT_EQ(context != contextNamed("B", 9), 0);
  EXPECT_EQ(context != Context(), 0);
  EXPECT_EQ(context != context, 0);
}

// ---- the list ----------------------------------------------------------------------------------

TEST_F(ContextExpressionTest, newList_isEmpty_whateverItsInitialSize) {
  EXPECT_EQ(ContextList().Size(), 0);
  for (const int size : {0, 1, 100, -1}) {
    EXPECT_EQ(ContextList(size).Size(), 0);
    EXPECT_EQ(ContextList(size, 7).Size(), 0);
    EXPECT_EQ(ContextList(size, -7).Size(), 0);
  }
}

TEST_F(ContextExpressionTest, listWithAnInitialSize_takesElementsBehindOneAnother) {
  ContextList list(5, 3);
  appendNamed(list, {"A", "B"});
  EXPECT_EQ(list.Size(), 2);
  EXPECT_EQ(described(list), described(contextNamed("A")) + "\n" + described(contextNamed("B")) + "\n");
}

TEST_F(ContextExpressionTest, append_storesACopy) {
  ContextList list;
  Context context = contextNamed("A");
  const std::string before = described(context);
  list.Append(context);
  fill(context, "changed", 3);
  EXPECT_EQ(described(list[1]), before);
  EXPECT_NE(&list[1], &context);
}

TEST_F(ContextExpressionTest, append_takesAnElementOfTheListItself) {
  ContextList list;
  list.Append(contextNamed("A"));
  for (int i = 0; i < 40; ++i) {
    list.Append(list[list.Size()]);
  }
  EXPECT_EQ(list.Size(), 41);
  for (int i = 1; i <= list.Size(); ++i) {
    EXPECT_EQ(described(list[i]), described(contextNamed("A")));
  }
}

TEST_F(ContextExpressionTest, elementReferences_outliveFurtherAppends) {
  ContextList list;
  list.Append(contextNamed("A"));
  Context& first = list[1];
  appendNamed(list, {"B", "C", "D", "E", "F", "G", "H", "I", "J"});
  EXPECT_EQ(&first, &list[1]);
  fill(first, "changed", 2);
  const ContextList& constant = list;
  EXPECT_EQ(&constant[1], &first);
  EXPECT_EQ(described(constant[1]), described(first));
}

TEST_F(ContextExpressionTest, copyOfAList_hasCopiesOfItsElements) {
  ContextList list;
  appendNamed(list, {"A", "B", "C"});
  const std::string before = described(list);
  const ContextList copy(list);
  for (int i = 1; i <= 3; ++i) {
    EXPECT_NE(&copy[i], &list[i]);
  }
  fill(list[2], "changed", 2);
  list.RemoveAll(ZEPCollec::ReleaseMemory);
  EXPECT_EQ(described(copy), before);
  EXPECT_EQ(ContextList(ContextList()).Size(), 0);
}

TEST_F(ContextExpressionTest, assignmentOfAList_replacesTheElements) {
  ContextList list;
  appendNamed(list, {"A", "B", "C"});
  ContextList other;
  appendNamed(other, {"D"});
  EXPECT_EQ(&(list = other), &list);
  EXPECT_EQ(described(list), described(contextNamed("D")) + "\n");
  EXPECT_NE(&list[1], &other[1]);
  list = ContextList();
  EXPECT_EQ(list.Size(), 0);
  appendNamed(other, {"E", "F"});
  list = other;
  EXPECT_EQ(described(list), described(other));
}

TEST_F(ContextExpressionTest, assignmentOfAListToItself_leavesItsElements) {
  ContextList list;
  appendNamed(list, {"A", "B"});
  const std::vector<const void*> elements = elementsOf(list);
  const std::string before = described(list);
  list = *&list;
  EXPECT_EQ(elementsOf(list), elements);
  EXPECT_EQ(described(list), before);
}

TEST_F(ContextExpressionTest, elements_areDeletedFromLastToFirst) {
  ZEP_SKIP_UNLESS_ALLOCATIONS_ARE_SEEN()
  struct Row {
    int line;
    void (*removeAll)(std::unique_ptr<ContextList>& list);
  };
  const Row rows[] = {
      Row{__LINE__, [](std::unique_ptr<ContextList>& list) { list.reset(); }},
      Row{__LINE__, [](std::unique_ptr<ContextList>& list) { list->RemoveAll(ZEPCollec::KeepMemory); }},
      Row{__LINE__, [](std::unique_ptr<ContextList>& list) { list->RemoveAll(ZEPCollec::ReleaseMemory); }},
      Row{__LINE__, [](std::unique_ptr<ContextList>& list) { *list = ContextList(); }},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE("row at line " + std::to_string(row.line));
    auto list = std::make_unique<ContextList>();
    appendNamed(*list, {"A", "B", "C"});
    const std::vector<const void*> elements = elementsOf(*list);
    const allocations::FreedBlocks freed;
    row.removeAll(list);
    EXPECT_EQ(freed.PlacesOf(elements), (std::vector<int>{2, 1, 0}));
  }
}

TEST_F(ContextExpressionTest, removeAll_emptiesTheList_inEitherMode) {
  for (const auto mode : {ZEPCollec::KeepMemory, ZEPCollec::ReleaseMemory}) {
    ContextList list;
    list.RemoveAll(mode);
    EXPECT_EQ(list.Size(), 0);
    appendNamed(list, {"A", "B"});
    list.RemoveAll(mode);
    EXPECT_EQ(list.Size(), 0);
    appendNamed(list, {"C"});
    EXPECT_EQ(described(list), described(contextNamed("C")) + "\n");
  }
}

TEST_F(ContextExpressionTest, removeAll_leavesItToTheModeWhetherTheStorageIsKept) {
  ZEP_SKIP_UNLESS_ALLOCATIONS_ARE_SEEN()
  const long before = allocations::alive();
  ContextList list;
  appendNamed(list, {"A", "B"});
  list.RemoveAll(ZEPCollec::KeepMemory);
  EXPECT_EQ(allocations::alive(), before + 1);
  list.RemoveAll(ZEPCollec::ReleaseMemory);
  EXPECT_EQ(allocations::alive(), before);
}

TEST_F(ContextExpressionTest, lists_areToldApartBySizeAlone) {
  ContextList one;
  ContextList other;
  EXPECT_EQ(one == other, 1);
  EXPECT_EQ(one != other, 0);
  one.Append(contextNamed("A"));
  EXPECT_EQ(one == other, 0);
  EXPECT_EQ(one != other, 1);
  EXPECT_EQ(other != one, 1);
  other.Append(contextNamed("B", 9));
  EXPECT_EQ(one == other, 1);
  EXPECT_EQ(one != other, 0);
  EXPECT_EQ(one == *&one, 1);
  EXPECT_EQ(one != *&one, 0);
}

// Lets each allocation of an action fail in turn, until none is left that could. `check` looks at what
// a failure left behind.
template <class Action, class Check>
void failEachAllocation(Action action, Check check) {
  int failures = 0;
  for (long nth = 1;; ++nth) {
    SCOPED_TRACE("allocation " + std::to_string(nth));
    const long before = allocations::alive();
    bool failed = false;
    allocations::failAt(nth);
    try {
      action();
    } catch (const std::bad_alloc&) {
      failed = true;
    }
    allocations::failAt(0);
    if (!failed) {
      break;
    }
    ++failures;
    check(allocations::alive() - before);
  }
  EXPECT_GT(failures, 3);
}

TEST_F(ContextExpressionTest, failingAppend_freesTheCopy_andLeavesTheListAsItWas) {
  ZEP_SKIP_UNLESS_ALLOCATIONS_ARE_SEEN()
  ContextList list;
  appendNamed(list, {"A"});
  const std::string before = described(list[1]);
  Context another = contextNamed("B");
  failEachAllocation([&] { list.Append(another); },
                     [&](long more) {
                       EXPECT_EQ(more, 0);
                       EXPECT_EQ(list.Size(), 1);
                     });
  EXPECT_EQ(list.Size(), 2);
  EXPECT_EQ(described(list[1]), before);
}

TEST_F(ContextExpressionTest, failingCopyOfAList_freesTheElementsCopiedSoFar) {
  ZEP_SKIP_UNLESS_ALLOCATIONS_ARE_SEEN()
  ContextList list;
  appendNamed(list, {"A", "B", "C"});
  failEachAllocation([&] { const ContextList copy(list); }, [](long more) { EXPECT_EQ(more, 0); });
}

} // namespace
