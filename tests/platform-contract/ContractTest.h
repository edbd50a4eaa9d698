#pragma once

#include "ContractSetup.h"
#include "ZEPHResult.h"
#include "ZEPUTF8Conversion.h"
#include "ZEPUnicodeString.h"

#include <gtest/gtest.h>

#include <memory>
#include <ostream>
#include <string>
#include <string_view>

inline void PrintTo(const ZEPUnicodeString& text, std::ostream* out) {
  *out << '"' << text.ConvertToChar() << '"';
}

namespace zep::contract {

// Skips the test, and says why, where the adapter does not offer what it needs.
#define ZEP_NEEDS(offer)                                                                                     \
  if (const ::zep::contract::Offer given = (offer); !given.IsGiven())                                        \
  GTEST_SKIP() << given.Reason()

// A test is one clause of the contract of the class that its suite is named after.
class ContractTest : public testing::Test {
protected:
  void TearDown() override {
    const std::string problems = m_world->Problems();
    EXPECT_EQ(problems, "");
    m_world.reset();
  }

  World& TheWorld() { return *m_world; }

private:
  std::unique_ptr<World> m_world = MakeWorld();
};

inline ZEPUnicodeString Text(std::string_view utf8) {
  ZEPUnicodeString text;
  text.BuildFromUTF8(utf8.data(), utf8.size());
  return text;
}

inline std::string Bytes(const ZEPUnicodeString& text) {
  const ZEPUTF8Conversion utf8(text);
  return {utf8.Bytes(), utf8.ByteCount()};
}

// A result is 32 bits wide, whatever the size of long.
inline bool IsResultCode(long result) {
  return result == static_cast<long>(static_cast<std::int32_t>(result));
}

#define EXPECT_SUCCESS(result)                                                                               \
  {                                                                                                          \
    const long code = (result);                                                                              \
    EXPECT_GE(code, 0);                                                                                      \
    EXPECT_TRUE(::zep::contract::IsResultCode(code)) << code;                                                \
  }
#define EXPECT_FAILURE(result)                                                                               \
  {                                                                                                          \
    const long code = (result);                                                                              \
    EXPECT_LT(code, 0);                                                                                      \
    EXPECT_TRUE(::zep::contract::IsResultCode(code)) << code << " is not sign-extended";                     \
  }

} // namespace zep::contract
