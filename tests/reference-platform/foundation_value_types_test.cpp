#include "IUnknown.h"
#include "ZEPComponent.h"
#include "ZEPOmxAssert.h"
#include "ZEPOmxKeyString.h"
#include "ZEPUnicodeString.h"
#include "ZEPXMLXSLTransformerOptions.h"

#include <gtest/gtest.h>

#include <thread>
#include <vector>

// What the platform contract tests do not say of these types.

namespace {

class Interface : public IUnknown {
public:
  virtual int Number() const = 0;

protected:
  ~Interface() override = default;
};

class Component : public ZEPComponent<Interface> {
public:
  explicit Component(int number) : m_number(number) { ++alive; }

  int Number() const override { return m_number; }

  static int alive;

private:
  ~Component() override { --alive; }

  int m_number;
};

int Component::alive = 0;

TEST(Component, References_AreCounted_FromOne) {
  auto* const component = new Component(1);
  EXPECT_EQ(Component::alive, 1);
  EXPECT_EQ(component->AddRef(), 2U);
  EXPECT_EQ(component->AddRef(), 3U);
  EXPECT_EQ(component->Release(), 2U);
  EXPECT_EQ(component->Release(), 1U);
  EXPECT_EQ(Component::alive, 1);
  EXPECT_EQ(component->Release(), 0U);
  EXPECT_EQ(Component::alive, 0);
}

TEST(Component, References_StayExact_ManyThreads) {
  auto* const component = new Component(1);
  std::vector<std::thread> threads;
  for (int i = 0; i < 4; ++i) {
    threads.emplace_back([component] {
      for (int round = 0; round < 20000; ++round) {
        component->AddRef();
        component->Release();
      }
    });
  }
  for (std::thread& thread : threads) {
    thread.join();
  }
  EXPECT_EQ(component->AddRef(), 2U);
  component->Release();
  EXPECT_EQ(component->Release(), 0U);
  EXPECT_EQ(Component::alive, 0);
}

TEST(OmxAssertDeathTest, Failure_EndsTheProcess_WithoutAText) {
  EXPECT_DEATH(ZEPOmxAssertionFailed(nullptr), "Assertion failed");
}

TEST(OmxKeyString, NullText_ReadsAsEmpty) {
  const char* const nothing = nullptr;
  EXPECT_EQ(ZEPOmxKeyString(nothing).ToUTF8String().length(), 0U);
}

// Initialised while this program is loaded, when the platform is there already.
const ZEPUnicodeString optionSeenAtLoad(ZEPXMLXSLTransformerOptions::OutputFormat);

TEST(TransformerOptions, Names_AreThere_WhenAProgramIsLoaded) {
  EXPECT_FALSE(optionSeenAtLoad.IsEmpty());
  EXPECT_TRUE(optionSeenAtLoad == ZEPXMLXSLTransformerOptions::OutputFormat);
}

} // namespace
