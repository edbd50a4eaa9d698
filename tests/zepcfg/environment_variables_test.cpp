#include "EnvironmentVariables.h"

#include <gtest/gtest.h>

using zep::cli::EnvironmentVariable;
using zep::cli::findVariable;
using zep::cli::isWellFormed;

TEST(EnvironmentVariables, values_that_count_are_told_from_others) {
  struct Row {
    const char* variable;
    const char* value;
    bool counts;
    int line = __builtin_LINE();
  };
  const Row rows[] = {
      Row{"ZEP_URL", "anything", true},
      Row{"ZEP_BRANCHING", "", true},
      Row{"ZEP_BRANCHING", "0", true},
      Row{"ZEP_BRANCHING", "1", true},
      Row{"ZEP_BRANCHING", "true", false},
      Row{"ZEP_FILTER_MAX_TERMS", "", true},
      Row{"ZEP_FILTER_MAX_TERMS", "1", true},
      Row{"ZEP_FILTER_MAX_TERMS", "10000000", true},
      Row{"ZEP_FILTER_MAX_TERMS", "10000001", false},
      Row{"ZEP_FILTER_MAX_TERMS", "0", false},
      Row{"ZEP_FILTER_MAX_TERMS", "-1", false},
      Row{"ZEP_FILTER_MAX_TERMS", "+1", false},
      Row{"ZEP_FILTER_MAX_TERMS", " 1", false},
      Row{"ZEP_FILTER_MAX_TERMS", "1x", false},
      Row{"ZEP_FILTER_MAX_TERMS", "99999999999999999999", false},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(row.line);
    const EnvironmentVariable* const variable = findVariable(row.variable);
    ASSERT_NE(variable, nullptr);
    EXPECT_EQ(isWellFormed(*variable, row.value), row.counts);
  }
}

TEST(EnvironmentVariables, unknown_name_is_not_found) {
  EXPECT_EQ(findVariable("ZEP_ULR"), nullptr);
  EXPECT_EQ(findVariable(""), nullptr);
}
