#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdio>
#include <fstream>
#include <iterator>
#include <memory>
#include <sstream>
#include <string>
#include <vector>

// What the library's file shows to the world.

namespace {

using ::testing::Contains;
using ::testing::IsSubsetOf;

std::vector<std::string> linesOf(std::istream& input) {
  std::vector<std::string> lines;
  for (std::string line; std::getline(input, line);) {
    lines.push_back(line);
  }
  return lines;
}

// What a command prints; the test fails when the command does.
std::vector<std::string> outputOf(const std::string& command) {
  std::FILE* const pipe = popen(command.c_str(), "r");
  if (pipe == nullptr) {
    ADD_FAILURE() << "cannot run " << command;
    return {};
  }
  std::string text;
  for (int character = std::fgetc(pipe); character != EOF; character = std::fgetc(pipe)) {
    text += static_cast<char>(character);
  }
  EXPECT_EQ(pclose(pipe), 0) << command;
  std::istringstream input(text);
  return linesOf(input);
}

// Kind and name of each exported symbol, in alphabetical order.
std::vector<std::string> exportedSymbols() {
  std::vector<std::string> symbols = outputOf("nm -D --defined-only --demangle '" LIBRARY_FILE "'");
  for (std::string& symbol : symbols) {
    symbol.erase(0, symbol.find(' ') + 1);
  }
  std::sort(symbols.begin(), symbols.end());
  return symbols;
}

// Values of one kind of entry of the dynamic section, between the brackets that readelf prints.
std::vector<std::string> dynamicEntries(const std::string& kind) {
  std::vector<std::string> values;
  for (const std::string& line : outputOf("readelf --dynamic --wide '" LIBRARY_FILE "'")) {
    const std::size_t begin = line.find('[');
    if (line.find("(" + kind + ")") != std::string::npos && begin != std::string::npos) {
      values.push_back(line.substr(begin + 1, line.find(']') - begin - 1));
    }
  }
  return values;
}

TEST(FrameExports, exports_areExactlyTheListedOnes) {
  std::ifstream list(EXPORTS_FILE);
  std::vector<std::string> listed = linesOf(list);
  ASSERT_FALSE(listed.empty());
  std::sort(listed.begin(), listed.end());
  EXPECT_EQ(exportedSymbols(), listed);
}

// One unique symbol, exported or not, would keep the library in memory for good.
TEST(FrameExports, symbols_areNotUnique) {
  const std::vector<std::string> symbols =
      outputOf("{ nm '" LIBRARY_FILE "'; nm -D '" LIBRARY_FILE "'; } 2>&1");
  ASSERT_GT(symbols.size(), 8U);
  for (const std::string& symbol : symbols) {
    EXPECT_EQ(symbol.find(" u "), std::string::npos) << symbol;
  }
}

TEST(FrameExports, neededLibraries_areThePlatformAndTheRuntime) {
  const std::vector<std::string> needed = dynamicEntries("NEEDED");
  EXPECT_THAT(needed, Contains("libZEPPlatform.so.1"));
  EXPECT_THAT(needed, IsSubsetOf({"libZEPPlatform.so.1", "libstdc++.so.6", "libm.so.6", "libgcc_s.so.1",
                                  "libc.so.6", "ld-linux-x86-64.so.2",
                                  // of the sanitizer builds
                                  "libasan.so.8", "libubsan.so.1"}));
}

TEST(FrameExports, file_namesItselfAndNoSearchPath) {
  EXPECT_THAT(dynamicEntries("SONAME"), ::testing::ElementsAre("libZEPCfgCommonServices.so.1"));
  EXPECT_THAT(dynamicEntries("RUNPATH"), ::testing::IsEmpty());
  EXPECT_THAT(dynamicEntries("RPATH"), ::testing::IsEmpty());
}

// Nothing reads the constants of the configuration domain, but whoever looks into the file finds them.
TEST(FrameExports, file_holdsTheDomainsConstants) {
  std::ifstream input(LIBRARY_FILE, std::ios::binary);
  const std::string file{std::istreambuf_iterator<char>(input), {}};
  for (const char* const text : {"Unset",
                                 "Conf",
                                 "Prod Conf",
                                 "IncludeVariant",
                                 "IncludeProductStates",
                                 "IncludeBuilds",
                                 "IncludeMP",
                                 "IncludeDates",
                                 "IncludeRules",
                                 "IncludeImages",
                                 "IncludeProductConfiguration",
                                 "IncludeCompositionMatrix",
                                 "IncludexRevision",
                                 "IfNotAlreadyInSession",
                                 "DWS",
                                 "ConfigChange",
                                 "EngineeringActivation",
                                 "Evolution",
                                 "Variant",
                                 "Source",
                                 "Current",
                                 "Projected",
                                 "evolutionReviewer",
                                 "notReviewer",
                                 "variantReviewer"}) {
    EXPECT_NE(file.find(text + std::string(1, '\0')), std::string::npos) << text;
  }
}

} // namespace
