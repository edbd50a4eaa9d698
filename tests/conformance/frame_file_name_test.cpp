#include "ConformanceTest.h"
#include "ZEPCfgServiceTrace.h"

#include <string>

// The name that a record gives of its source file, whatever the path looked like to the compiler.

using namespace scripted;

namespace {

class FrameFileNameTest : public ConformanceTest {};

TEST_F(FrameFileNameTest, fileName_isWhatStandsBehindTheLastSeparator) {
  struct Row {
    int line;
    const char* path;
    const char* name;
  };
  const Row rows[] = {
      Row{__LINE__, "C:\\project\\src\\Some.cpp", "Some.cpp"},
      Row{__LINE__, "/project/src/Some.cpp", "Some.cpp"},
      Row{__LINE__, "..\\src/Some.cpp", "Some.cpp"},
      Row{__LINE__, "../src\\Some.cpp", "Some.cpp"},
      Row{__LINE__, "\\S", "S"},
      Row{__LINE__, "/S", "S"},
      Row{__LINE__, "Some.cpp", "Some.cpp"},
      Row{__LINE__, "", ""},
      Row{__LINE__, "/project/src/", ""},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE("row at line " + std::to_string(row.line));
    startRow();
    ZEPCfgServiceTrace trace("Some", "", row.path);
    trace.Notice("text");
    ASSERT_EQ(script().records().size(), 1U);
    EXPECT_EQ(script().records()[0].file, row.name);
  }
}

} // namespace
