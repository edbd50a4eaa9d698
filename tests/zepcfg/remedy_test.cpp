#include "Remedy.h"
#include "ZEPHResult.h"

#include <gmock/gmock.h>

using testing::HasSubstr;
using zep::cli::Failure;
using zep::cli::remedyFor;

namespace {

struct Row {
  const char* operation;
  const char* error;
  const char* message;
  const char* remedy;
  int line = __builtin_LINE();
};

} // namespace

TEST(Remedy, fits_what_was_reported) {
  const Row rows[] = {
      Row{"CompileFilter", "", "its normal form has more than 8 terms (ZEP_FILTER_MAX_TERMS)",
          "raise ZEP_FILTER_MAX_TERMS"},
      Row{"CompileFilter", "", "line 3: Or needs a condition inside", "at that line"},
      Row{"CompileFilter", "", "line 1: Document is empty", "a file that holds an expression"},
      Row{"CompileFilter", "", "the expression is larger than ZEP_XSLT_MAX_EXPRESSION_BYTES",
          "raise that limit"},
      Row{"CompileFilter", "", "something else", "well-formed XML"},
      Row{"IsAIncludedInB", "ERROR : IsIncluding FAILED", "longer than ZEP_FILTER_TIMEOUT_MS allows",
          "ZEP_FILTER_TIMEOUT_MS"},
      Row{"FindCounterexample", "", "the compiled filter is damaged: its structure",
          "compile its expression again"},
      Row{"BuildJsonList", "ERROR: IsPLMIDOfType failed", "the identifier is null", "type:logical:physical"},
      Row{"BuildJsonList", "ERROR: GetLogicalID failed", "no logical identifier", "its logical part"},
      Row{"CallWebService", "ERROR: Execute failed", "could not resolve host", "no host of that name"},
      Row{"CallWebService", "ERROR: Execute failed", "something else", "zepcfg doctor"},
      Row{"FormatExpression", "something new", "line 3", "--trace"},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(row.line);
    const Failure failure{"input", row.operation, E_FAIL, {row.error}, row.message, ""};
    EXPECT_THAT(remedyFor(failure), HasSubstr(row.remedy));
  }
}
