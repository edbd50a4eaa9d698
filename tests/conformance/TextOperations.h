#pragma once

#include "UTF8Texts.h"
#include "XMLExpressionTest.h"
#include "ZEPCfgContextExpression.h"
#include "ZEPListValZEPCfgContextExpression.h"

#include <ostream>
#include <string>
#include <vector>

// What the tests of the text operations share.

inline const std::string splitEntry =
    entryLines("SplitByContext(const class ZEPUnicodeString &,class ZEPListValZEPCfgContextExpression &)");
inline const std::string removeEntry =
    entryLines("RemoveDescription(const class ZEPUnicodeString &,class ZEPUnicodeString &)");

inline std::string repeated(int count, const std::string& text) {
  std::string result;
  for (int i = 0; i < count; ++i) {
    result += text;
  }
  return result;
}

// One context expression, in plain values.
struct SplitContext {
  std::string name;
  std::string expression;
  std::vector<int> inheritedEffIds;
  std::vector<std::string> holderNames;
  std::vector<int> operationHandlerIds;

  bool operator==(const SplitContext&) const = default;
};

inline void PrintTo(const SplitContext& context, std::ostream* out) {
  *out << ::testing::PrintToString(context.name) << " " << ::testing::PrintToString(context.expression) << " "
       << ::testing::PrintToString(context.inheritedEffIds) << " "
       << ::testing::PrintToString(context.holderNames) << " "
       << ::testing::PrintToString(context.operationHandlerIds);
}

inline std::vector<int> valuesOf(const ZEPRawCollint& numbers) {
  std::vector<int> values;
  for (int i = 1; i <= numbers.Size(); ++i) {
    values.push_back(numbers[i]);
  }
  return values;
}

inline std::vector<SplitContext> valuesOf(const ZEPListValZEPCfgContextExpression& contexts) {
  std::vector<SplitContext> values;
  for (int i = 1; i <= contexts.Size(); ++i) {
    const ZEPCfgContextExpression& context = contexts[i];
    SplitContext value{utf8Of(context.m_contextName),
                       utf8Of(context.m_contextExpression),
                       valuesOf(context.m_inheritedEffIds),
                       {},
                       valuesOf(context.m_operationHandlerIds)};
    for (int j = 1; j <= context.m_holderNames.Size(); ++j) {
      value.holderNames.push_back(utf8Of(context.m_holderNames[j]));
    }
    values.push_back(value);
  }
  return values;
}

inline std::vector<SplitContext> split(const std::string& expression) {
  ZEPListValZEPCfgContextExpression contexts;
  EXPECT_EQ(ZEPCfgXMLExpressionServices::SplitByContext(textOf(expression), contexts), S_OK);
  return valuesOf(contexts);
}

inline Outcome removeDescription(const std::string& expression, const char* before = "as it was") {
  ZEPUnicodeString cleaned = before;
  const long result = ZEPCfgXMLExpressionServices::RemoveDescription(textOf(expression), cleaned);
  return {result, utf8Of(cleaned)};
}
