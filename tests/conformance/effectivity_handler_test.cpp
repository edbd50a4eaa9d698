#include "AllocationWatch.h"
#include "ConformanceTest.h"
#include "ZEPCfgEffectivityExpressionHandler.h"
#include "ZEPCfgEffectivityExpressionHandlerInternal.h"

#include <memory>
#include <string>
#include <type_traits>

using Handler = ZEPCfgEffectivityExpressionHandler;
using Internal = ZEPCfgEffectivityExpressionHandlerInternal;
using namespace scripted;

namespace {

ZEPBinary binary(const std::string& bytes) {
  return {bytes.data(), bytes.size()};
}

std::string bytesOf(const ZEPBinary& content) {
  const auto* const bytes = reinterpret_cast<const char*>(content.Bytes());
  return content.ByteCount() == 0 ? std::string() : std::string(bytes, content.ByteCount());
}

std::string contentOf(Internal& internal) {
  return bytesOf(internal.GetDNFBinary());
}

// Counts how often such an object is destroyed.
class CountedInternal : public Internal {
public:
  CountedInternal(const std::string& bytes, int& destroyed)
      : Internal(binary(bytes)),
        m_destroyed(destroyed) {}
  CountedInternal(const CountedInternal&) = delete;
  CountedInternal& operator=(const CountedInternal&) = delete;
  ~CountedInternal() override { ++m_destroyed; }

private:
  int& m_destroyed;
};

Internal* heldBy(Handler& handler) {
  Internal* internal = nullptr;
  handler.getInternal(internal);
  return internal;
}

// Hands the object over, and sees that the caller's pointer is null then.
void give(Handler& handler, Internal* internal) {
  handler.setInternal(internal);
  EXPECT_EQ(internal, nullptr);
}

class EffectivityHandlerTest : public ConformanceTest {
protected:
  void SetUp() override {
    ConformanceTest::SetUp();
    script().traceOn();
    m_aliveAtStart = allocations::alive();
  }
  void TearDown() override {
    if (allocations::areSeen) {
      EXPECT_EQ(allocations::alive(), m_aliveAtStart);
    }
    EXPECT_EQ(script().log(), "") << "these classes write no trace";
    EXPECT_EQ(script().activatedQueries(), 0);
    ConformanceTest::TearDown();
  }

private:
  long m_aliveAtStart = 0;
};

TEST_F(EffectivityHandlerTest, shape_isTheDeclaredOne) {
  EXPECT_TRUE(std::has_virtual_destructor_v<Internal>);
  EXPECT_FALSE(std::is_polymorphic_v<Handler>);
  EXPECT_FALSE(std::is_copy_constructible_v<Handler>);
  EXPECT_FALSE(std::is_move_constructible_v<Handler>);
  EXPECT_EQ(sizeof(Handler), sizeof(void*));
  static_assert(
      std::is_same_v<void, decltype(std::declval<Handler&>().getInternal(std::declval<Internal*&>()))>);
  static_assert(
      std::is_same_v<void, decltype(std::declval<Handler&>().setInternal(std::declval<Internal*&>()))>);
}

TEST_F(EffectivityHandlerTest, internal_holdsACopyOfTheBinary) {
  std::string bytes = std::string("a\0b", 3);
  Internal internal{binary(bytes)};
  bytes[0] = 'x';
  EXPECT_EQ(contentOf(internal), std::string("a\0b", 3));
  Internal empty{ZEPBinary()};
  EXPECT_EQ(contentOf(empty), "");
}

TEST_F(EffectivityHandlerTest, binaryGivenOut_isIndependent) {
  Internal internal{binary("dnf")};
  ZEPBinary copy = internal.GetDNFBinary();
  const ZEPBinary second = internal.GetDNFBinary();
  EXPECT_NE(copy.Bytes(), second.Bytes());
  copy = binary("changed");
  EXPECT_EQ(contentOf(internal), "dnf");
  EXPECT_EQ(bytesOf(second), "dnf");
}

TEST_F(EffectivityHandlerTest, internal_isCopiedAndAssigned_withItsContent) {
  Internal first{binary("first")};
  Internal copy(first);
  Internal second{binary("second, which is longer")};
  EXPECT_EQ(&(copy = second), &copy);
  EXPECT_EQ(contentOf(copy), "second, which is longer");
  EXPECT_EQ(contentOf(first), "first");
  copy = *&copy;
  EXPECT_EQ(contentOf(copy), "second, which is longer");
}

TEST_F(EffectivityHandlerTest, newHandler_isEmpty_andIsDestroyedWithoutEffect) {
  Handler handler;
  Internal something{binary("x")};
  Internal* internal = &something;
  handler.getInternal(internal);
  EXPECT_EQ(internal, nullptr);
}

TEST_F(EffectivityHandlerTest, setInternal_takesTheObject_andNullsTheCallersPointer) {
  int destroyed = 0;
  {
    Handler handler;
    auto* const internal = new CountedInternal("dnf", destroyed);
    give(handler, internal);
    EXPECT_EQ(heldBy(handler), internal);
    EXPECT_EQ(heldBy(handler), internal) << "the object stays the handler's";
    EXPECT_EQ(contentOf(*heldBy(handler)), "dnf");
    EXPECT_EQ(destroyed, 0);
  }
  EXPECT_EQ(destroyed, 1);
}

TEST_F(EffectivityHandlerTest, setInternal_deletesWhatWasHeld) {
  int first = 0;
  int second = 0;
  {
    Handler handler;
    give(handler, new CountedInternal("1", first));
    auto* const internal = new CountedInternal("2", second);
    give(handler, internal);
    EXPECT_EQ(first, 1);
    EXPECT_EQ(second, 0);
    EXPECT_EQ(heldBy(handler), internal);
  }
  EXPECT_EQ(first, 1);
  EXPECT_EQ(second, 1);
}

TEST_F(EffectivityHandlerTest, setInternal_withNull_emptiesTheHandler) {
  int destroyed = 0;
  Handler handler;
  give(handler, nullptr);
  EXPECT_EQ(heldBy(handler), nullptr);
  give(handler, new CountedInternal("1", destroyed));
  give(handler, nullptr);
  EXPECT_EQ(destroyed, 1);
  EXPECT_EQ(heldBy(handler), nullptr);
}

TEST_F(EffectivityHandlerTest, setInternal_withWhatItHolds_keepsIt) {
  int destroyed = 0;
  {
    Handler handler;
    auto* const internal = new CountedInternal("1", destroyed);
    give(handler, internal);
    give(handler, internal);
    EXPECT_EQ(destroyed, 0);
    EXPECT_EQ(heldBy(handler), internal);
    EXPECT_EQ(contentOf(*internal), "1");
  }
  EXPECT_EQ(destroyed, 1);
}

TEST_F(EffectivityHandlerTest, assignment_sharesThePointer_andDeletesNothing) {
  int shared = 0;
  int left = 0;
  auto* const internal = new CountedInternal("shared", shared);
  auto* const before = new CountedInternal("left", left);
  {
    Handler owner;
    give(owner, internal);
    {
      // Its destructor would delete the shared object: the caller's duty is to keep it from running.
      alignas(Handler) unsigned char place[sizeof(Handler)];
      auto* const other = new (place) Handler;
      give(*other, before);
      EXPECT_EQ(&(*other = owner), other);
      EXPECT_EQ(heldBy(*other), internal);
      EXPECT_EQ(heldBy(owner), internal);
      EXPECT_EQ(left, 0) << "what was held is left to the caller";
      *other = *&*other;
      EXPECT_EQ(heldBy(*other), internal);
    }
    EXPECT_EQ(shared, 0);
  }
  EXPECT_EQ(shared, 1);
  delete before;
  EXPECT_EQ(left, 1);
}

TEST_F(EffectivityHandlerTest, assignmentOfAnEmptyHandler_leavesWhatWasHeld) {
  int destroyed = 0;
  auto* const internal = new CountedInternal("1", destroyed);
  Handler handler;
  give(handler, internal);
  const Handler empty;
  handler = empty;
  EXPECT_EQ(heldBy(handler), nullptr);
  EXPECT_EQ(destroyed, 0);
  delete internal;
}

} // namespace
