#pragma once

#include "ScriptedPlatform.h"
#include "ZEPUnicodeString.h"

#include <gtest/gtest.h>

#include <ostream>
#include <string>

// How GoogleTest shows a text.
inline void PrintTo(const ZEPUnicodeString& text, std::ostream* out) {
  *out << '"' << text.ConvertToChar() << '"';
}

// A test on the scripted platform: starts with a fresh script, and fails when something is left
// behind. What a test checks through rows is checked row by row with startRow() and endRow().
class ConformanceTest : public ::testing::Test {
protected:
  void SetUp() override { scripted::script().reset(); }
  void TearDown() override {
    endRow();
    scripted::script().reset();
  }

  void startRow() { scripted::script().reset(); }
  void endRow() { EXPECT_EQ(scripted::script().problems(), ""); }
};
