#include "HttpCalls.h"
#include "RawServer.h"
#include "ZEPHResult.h"
#include "ZEPOmxDefaultHttpClient.h"
#include "ZEPOmxHttpGet.h"
#include "ZEPOmxHttpPost.h"
#include "ZEPOmxHttpPut.h"
#include "ZEPOmxHttpStringEntity.h"
#include "ZEPOmxIOUtils.h"
#include "ZEPOmxKeyString.h"
#include "ZEPOmxUTF8String.h"

#include <gmock/gmock-matchers.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <string>
#include <vector>

namespace {

using testing::HasSubstr;

std::string Bytes(const ZEPOmxUTF8String& text) {
  return {text.asChar(), text.length()};
}

// A stream that answers its calls one by one from a list; at its end it says so.
class ScriptedStream final : public ZEPIOmxInputStream {
public:
  struct Step {
    long result;
    std::string bytes;
    std::size_t count; // what it claims to have read
  };
  explicit ScriptedStream(std::vector<Step> steps) : m_steps(std::move(steps)) {}

  long Read(char* oBuffer, std::size_t iCapacity, std::size_t& oCount) override {
    oCount = 0;
    if (oBuffer == nullptr) {
      return E_INVALIDARG;
    }
    if (m_next == m_steps.size()) {
      return S_FALSE;
    }
    const Step& step = m_steps[m_next++];
    step.bytes.copy(oBuffer, iCapacity);
    oCount = step.count;
    return step.result;
  }

private:
  std::vector<Step> m_steps;
  std::size_t m_next = 0;
};

class ScriptedEntity final : public ZEPOmxHttpEntity {
public:
  ScriptedEntity(long result, std::vector<ScriptedStream::Step> steps)
      : m_result(result),
        m_steps(std::move(steps)) {}

  long GetContent(ZEPOmxSP<ZEPIOmxInputStream>& oStream) override {
    if (ZEPSucceeded(m_result)) {
      oStream = ZEPOmxSP<ZEPIOmxInputStream>(new ScriptedStream(m_steps));
    }
    return m_result;
  }

private:
  long m_result;
  std::vector<ScriptedStream::Step> m_steps;
};

class ForeignRequest final : public ZEPOmxHttpRequest {
public:
  void AddHeader(const ZEPOmxKeyString& /*iKey*/, const ZEPUnicodeString& /*iValue*/) override {}
};

class HttpObjectClient : public testing::Test {
protected:
  long Execute(const ZEPOmxSP<ZEPOmxHttpRequest>& request) { return client->Execute(request, response); }
  long Put(const ZEPOmxSP<ZEPOmxHttpEntity>& entity) {
    const ZEPOmxSP<ZEPOmxHttpPut> put = ZEPOmxHttpPut::Create(Text(server.Url()));
    put->SetEntity(entity);
    return Execute(put);
  }

  RawServer server;
  ZEPOmxSP<ZEPOmxDefaultHttpClient> client = ZEPOmxDefaultHttpClient::Create(0);
  ZEPOmxSP<ZEPOmxHttpResponse> response;
};

TEST_F(HttpObjectClient, Create_GivesNull_UnknownFlag) {
  EXPECT_TRUE(ZEPOmxDefaultHttpClient::Create(1).IsNull());
}

TEST_F(HttpObjectClient, Request_MayBeSentAgain_SameObjects) {
  const ZEPOmxSP<ZEPOmxHttpPost> post = ZEPOmxHttpPost::Create(Text(server.Url("/s")));
  post->SetServiceName("Qubelle");
  post->SetEntity(ZEPOmxHttpStringEntity::Create(Text("{\"a\":1}")));
  post->AddHeader(ZEPOmxKeyString("X-A"), Text("1"));
  post->AddHeader(ZEPOmxKeyString("X-A"), Text("2"));
  for (std::size_t call = 1; call <= 2; ++call) {
    response = nullptr;
    ASSERT_EQ(Execute(post), S_OK);
    ASSERT_EQ(server.Requests().size(), call);
    EXPECT_EQ(server.Requests().back().body, "{\"a\":1}");
    EXPECT_THAT(server.Requests().back().head, HasSubstr("\r\nX-A: 1\r\nX-A: 2\r\n"));
    EXPECT_EQ(server.Requests().back().head.find("Qubelle"), std::string::npos);
  }
}

TEST_F(HttpObjectClient, Body_IsEmpty_NoEntity) {
  EXPECT_EQ(Put(nullptr), S_OK);
  EXPECT_EQ(server.Requests().back().Line("Content-Length"), "Content-Length: 0");
}

TEST_F(HttpObjectClient, Body_IsUtf8_TextWithNulAndLoneSurrogate) {
  const char16_t units[] = {u'a', 0, 0xD800, u'b', 0xD83D, 0xDE00};
  EXPECT_EQ(Put(ZEPOmxHttpStringEntity::Create(ZEPUnicodeString(units, 6))), S_OK);
  EXPECT_EQ(server.Requests().back().body, std::string("a\0\uFFFDb\U0001F600", 10));
}

TEST_F(HttpObjectClient, Body_ComesFromAnyEntity_PiecewiseStream) {
  const ZEPOmxSP<ZEPOmxHttpEntity> entity(new ScriptedEntity(S_OK, {{S_OK, "ab", 2}, {S_OK, "c", 1}}));
  EXPECT_EQ(Put(entity), S_OK);
  EXPECT_EQ(server.Requests().back().body, "abc");
}

TEST_F(HttpObjectClient, Execute_GivesTheEntitysCodeAndSendsNothing_BodyUnreadable) {
  EXPECT_EQ(Put(ZEPOmxSP<ZEPOmxHttpEntity>(new ScriptedEntity(E_ACCESSDENIED, {}))), E_ACCESSDENIED);
  EXPECT_EQ(Put(ZEPOmxSP<ZEPOmxHttpEntity>(new ScriptedEntity(S_OK, {{S_OK, "ab", 2}, {E_ABORT, "", 0}}))),
            E_ABORT);
  EXPECT_TRUE(response.IsNull());
  EXPECT_EQ(server.Requests().size(), 0U);
}

TEST_F(HttpObjectClient, Execute_Fails_NoRequestOfThisPlatform) {
  EXPECT_EQ(Execute(nullptr), E_INVALIDARG);
  EXPECT_EQ(Execute(ZEPOmxSP<ZEPOmxHttpRequest>(new ForeignRequest)), E_INVALIDARG);
  EXPECT_TRUE(response.IsNull());
}

TEST_F(HttpObjectClient, Execute_Refuses_NulInUrlOrHeader) {
  const char16_t url[] = u"http://127.0.0.1/\0x";
  EXPECT_EQ(Execute(ZEPOmxHttpGet::Create(ZEPUnicodeString(url, 19))), E_INVALIDARG);
  for (const auto& [name, value] : {std::pair(std::string("X-A"), std::string("a\0b", 3)),
                                    std::pair(std::string("X\0A", 3), std::string("v")),
                                    std::pair(std::string("X-A"), std::string("v\0\r\n", 4))}) {
    const ZEPOmxSP<ZEPOmxHttpGet> get = ZEPOmxHttpGet::Create(Text(server.Url()));
    get->AddHeader(ZEPOmxKeyString(name.data(), name.size()), Text(value));
    EXPECT_EQ(Execute(get), E_INVALIDARG);
  }
  EXPECT_TRUE(response.IsNull());
  EXPECT_EQ(server.Requests().size(), 0U);
}

TEST_F(HttpObjectClient, Execute_EndsTheProcess_ResponseNotNull) {
  GTEST_FLAG_SET(death_test_style, "threadsafe"); // the server has threads
  ASSERT_EQ(Put(nullptr), S_OK);
  EXPECT_DEATH(Put(nullptr), "there is a response already");
}

TEST_F(HttpObjectClient, Entity_CanBeReadAgainAndOutlivesTheResponse_SeveralStreams) {
  server.Enqueue(RawServer::Whole("HTTP/1.1 200 OK", "abcdef"));
  ASSERT_EQ(Put(nullptr), S_OK);
  const ZEPOmxSP<ZEPOmxHttpEntity> entity = response->GetEntity();
  const ZEPOmxSP<ZEPOmxHttpStatusLine> statusLine = response->GetStatusLine();
  response = nullptr;
  client = nullptr;
  ZEPOmxSP<ZEPIOmxInputStream> first;
  ZEPOmxSP<ZEPIOmxInputStream> second;
  ASSERT_EQ(entity->GetContent(first), S_OK);
  char buffer[4] = {};
  std::size_t count = 99;
  EXPECT_EQ(first->Read(buffer, 4, count), S_OK);
  EXPECT_EQ(std::string(buffer, count), "abcd");
  ASSERT_EQ(entity->GetContent(second), S_OK);
  ZEPOmxUTF8String whole;
  EXPECT_EQ(ZEPOmxIOUtils::ToString(second, whole), S_OK);
  EXPECT_EQ(Bytes(whole), "abcdef");
  EXPECT_EQ(first->Read(buffer, 4, count), S_OK);
  EXPECT_EQ(std::string(buffer, count), "ef");
  EXPECT_EQ(first->Read(buffer, 4, count), S_FALSE);
  EXPECT_EQ(count, 0U);
  count = 99;
  EXPECT_EQ(first->Read(nullptr, 4, count), E_INVALIDARG);
  EXPECT_EQ(count, 0U);
  EXPECT_EQ(Bytes(statusLine->ToString()), "HTTP/1.1 200 OK");
}

TEST(HttpIOUtils, ToString_ReadsToTheEndOrLeavesTheOutput_TableOfStreams) {
  struct Row {
    int line;
    std::vector<ScriptedStream::Step> steps;
    long result;
    std::string text;
  };
  const Row rows[] = {
      Row{__LINE__, {}, S_OK, ""},
      Row{__LINE__, {{S_OK, "abc", 3}}, S_OK, "abc"},
      Row{__LINE__, {{S_OK, "abc", 3}, {S_OK, "d", 1}, {S_FALSE, "", 0}}, S_OK, "abcd"},
      Row{__LINE__, {{7, "abc", 3}, {S_FALSE, "", 0}}, S_OK, "abc"},
      Row{__LINE__, {{E_ABORT, "", 0}}, E_ABORT, "before"},
      Row{__LINE__, {{S_OK, "abc", 3}, {E_ABORT, "", 0}}, E_ABORT, "before"},
      // Streams that break their contract: going on would read forever, or beyond the buffer.
      Row{__LINE__, {{S_OK, "", 0}}, E_UNEXPECTED, "before"},
      Row{__LINE__, {{S_OK, "abc", std::size_t{1} << 40}}, E_UNEXPECTED, "before"},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(row.line);
    ZEPOmxUTF8String text("before", 6);
    EXPECT_EQ(ZEPOmxIOUtils::ToString(ZEPOmxSP<ZEPIOmxInputStream>(new ScriptedStream(row.steps)), text),
              row.result);
    EXPECT_EQ(Bytes(text), row.text);
  }
}

TEST(HttpIOUtils, ToString_Fails_NoStream) {
  ZEPOmxUTF8String text("before", 6);
  EXPECT_EQ(ZEPOmxIOUtils::ToString(nullptr, text), E_POINTER);
  EXPECT_EQ(Bytes(text), "before");
}

} // namespace
