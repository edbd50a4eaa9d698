#include "ZEPBaseUnknown_var.h"
#include "ZEPComponent.h"
#include "ZEPListValZEPUnicodeString.h"
#include "ZEPOmxKeyString.h"
#include "ZEPOmxSP.h"
#include "ZEPOmxUTF8String.h"
#include "ZEPToken.h"
#include "ZEPUnicodeString.h"
#include "ZEPXMLClassIds.h"
#include "ZEPXMLXSLTransformerOptions.h"

#include <gtest/gtest.h>

#include <cstring>
#include <string>
#include <thread>
#include <utility>
#include <vector>

namespace {

using namespace std::string_literals;

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

using Interface_var = ZEPInterface_var<Interface>;

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

TEST(Handle, Call_RaisesNullHandleError_WhenEmpty) {
  const Interface_var empty;
  EXPECT_TRUE(!empty);
  EXPECT_THROW(empty->Number(), ZEPErrorNullVar);
  EXPECT_THROW(Interface_var(NULL_var)->Number(), ZEPErrorNullVar);
  EXPECT_THROW(ZEPBaseUnknown_var::ThrowErrorNullVar(), ZEPErrorNullVar);
  Interface_var emptied(new Component(1));
  emptied = NULL_var;
  EXPECT_THROW(emptied->Number(), ZEPErrorNullVar);
  try {
    static_cast<void>(empty->Number());
  } catch (const std::exception& error) {
    EXPECT_GT(std::strlen(error.what()), 0U);
  }
}

TEST(Handle, Object_LivesAsLongAsItsHandles_CopiesAndAssignments) {
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

TEST(Handle, Construction_TakesTheReferenceOver_OfTheCaller) {
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
class Watching : public ZEPComponent<Interface> {
public:
  Watching(const Interface_var& handle, int& seen) : m_handle(handle), m_seen(seen) {}
  int Number() const override { return 1; }

private:
  ~Watching() override { m_seen = !m_handle ? 0 : m_handle->Number(); }

  const Interface_var& m_handle;
  int& m_seen;
};

TEST(Handle, Assignment_PutsTheNewObjectInPlace_BeforeReleasing) {
  int seen = -1;
  Interface_var handle;
  handle = Interface_var(new Watching(handle, seen));
  handle = Interface_var(new Component(7));
  EXPECT_EQ(seen, 7);
  handle = Interface_var(new Watching(handle, seen));
  handle = NULL_var;
  EXPECT_EQ(seen, 0);
}

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

TEST(OmxObject, LastPointer_DeletesIt_CopiesAndAssignments) {
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

TEST(OmxObject, NewObject_HasNoReference_UntilHeld) {
  const Counted* const object = new Counted;
  object->AddRef();
  object->AddRef();
  object->Release();
  EXPECT_EQ(Counted::alive, 1);
  object->Release();
  EXPECT_EQ(Counted::alive, 0);
}

TEST(OmxAssertDeathTest, Failure_EndsTheProcess_WithItsText) {
  EXPECT_DEATH(ZEPOmxAssertionFailed("the request is missing"), "the request is missing");
  EXPECT_DEATH(ZEPOmxAssertionFailed(nullptr), "Assertion failed");
  EXPECT_DEATH(static_cast<void>(ZEPOmxSP<Counted>()->Number()), "null pointer");
}

TEST(OmxUTF8String, Text_IsKeptByte_ForByte) {
  const ZEPOmxUTF8String empty;
  EXPECT_EQ(empty.length(), 0U);
  EXPECT_STREQ(empty.asChar(), "");
  EXPECT_EQ(ZEPOmxUTF8String(nullptr, 0).length(), 0U);

  const char16_t units[] = {u'a', u'\0', 0x20AC, 0xD83D};
  const ZEPOmxUTF8String converted(ZEPUnicodeString(units, std::size(units)));
  EXPECT_EQ(std::string(converted.asChar(), converted.length()), "a\0\xE2\x82\xAC\xEF\xBF\xBD"s);

  ZEPOmxUTF8String unchecked("\xFF\0\x80", 3);
  EXPECT_EQ(std::string(unchecked.asChar(), unchecked.length() + 1), "\xFF\0\x80\0"s);

  ZEPOmxUTF8String copy(unchecked);
  ZEPOmxUTF8String moved(std::move(unchecked));
  EXPECT_EQ(moved.length(), 3U);
  EXPECT_EQ(unchecked.length(), 0U); // NOLINT(bugprone-use-after-move)
  copy = converted;
  EXPECT_EQ(copy.length(), converted.length());
  copy = std::move(moved);
  EXPECT_EQ(copy.length(), 3U);
  EXPECT_EQ(moved.length(), 0U); // NOLINT(bugprone-use-after-move)
}

TEST(OmxKeyString, Text_IsGivenOut_InBothForms) {
  const ZEPOmxKeyString key("pr\xC3\xA9");
  EXPECT_STREQ(key.ToUTF8String().asChar(), "pr\xC3\xA9");
  EXPECT_TRUE(key.ToUnicodeString() == "pr\xC3\xA9");
  const ZEPOmxKeyString withNul("a\0b", 3);
  EXPECT_EQ(withNul.ToUTF8String().length(), 3U);
  EXPECT_EQ(withNul.ToUnicodeString().GetLengthInChar(), 3);
  const char* const nothing = nullptr;
  EXPECT_EQ(ZEPOmxKeyString(nothing).ToUTF8String().length(), 0U);
}

TEST(StringList, Elements_AreCounted_FromOne) {
  ZEPListValZEPUnicodeString list;
  EXPECT_EQ(list.Size(), 0);
  list.Append("first");
  list.Append("second");
  ASSERT_EQ(list.Size(), 2);
  EXPECT_TRUE(list[1] == "first");
  EXPECT_TRUE(list[2] == "second");
  list[2] = "changed";
  EXPECT_TRUE(std::as_const(list)[2] == "changed");
  list.RemoveAll();
  EXPECT_EQ(list.Size(), 0);
  list.Append("again");
  EXPECT_TRUE(list[1] == "again");
}

TEST(StringList, Append_CopiesAnElement_OfTheSameList) {
  ZEPListValZEPUnicodeString list;
  list.Append("a text that is too long to be kept in place");
  for (int i = 1; i < 40; ++i) {
    list.Append(list[i]);
  }
  ASSERT_EQ(list.Size(), 40);
  for (int i = 1; i <= 40; ++i) {
    EXPECT_TRUE(list[i] == "a text that is too long to be kept in place");
  }
}

TEST(StringList, Copy_HasItsOwn_Elements) {
  ZEPListValZEPUnicodeString list;
  list.Append("one");
  ZEPListValZEPUnicodeString copy(list);
  copy[1] = "other";
  EXPECT_TRUE(list[1] == "one");
  copy = list;
  list.RemoveAll();
  ASSERT_EQ(copy.Size(), 1);
  EXPECT_TRUE(copy[1] == "one");
  ZEPListValZEPUnicodeString& same = copy;
  copy = same;
  EXPECT_EQ(copy.Size(), 1);
}

TEST(Tokenizer, Tokens_AreGivenOut_EmptyOnesToo) {
  struct Row {
    int line;
    const char* text;
    const char* separator;
    std::vector<const char*> tokens;
  };
  const Row rows[] = {
      Row{__LINE__, "C:\\a;C:\\b", ";", {"C:\\a", "C:\\b"}},
      Row{__LINE__, "a;;b", ";", {"a", "", "b"}},
      Row{__LINE__, ";a;", ";", {"", "a", ""}},
      Row{__LINE__, "", ";", {""}},
      Row{__LINE__, ";", ";", {"", ""}},
      Row{__LINE__, "alone", ";", {"alone"}},
      Row{__LINE__, " a ; b ", ";", {" a ", " b "}},
      Row{__LINE__, "a--b-c---d", "--", {"a", "b-c", "-d"}},
      Row{__LINE__, "a;b", "", {"a;b"}},
      Row{__LINE__, "\xE2\x82\xAC;\xC3\xA9", ";", {"\xE2\x82\xAC", "\xC3\xA9"}},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(row.line);
    ZEPToken tokenizer(row.text, row.separator);
    for (const char* const expected : row.tokens) {
      EXPECT_STREQ(tokenizer.GetNextToken().CastToCharPtr(), expected);
    }
    EXPECT_TRUE(tokenizer.GetNextToken().IsEmpty());
    EXPECT_TRUE(tokenizer.GetNextToken().IsEmpty());
  }
}

TEST(ClassIds, Values_AreDistinct_AndSet) {
  const GUID* const ids[] = {&CLSID_XML4C_SAX, &CLSID_XSLT_JAVA, &CLSID_XML4C5_PP};
  const GUID none{};
  for (const GUID* const id : ids) {
    EXPECT_NE(std::memcmp(id, &none, sizeof(GUID)), 0);
    for (const GUID* const other : ids) {
      EXPECT_EQ(std::memcmp(id, other, sizeof(GUID)) == 0, id == other);
    }
  }
}

// Initialised while this program is loaded, when the platform is there already.
const ZEPUnicodeString optionSeenAtLoad(ZEPXMLXSLTransformerOptions::OutputFormat);

TEST(TransformerOptions, Names_AreThere_WhenAProgramIsLoaded) {
  EXPECT_FALSE(optionSeenAtLoad.IsEmpty());
  EXPECT_TRUE(optionSeenAtLoad == ZEPXMLXSLTransformerOptions::OutputFormat);
}

} // namespace
