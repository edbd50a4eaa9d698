#include "ConformanceTest.h"

#include <gmock/gmock.h>

#include <dlfcn.h>
#include <malloc.h>

#include <cstddef>
#include <fstream>
#include <memory>
#include <string>

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

// The library, loaded as long as this lives.
class LoadedLibrary {
public:
  LoadedLibrary() : m_handle(dlopen(LIBRARY_FILE, RTLD_NOW | RTLD_LOCAL)) {
    EXPECT_NE(m_handle, nullptr) << dlerror();
  }
  ~LoadedLibrary() { EXPECT_EQ(dlclose(m_handle), 0) << dlerror(); }
  LoadedLibrary(const LoadedLibrary&) = delete;
  LoadedLibrary& operator=(const LoadedLibrary&) = delete;

  int CallMarker() const {
    const auto marker =
        reinterpret_cast<int (*)()>(dlsym(m_handle, "VORTELLA_LABS_PXR4_INTERNAL_ZEPCfgCommonServices"));
    if (marker == nullptr) {
      ADD_FAILURE() << dlerror();
      return 0;
    }
    return marker();
  }

private:
  void* m_handle;
};

bool isMapped(const std::string& file) {
  std::ifstream maps("/proc/self/maps");
  for (std::string line; std::getline(maps, line);) {
    if (line.find(file) != std::string::npos) {
      return true;
    }
  }
  return false;
}

std::size_t allocatedBytes() {
  return mallinfo2().uordblks;
}

class FrameLoadTest : public ConformanceTest {
protected:
  void SetUp() override {
    ConformanceTest::SetUp();
    script().forgetTraceObjects();
  }
};

TEST_F(FrameLoadTest, load_buildsTheFourTraceObjects_andUnloadDestroysThemInReverse) {
  ASSERT_FALSE(isMapped("libZEPCfgCommonServices"));
  {
    const LoadedLibrary library;
    EXPECT_EQ(script().traceObjects(), allBuilt);
    EXPECT_TRUE(isMapped("libZEPCfgCommonServices"));
    script().forgetTraceObjects();
  }
  EXPECT_EQ(script().traceObjects(), allDestroyed);
  EXPECT_FALSE(isMapped("libZEPCfgCommonServices"));
}

TEST_F(FrameLoadTest, load_bindsTheScriptedPlatform_alone) {
  const LoadedLibrary library;
  EXPECT_TRUE(isMapped("/lib/scripted/libZEPPlatform.so"));
  EXPECT_FALSE(isMapped("/lib/libZEPPlatform.so"));
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
#if defined(SCRIPTED_UNDER_ASAN)
  GTEST_SKIP() << "the C library's table of exit functions grows with each load under the sanitizer";
#endif
  // The measure is one: it sees a block of its own.
  const std::size_t before = allocatedBytes();
  const auto block = std::make_unique<std::string>(100'000, 'x');
  ASSERT_GE(allocatedBytes() - before, 100'000U);

  const auto loadOften = [](int loads) {
    for (int load = 0; load < loads; ++load) {
      { const LoadedLibrary library; }
      EXPECT_EQ(script().traceObjects(), std::string(allBuilt) + allDestroyed);
      script().forgetTraceObjects();
    }
    return allocatedBytes();
  };
  const std::size_t warm = loadOften(20);
  const std::size_t end = loadOften(500);
  // One string table more for each load would be hundreds of kilobytes.
  EXPECT_LE(end, warm + 2'000U);
  EXPECT_FALSE(isMapped("libZEPCfgCommonServices"));
}

} // namespace
