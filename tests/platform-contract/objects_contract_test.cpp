#include "ContractTest.h"
#include "PLMCfgComparisonMode.h"
#include "PLMCfgDiversityDomain.h"
#include "PLMCfgExpressionView.h"
#include "PLMCfgXMLVocabulary.h"
#include "ZEPBaseUnknown_var.h"
#include "ZEPBinary.h"
#include "ZEPCfgDiversityDomain.h"
#include "ZEPCfgEffectivityView.h"
#include "ZEPListValZEPBinary.h"
#include "ZEPListValZEPBoolean.h"
#include "ZEPListValZEPPLMID.h"
#include "ZEPOmxSP.h"
#include "ZEPRawCollPV.h"
#include "ZEPRawCollint.h"
#include "valueToMacro.h"

#include <atomic>
#include <cstring>
#include <string>
#include <thread>
#include <type_traits>
#include <utility>
#include <vector>

// Values, collections, reference-counted objects, codes and constants.

namespace {

using namespace zep::contract;

// ---- component objects and their handles ----

class Interface : public IUnknown {
public:
  virtual int Number() const = 0;

protected:
  ~Interface() override = default;
};

class Component final : public Interface {
public:
  explicit Component(int number) : m_number(number) { ++alive; }

  unsigned long AddRef() override { return ++m_references; }
  unsigned long Release() override {
    const unsigned long left = --m_references;
    if (left == 0) {
      delete this;
    }
    return left;
  }
  int Number() const override { return m_number; }

  static int alive;

private:
  ~Component() override { --alive; }

  int m_number;
  std::atomic<unsigned long> m_references = 1;
};

int Component::alive = 0;

using Interface_var = ZEPInterface_var<Interface>;

using Handle = ContractTest;

TEST_F(Handle, Call_RaisesNullHandleError_WhenEmpty) {
  const Interface_var empty;
  EXPECT_TRUE(!empty);
  EXPECT_THROW(empty->Number(), ZEPErrorNullVar);
  EXPECT_THROW(Interface_var(NULL_var)->Number(), ZEPErrorNullVar);
  EXPECT_THROW(ZEPBaseUnknown_var::ThrowErrorNullVar(), ZEPErrorNullVar);
  Interface_var emptied(new Component(1));
  emptied = NULL_var;
  EXPECT_THROW(emptied->Number(), ZEPErrorNullVar);
}

TEST_F(Handle, NullHandleError_IsAStandardException_WithAText) {
  try {
    ZEPBaseUnknown_var::ThrowErrorNullVar();
  } catch (const std::exception& error) {
    EXPECT_GT(std::strlen(error.what()), 0U);
  }
}

TEST_F(Handle, Object_LivesAsLongAsItsHandles_CopiesAndAssignments) {
  {
    Interface_var first(new Component(1));
    EXPECT_FALSE(!first);
    EXPECT_EQ(first->Number(), 1);
    Interface_var copy(first);
    EXPECT_EQ(copy->Number(), 1);
    first = NULL_var;
    EXPECT_TRUE(!first);
    EXPECT_EQ(Component::alive, 1);

    Interface_var second(new Component(2));
    EXPECT_EQ(Component::alive, 2);
    copy = second; // lets go of the first object
    EXPECT_EQ(Component::alive, 1);
    EXPECT_EQ(copy->Number(), 2);

    Interface_var& same = copy;
    copy = same;
    EXPECT_EQ(copy->Number(), 2);
    second = NULL_var;
    copy = same;
    EXPECT_EQ(Component::alive, 1);
    EXPECT_EQ(copy->Number(), 2);

    copy = Interface_var(new Component(3));
    EXPECT_EQ(Component::alive, 1);
    EXPECT_EQ(copy->Number(), 3);
  }
  EXPECT_EQ(Component::alive, 0);
}

TEST_F(Handle, Construction_TakesTheReferenceOver_OfTheCaller) {
  auto* const component = new Component(1);
  component->AddRef();
  {
    const Interface_var handle(component);
    const Interface_var copy(handle);
    EXPECT_EQ(component->AddRef(), 4U);
    component->Release();
  }
  EXPECT_EQ(component->Release(), 0U);
  EXPECT_EQ(Component::alive, 0);
}

// Asks, while it goes, what the handle holds by then.
class Watching final : public Interface {
public:
  Watching(const Interface_var& handle, int& seen) : m_handle(handle), m_seen(seen) {}

  unsigned long AddRef() override { return ++m_references; }
  unsigned long Release() override {
    const unsigned long left = --m_references;
    if (left == 0) {
      delete this;
    }
    return left;
  }
  int Number() const override { return 1; }

private:
  ~Watching() override { m_seen = !m_handle ? 0 : m_handle->Number(); }

  const Interface_var& m_handle;
  int& m_seen;
  unsigned long m_references = 1;
};

TEST_F(Handle, Assignment_PutsTheNewObjectInPlace_BeforeReleasing) {
  int seen = -1;
  Interface_var handle;
  handle = Interface_var(new Watching(handle, seen));
  handle = Interface_var(new Component(7));
  EXPECT_EQ(seen, 7);
  handle = Interface_var(new Watching(handle, seen));
  handle = NULL_var;
  EXPECT_EQ(seen, 0);
}

// ---- objects of the object library ----

class Counted : public ZEPOmxObject {
public:
  Counted() { ++alive; }
  int Number() const { return 5; }

  static int alive;

protected:
  ~Counted() override { --alive; }
};

int Counted::alive = 0;

class DerivedCounted : public Counted {};

using OmxSP = ContractTest;

TEST_F(OmxSP, LastPointer_DeletesTheObject_CopiesAndAssignments) {
  {
    ZEPOmxSP<Counted> first(new Counted);
    ZEPOmxSP<Counted> second(first);
    first = nullptr;
    EXPECT_TRUE(first.IsNull());
    EXPECT_EQ(Counted::alive, 1);
    EXPECT_EQ(second->Number(), 5);
    second = ZEPOmxSP<Counted>(ZEPOmxSP<DerivedCounted>(new DerivedCounted));
    EXPECT_EQ(Counted::alive, 1);
    ZEPOmxSP<Counted>& same = second;
    second = same;
    EXPECT_EQ(Counted::alive, 1);
  }
  EXPECT_EQ(Counted::alive, 0);
}

TEST_F(OmxSP, NewObject_HasNoReference_UntilHeld) {
  const Counted* const object = new Counted;
  object->AddRef();
  object->AddRef();
  object->Release();
  EXPECT_EQ(Counted::alive, 1);
  object->Release();
  EXPECT_EQ(Counted::alive, 0);
}

TEST_F(OmxSP, References_StayExact_OnManyThreads) {
  {
    const ZEPOmxSP<Counted> shared(new Counted);
    std::vector<std::thread> threads;
    for (int i = 0; i < 4; ++i) {
      threads.emplace_back([&shared] {
        for (int round = 0; round < 5000; ++round) {
          const ZEPOmxSP<Counted> copy(shared); // NOLINT(performance-unnecessary-copy-initialization)
        }
      });
    }
    for (std::thread& thread : threads) {
      thread.join();
    }
    EXPECT_EQ(Counted::alive, 1);
  }
  EXPECT_EQ(Counted::alive, 0);
}

using OmxAssertDeathTest = ContractTest;

TEST_F(OmxAssertDeathTest, Failure_EndsTheProcess_WithItsText) {
  GTEST_FLAG_SET(death_test_style, "threadsafe");
  EXPECT_DEATH(ZEPOmxAssertionFailed("the request is missing"), "the request is missing");
}

TEST_F(OmxAssertDeathTest, CallThroughNullPointer_EndsTheProcess) {
  GTEST_FLAG_SET(death_test_style, "threadsafe");
  EXPECT_DEATH(static_cast<void>(ZEPOmxSP<Counted>()->Number()), "");
}

// ---- binaries, lists, raw collections ----

using Binary = ContractTest;

TEST_F(Binary, Bytes_AreCopied_NulAmongThem) {
  char bytes[] = {'a', '\0', '\xFF'};
  const ZEPBinary binary(bytes, sizeof bytes);
  bytes[0] = 'z';
  ASSERT_EQ(binary.ByteCount(), 3U);
  EXPECT_EQ(std::memcmp(binary.Bytes(), "a\0\xFF", 3), 0);
}

TEST_F(Binary, Empty_HasNoBytes) {
  EXPECT_EQ(ZEPBinary().ByteCount(), 0U);
  EXPECT_EQ(ZEPBinary(nullptr, 0).ByteCount(), 0U);
}

TEST_F(Binary, Copies_AreIndependent) {
  ZEPBinary binary("abc", 3);
  const ZEPBinary copy(binary);
  binary = ZEPBinary("x", 1);
  EXPECT_EQ(copy.ByteCount(), 3U);
  EXPECT_EQ(binary.ByteCount(), 1U);
  const ZEPBinary& same = binary;
  binary = same;
  EXPECT_EQ(binary.ByteCount(), 1U);
}

using ValueLists = ContractTest;

template <class List, class Element>
void ExpectCountsFromOne(const Element& first, const Element& second) {
  List list;
  EXPECT_EQ(list.Size(), 0);
  list.Append(first);
  list.Append(second);
  for (int i = 1; i < 20; ++i) {
    list.Append(list[i]);
  }
  EXPECT_EQ(list.Size(), 21);
  list.RemoveAll();
  EXPECT_EQ(list.Size(), 0);
}

TEST_F(ValueLists, Binaries_AreHeldByValue) {
  ExpectCountsFromOne<ZEPListValZEPBinary>(ZEPBinary("abc", 3), ZEPBinary());
  ZEPListValZEPBinary list;
  {
    const ZEPBinary binary("abc", 3);
    list.Append(binary);
  }
  EXPECT_EQ(list[1].ByteCount(), 3U);
}

TEST_F(ValueLists, Booleans_AreHeldByValue) {
  ExpectCountsFromOne<ZEPListValZEPBoolean>(static_cast<unsigned char>(1), static_cast<unsigned char>(0));
  ZEPListValZEPBoolean list;
  list.Append(0);
  list.Append(1);
  EXPECT_EQ(list[1], 0);
  EXPECT_NE(list[2], 0);
}

TEST_F(ValueLists, Identifiers_AreHeldByValue) {
  ExpectCountsFromOne<ZEPListValZEPPLMID>(ZEPPLMID("a"), ZEPPLMID());
  ZEPListValZEPPLMID list;
  list.Append(ZEPPLMID("a"));
  EXPECT_FALSE(list[1].IsNull());
}

using RawCollections = ContractTest;

template <class Collection, class Element>
void ExpectRawCollection(Element first, Element second) {
  Collection collection(7);
  EXPECT_EQ(collection.Size(), 0) << "the initial size is a capacity";
  collection.Append(first);
  collection.Append(second);
  ASSERT_EQ(collection.Size(), 2);
  EXPECT_EQ(collection[1], first);
  EXPECT_EQ(std::as_const(collection)[2], second);
  for (const ZEPCollec::MemoryHandling mode : {ZEPCollec::KeepMemory, ZEPCollec::ReleaseMemory}) {
    collection.RemoveAll(mode);
    EXPECT_EQ(collection.Size(), 0);
    collection.Append(second);
    EXPECT_EQ(collection[1], second);
  }
  EXPECT_EQ(Collection(0).Size(), 0);
  EXPECT_EQ(Collection(-1).Size(), 0);
}

TEST_F(RawCollections, Numbers_StartEmpty_CountFromOne) {
  ExpectRawCollection<ZEPRawCollint>(7, -8);
}

TEST_F(RawCollections, Pointers_StartEmpty_CountFromOne) {
  int target = 0;
  ExpectRawCollection<ZEPRawCollPV, void*>(&target, nullptr);
}

// ---- identifiers ----

using PLMID = ContractTest;

TEST_F(PLMID, AsConstructedOrOfAnEmptyText_IsNull) {
  EXPECT_TRUE(ZEPPLMID().IsNull());
  EXPECT_TRUE(ZEPPLMID(ZEPUnicodeString()).IsNull());
  EXPECT_FALSE(ZEPPLMID("x").IsNull());
}

TEST_F(PLMID, Copies_HaveTheSameText) {
  ZEPPLMID id("an:identifier:1");
  const ZEPPLMID copy(id);
  ZEPPLMID assigned;
  assigned = id;
  id = ZEPPLMID();
  EXPECT_TRUE(id.IsNull());
  EXPECT_FALSE(copy.ToString(0).IsEmpty());
  EXPECT_TRUE(copy.ToString(0) == assigned.ToString(0));
}

// ---- codes and constants ----

using ResultCodes = ContractTest;

TEST_F(ResultCodes, Failures_AreNegative_WhateverTheSizeOfLong) {
  struct Row {
    int line;
    long code;
    std::uint32_t bits;
  };
  const Row rows[] = {Row{__LINE__, E_FAIL, 0x80004005U}, Row{__LINE__, E_INVALIDARG, 0x80070057U},
                      Row{__LINE__, ZEP_E_HTTP_STATUS, 0x80090136U},
                      Row{__LINE__, ZEP_E_HTTP_NOT_FOUND, 0x80090137U}};
  for (const Row& row : rows) {
    SCOPED_TRACE(row.line);
    EXPECT_LT(row.code, 0);
    EXPECT_EQ(static_cast<std::uint32_t>(row.code), row.bits);
    EXPECT_TRUE(IsResultCode(row.code));
    EXPECT_TRUE(ZEPFailed(row.code));
    EXPECT_FALSE(ZEPSucceeded(row.code));
  }
}

TEST_F(ResultCodes, Successes_AreNotNegative) {
  EXPECT_EQ(S_OK, 0);
  EXPECT_EQ(S_FALSE, 1);
  for (const long code : {S_OK, S_FALSE, 4711L}) {
    EXPECT_TRUE(ZEPSucceeded(code));
    EXPECT_FALSE(ZEPFailed(code));
  }
}

TEST_F(ResultCodes, valueToMacro_HasTheNamesOfCodes_SignExtended) {
  struct Row {
    int line;
    long code;
    const char* name;
  };
  const Row rows[] = {Row{__LINE__, S_OK, "S_OK"}, Row{__LINE__, S_FALSE, "S_FALSE"},
                      Row{__LINE__, E_FAIL, "E_FAIL"}, Row{__LINE__, E_INVALIDARG, "E_INVALIDARG"}};
  for (const Row& row : rows) {
    SCOPED_TRACE(row.line);
    const auto found = valueToMacro.find(row.code);
    ASSERT_NE(found, valueToMacro.end());
    EXPECT_STREQ(found->second, row.name);
  }
  for (const auto& [code, name] : valueToMacro) {
    EXPECT_TRUE(IsResultCode(code)) << name;
    EXPECT_NE(name, nullptr) << code;
  }
}

TEST_F(ResultCodes, valueToMacro_HasNoName_OfTheHttpCodes) {
  EXPECT_EQ(valueToMacro.count(ZEP_E_HTTP_STATUS), 0U);
  EXPECT_EQ(valueToMacro.count(ZEP_E_HTTP_NOT_FOUND), 0U);
}

// Initialised when the program is loaded, as the library's own tables are.
const std::size_t namesSeenAtLoad = valueToMacro.size();

TEST_F(ResultCodes, valueToMacro_IsBuilt_WhenTheLibraryIsLoaded) {
  EXPECT_EQ(namesSeenAtLoad, valueToMacro.size());
}

using Enumerations = ContractTest;

TEST_F(Enumerations, DiversityDomains_HaveTheirNumbers_OnBothSides) {
  struct Row {
    int line;
    int number;
    ZEPCfgDiversityDomain callers;
    PLMCfgDiversityDomain core;
  };
  const Row rows[] = {Row{__LINE__, 0, ZEPCfgDiversityDomainUnset, PLMCfgDiversityDomainUnset},
                      Row{__LINE__, 1, ZEPCfgDiversityDomainDWS, PLMCfgDiversityDomainDWS},
                      Row{__LINE__, 2, ZEPCfgDiversityDomainConfigChange, PLMCfgDiversityDomainConfigChange},
                      Row{__LINE__, 3, ZEPCfgDiversityDomainEngineeringActivation,
                          PLMCfgDiversityDomainEngineeringActivation},
                      Row{__LINE__, 4, ZEPCfgDiversityDomainEvolution, PLMCfgDiversityDomainEvolution},
                      Row{__LINE__, 5, ZEPCfgDiversityDomainVariant, PLMCfgDiversityDomainVariant}};
  for (const Row& row : rows) {
    SCOPED_TRACE(row.line);
    EXPECT_EQ(static_cast<int>(row.callers), row.number);
    EXPECT_EQ(static_cast<int>(row.core), row.number);
  }
}

TEST_F(Enumerations, Views_HaveTheirNumbers_WhichDiffer) {
  EXPECT_EQ(static_cast<int>(ZEPCfgEffectivityViewUnset), 0);
  EXPECT_EQ(static_cast<int>(ZEPCfgEffectivityViewSource), 1);
  EXPECT_EQ(static_cast<int>(ZEPCfgEffectivityViewCurrent), 2);
  EXPECT_EQ(static_cast<int>(ZEPCfgEffectivityViewProjected), 3);
  EXPECT_EQ(static_cast<int>(PLMCfgExpressionViewSource), 0);
  EXPECT_EQ(static_cast<int>(PLMCfgExpressionViewCurrent), 1);
  EXPECT_EQ(static_cast<int>(PLMCfgExpressionViewProjected), 2);
  EXPECT_EQ(static_cast<int>(PLMCfgExpressionViewUnset), 3);
}

template <class Enumeration>
void ExpectEveryIntFits() {
  EXPECT_TRUE((std::is_same_v<std::underlying_type_t<Enumeration>, int>));
}

// Callers hand on numbers that no enumerator has.
TEST_F(Enumerations, EveryNumber_MayBeCast) {
  ExpectEveryIntFits<ZEPCfgDiversityDomain>();
  ExpectEveryIntFits<PLMCfgDiversityDomain>();
  ExpectEveryIntFits<ZEPCfgEffectivityView>();
  ExpectEveryIntFits<PLMCfgExpressionView>();
  ExpectEveryIntFits<PLMCfgComparisonMode>();
}

using XMLVocabulary = ContractTest;

TEST_F(XMLVocabulary, EveryName_IsThere) {
  for (const char* const name :
       {CFG_NAMESPACE, VAL_XML_NAMESPACE, ATTRIBUTE_XML_NAMESPACE, ATTRIBUTE_NAMESPACE,
        ATTRIBUTE_SCHEMA_LOCATION, FILTEREXPR_SCHEMA_LOCATION, FILTEREXPR_ELEMENT_ROOT,
        ELEMENT_FILTERSELECTION, ATTR_SELECTIONMODE, VAL_STRICT, ELEMENT_CONTEXT, ATTR_HOLDER_TYPE,
        ATTR_HOLDER_NAME, VAL_MODEL, ELEMENT_BOOLEAN, VAL_TRUE}) {
    ASSERT_NE(name, nullptr);
    EXPECT_GT(std::strlen(name), 0U);
  }
}

} // namespace
