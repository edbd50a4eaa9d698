#include "FaultCourses.h"
#include "UTF8Texts.h"
#include "ZEPBinary.h"
#include "ZEPCfgContextExpression.h"
#include "ZEPCfgEffectivityExpressionHandler.h"
#include "ZEPCfgEffectivityExpressionHandlerInternal.h"
#include "ZEPCfgFilterBasicServices.h"
#include "ZEPCfgXMLExpressionServices.h"
#include "ZEPListValZEPCfgContextExpression.h"

// Every call and every allocation of the operations on texts and compiled filters, and of the value
// classes, fails once, and from there on.

using namespace scripted;
using namespace fault;

namespace {

const char before[] = "what the caller's text held before the call";

ZEPBinary binary(const char* text) {
  return {text, std::char_traits<char>::length(text)};
}

// ---- filters ----

Scenario inclusion() {
  Scenario scenario;
  scenario.name = "IsAIncludedInB";
  scenario.prepare = [] {};
  scenario.run = [](Run& run) {
    const ZEPBinary a = binary("the candidate");
    const ZEPBinary b = binary("the reference");
    unsigned char isIncluded = 7;
    run.Returns([&] { return ZEPCfgFilterBasicServices::IsAIncludedInB(a, b, isIncluded); });
    run.Output(std::to_string(isIncluded));
  };
  scenario.course = [](Course& course) {
    std::string included = "7";
    course.Returns([&] { return courseOfInclusion(course, included); });
    course.Output(included);
  };
  return scenario;
}

Scenario alwaysTrue(const char* name, const std::string& holder) {
  Scenario scenario;
  scenario.name = std::string("GenerateFilterExpressionTrue, ") + name;
  scenario.prepare = [] {};
  scenario.run = [holder](Run& run) {
    const ZEPUnicodeString given = textOf(holder);
    ZEPUnicodeString expression = before;
    run.Returns([&] { return ZEPCfgXMLExpressionServices::GenerateFilterExpressionTrue(given, expression); });
    run.Output(utf8Of(expression));
  };
  scenario.course = [holder](Course& course) {
    std::string expression = before;
    course.Returns([&] { return courseOfAlwaysTrue(course, holder, expression); });
    course.Output(expression);
  };
  return scenario;
}

// ---- texts ----

// Two contexts, the second of which has all that can be collected.
const char contexts[] =
    "<Expression with a long beginning><Context HolderName=\"the first holder with a long name\"></Context>"
    "<Context HolderName=\"the second holder with a long name\">"
    "<InheritedEff  FilterableId=\"4711\" HolderName=\"a holder that effectivity is inherited from\"/>"
    "<InheritedEff  FilterableId=\"4712\" HolderName=\"another holder that effectivity is inherited from\"/>"
    "<Change OperationHandlerId=\"815\"/></Context></Expression with a long end>";

const char described[] =
    "<Expression DescId=\"a long identifier of a description\"><Description>a text"
    "</Description><And Id=\"an identifier that stays\" DescId=\"another\"/></Expression>";
const char cleaned[] = "<Expression ><And Id=\"an identifier that stays\" /></Expression>";
const char neverClosed[] = "<Expression DescId=\"a long identifier\" Id=\"another long identifier\"><And "
                           "DescId=\"without an end/></Expression>";

std::string shown(const ZEPCfgContextExpression& context) {
  return utf8Of(context.m_contextName) + "(" + utf8Of(context.m_contextExpression) + " " +
         std::to_string(context.m_inheritedEffIds.Size()) + " " +
         std::to_string(context.m_holderNames.Size()) + " " +
         std::to_string(context.m_operationHandlerIds.Size()) + ")";
}

std::string shown(const ZEPListValZEPCfgContextExpression& list) {
  std::string text;
  for (int i = 1; i <= list.Size(); ++i) {
    text += shown(list[i]);
  }
  return text;
}

ZEPListValZEPCfgContextExpression splitContexts() {
  ZEPListValZEPCfgContextExpression list;
  ZEPCfgXMLExpressionServices::SplitByContext(contexts, list);
  return list;
}

// An operation that calls nothing of the platform. What it gives and traces when nothing fails is
// looked at by other tests; here it is what the operation does with all the memory it needs. When
// it does not get it, the output is one of these.
Scenario recorded(std::string name, std::function<void(Run&)> run, std::vector<std::string> outputsOnTheWay) {
  Scenario scenario;
  scenario.name = std::move(name);
  scenario.prepare = [] {};
  scenario.run = std::move(run);
  scenario.course = [traced = recordingOf(scenario.run, true), untraced = recordingOf(scenario.run, false),
                     outputsOnTheWay = std::move(outputsOnTheWay)](Course& course) {
    course.Repeat(course.IsTraced() ? traced : untraced, outputsOnTheWay);
  };
  scenario.callsNothing = true;
  return scenario;
}

Scenario split() {
  return recorded("SplitByContext",
                  [](Run& run) {
                    const ZEPUnicodeString expression = contexts;
                    ZEPListValZEPCfgContextExpression list;
                    run.Returns(
                        [&] { return ZEPCfgXMLExpressionServices::SplitByContext(expression, list); });
                    run.Output(shown(list));
                  },
                  {"", shown(splitContexts()[1])}); // each context is there as a whole or not at all
}

Scenario removal(const char* name, const char* text, std::vector<std::string> outputsOnTheWay) {
  return recorded(
      std::string("RemoveDescription, ") + name,
      [text](Run& run) {
        const ZEPUnicodeString expression = text;
        ZEPUnicodeString output = before;
        run.Returns([&] { return ZEPCfgXMLExpressionServices::RemoveDescription(expression, output); });
        run.Output(utf8Of(output));
      },
      std::move(outputsOnTheWay));
}

// ---- value classes ----

Scenario copyOfContext() {
  return recorded("copy of ZEPCfgContextExpression",
                  [](Run& run) {
                    const ZEPListValZEPCfgContextExpression list = splitContexts();
                    std::string output;
                    run.Returns([&] {
                      const ZEPCfgContextExpression copy(list[2]);
                      return copy.m_holderNames.Size();
                    });
                  },
                  {});
}

Scenario assignmentOfContext() {
  return recorded("assignment of ZEPCfgContextExpression",
                  [](Run& run) {
                    const ZEPListValZEPCfgContextExpression list = splitContexts();
                    ZEPCfgContextExpression assigned(list[1]);
                    run.Returns([&] {
                      assigned = list[2];
                      return S_OK;
                    });
                  },
                  {});
}

Scenario appendToList() {
  return recorded("Append of ZEPListValZEPCfgContextExpression",
                  [](Run& run) {
                    ZEPListValZEPCfgContextExpression list = splitContexts();
                    run.Returns([&] {
                      list.Append(list[2]);
                      return S_OK;
                    });
                    run.Output(shown(list));
                  },
                  {shown(splitContexts())});
}

Scenario copyOfList() {
  return recorded("copy of ZEPListValZEPCfgContextExpression",
                  [](Run& run) {
                    const ZEPListValZEPCfgContextExpression list = splitContexts();
                    run.Returns([&] {
                      const ZEPListValZEPCfgContextExpression copy(list);
                      return copy.Size();
                    });
                  },
                  {});
}

Scenario assignmentOfList() {
  return recorded("assignment of ZEPListValZEPCfgContextExpression",
                  [](Run& run) {
                    const ZEPListValZEPCfgContextExpression list = splitContexts();
                    ZEPListValZEPCfgContextExpression assigned(7);
                    assigned.Append(list[2]);
                    run.Returns([&] {
                      assigned = list;
                      return S_OK;
                    });
                    run.Output(shown(assigned));
                  },
                  {"", shown(splitContexts()[1])}); // the old elements go first
}

Scenario internalExpression() {
  return recorded("ZEPCfgEffectivityExpressionHandlerInternal",
                  [](Run& run) {
                    const ZEPBinary expression =
                        binary("a compiled expression that is too long to be kept in place");
                    std::size_t bytes = 0;
                    run.Returns([&] {
                      ZEPCfgEffectivityExpressionHandler handler;
                      auto* internal = new ZEPCfgEffectivityExpressionHandlerInternal(expression);
                      handler.setInternal(internal);
                      handler.getInternal(internal);
                      ZEPCfgEffectivityExpressionHandlerInternal copy(*internal);
                      copy = *internal;
                      bytes = copy.GetDNFBinary().ByteCount();
                      return S_OK;
                    });
                    run.Output(std::to_string(bytes));
                  },
                  {"0"});
}

// ---- areas ----

std::vector<Scenario> inclusions() {
  return {inclusion()};
}

std::vector<Scenario> alwaysTrueFilter() {
  return {alwaysTrue("with a holder", "a holder with a name that is long"),
          alwaysTrue("without a holder", "")};
}

std::vector<Scenario> splitByContext() {
  return {split()};
}

// The first call of a process builds what all of them use.
std::vector<Scenario> descriptionRemoval() {
  const Scenario usual = removal("cleaned", described, {before, described, cleaned});
  Scenario first = inProcessesOfItsOwn(usual);
  first.name += ", first call";
  return {usual, first, removal("not cleaned", neverClosed, {before, neverClosed, ""})};
}

std::vector<Scenario> values() {
  return {copyOfContext(), assignmentOfContext(), appendToList(),
          copyOfList(),    assignmentOfList(),    internalExpression()};
}

const Area areas[] = {
    {"inclusion", inclusions},
    {"alwaysTrueFilter", alwaysTrueFilter},
    {"splitByContext", splitByContext},
    {"descriptionRemoval", descriptionRemoval},
    {"values", values},
};

INSTANTIATE_TEST_SUITE_P(Text, FaultTest, testing::ValuesIn(areas), nameOfArea);

} // namespace
