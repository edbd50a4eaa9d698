#include "ConformanceTest.h"
#include "ProcessView.h"

#include <gmock/gmock.h>

#include <algorithm>
#include <cstddef>
#include <memory>
#include <sstream>
#include <string>
#include <vector>

// Loading and unloading the library.

using namespace scripted;

namespace {

const char allBuilt[] = "+ZEPCfgContextExpression()\n"
                        "+ZEPCfgFilterBasicServices()\n"
                        "+ZEPCfgWebServices(CfgWeb)\n"
                        "+ZEPCfgXMLExpressionServices()\n";
const char allDestroyed[] = "-ZEPCfgXMLExpressionServices()\n"
                            "-ZEPCfgWebServices(CfgWeb)\n"
                            "-ZEPCfgFilterBasicServices()\n"
                            "-ZEPCfgContextExpression()\n";

// What was built and destroyed. In which order, MinGW leaves to the files.
std::vector<std::string> steps(const std::string& traceObjects) {
  std::istringstream text(traceObjects);
  std::vector<std::string> lines;
  for (std::string line; std::getline(text, line);) {
    lines.push_back(line);
  }
#if defined(_WIN32)
  std::sort(lines.begin(), lines.end());
#endif
  return lines;
}

// The library, loaded as long as this lives.
class LoadedLibrary {
public:
  LoadedLibrary() { EXPECT_EQ(m_file.Problem(), ""); }

  int CallMarker() const {
    const auto marker =
        reinterpret_cast<int (*)()>(m_file.Symbol("VORTELLA_LABS_PXR4_INTERNAL_ZEPCfgCommonServices"));
    if (marker == nullptr) {
      ADD_FAILURE() << "the marker is not exported";
      return 0;
    }
    return marker();
  }

private:
  LoadedFile m_file{LIBRARY_FILE};
};

bool isLoaded(const std::string& part) {
  return !loadedFiles(part).empty();
}

class FrameLoadTest : public ConformanceTest {
protected:
  void SetUp() override {
    ConformanceTest::SetUp();
    script().forgetTraceObjects();
  }
};

TEST_F(FrameLoadTest, load_buildsTheFourTraceObjects_andUnloadDestroysThemInReverse) {
  ASSERT_FALSE(isLoaded("libZEPCfgCommonServices"));
  {
    const LoadedLibrary library;
    EXPECT_EQ(steps(script().traceObjects()), steps(allBuilt));
    EXPECT_TRUE(isLoaded("libZEPCfgCommonServices"));
    script().forgetTraceObjects();
  }
  EXPECT_EQ(steps(script().traceObjects()), steps(allDestroyed));
  EXPECT_FALSE(isLoaded("libZEPCfgCommonServices"));
}

TEST_F(FrameLoadTest, load_bindsTheScriptedPlatform_alone) {
  const LoadedLibrary library;
  EXPECT_THAT(loadedFiles("/libZEPPlatform."),
              ::testing::ElementsAre(::testing::HasSubstr("/scripted/libZEPPlatform.")));
}

TEST_F(FrameLoadTest, loadAndUnload_callAndTraceNothing) {
  script().traceOn();
  script().perfoOn();
  {
    const LoadedLibrary library;
    EXPECT_EQ(script().liveObjects(), "");
  }
  EXPECT_EQ(script().log(), "");
  EXPECT_EQ(script().activatedQueries(), 0);
}

TEST_F(FrameLoadTest, marker_isOne_inEveryLoad) {
  for (int load = 0; load < 3; ++load) {
    const LoadedLibrary library;
    EXPECT_EQ(library.CallMarker(), 1);
    EXPECT_EQ(library.CallMarker(), 1);
  }
  EXPECT_EQ(script().calls(), "");
}

TEST_F(FrameLoadTest, memory_isFlat_overManyLoads) {
  if (runsUnderValgrind()) {
    GTEST_SKIP() << "valgrind looks for leaks itself";
  }
#if defined(_WIN32)
  GTEST_SKIP() << "MinGW's runtime keeps memory of every library that is loaded";
#endif
#if defined(SCRIPTED_UNDER_ASAN)
  GTEST_SKIP() << "the C library's table of exit functions grows with each load under the sanitizer";
#endif
  // The measure is one: it sees a block of its own.
  const std::size_t before = memoryInUse();
  const auto block = std::make_unique<std::string>(100'000, 'x');
  ASSERT_GE(memoryInUse() - before, 100'000U);

  const auto loadOften = [](int loads) {
    for (int load = 0; load < loads; ++load) {
      { const LoadedLibrary library; }
      EXPECT_EQ(steps(script().traceObjects()), steps(std::string(allBuilt) + allDestroyed));
      script().forgetTraceObjects();
    }
    return memoryInUse();
  };
  const std::size_t warm = loadOften(20);
  const std::size_t end = loadOften(500);
  // One string table more for each load would be hundreds of kilobytes.
  EXPECT_LE(end, warm + 2'000U);
  EXPECT_FALSE(isLoaded("libZEPCfgCommonServices"));
}

} // namespace
