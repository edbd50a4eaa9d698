#include "ContractTest.h"
#include "ZEPHttpClient.h"
#include "ZEPOmxDefaultHttpClient.h"
#include "ZEPOmxHttpGet.h"
#include "ZEPOmxHttpPost.h"
#include "ZEPOmxHttpPut.h"
#include "ZEPOmxHttpStringEntity.h"
#include "ZEPOmxIOUtils.h"
#include "ZEPOmxJson.h"
#include "ZEPOmxKeyString.h"
#include "ZEPOmxKeyValueBlock.h"

#include <algorithm>
#include <cstdlib>
#include <string>
#include <utility>
#include <vector>

// Both HTTP clients, and JSON.

namespace {

using namespace zep::contract;

constexpr unsigned long kKeepConnection = 0x400000;
constexpr unsigned long kCoalesce = 0x40000000;
constexpr unsigned long kStatusCode = 19;
const char* const kNobody = "http://127.0.0.1:1/";

std::string BytesOf(const ZEPOmxUTF8String& text) {
  return {text.asChar(), text.length()};
}

bool WasSent(const SentRequest& request, const std::string& header) {
  return std::find(request.headers.begin(), request.headers.end(), header) != request.headers.end();
}

// ---- the object client ----

using ObjectHttpClient = ContractTest;

long Execute(const ZEPOmxSP<ZEPOmxHttpRequest>& request, ZEPOmxSP<ZEPOmxHttpResponse>& response) {
  const ZEPOmxSP<ZEPOmxDefaultHttpClient> client = ZEPOmxDefaultHttpClient::Create(0);
  EXPECT_FALSE(client.IsNull());
  return client->Execute(request, response);
}

std::string BodyOf(const ZEPOmxSP<ZEPOmxHttpEntity>& entity) {
  ZEPOmxSP<ZEPIOmxInputStream> stream;
  ZEPOmxUTF8String body("before", 6);
  EXPECT_EQ(entity->GetContent(stream), S_OK);
  EXPECT_FALSE(stream.IsNull());
  EXPECT_EQ(ZEPOmxIOUtils::ToString(stream, body), S_OK);
  return BytesOf(body);
}

TEST_F(ObjectHttpClient, Answer_IsASuccess_WhateverItsStatus) {
  for (const auto& [status, line] :
       {std::pair(200, "HTTP/1.1 200 OK"), std::pair(404, "HTTP/1.1 404 Not Found"),
        std::pair(500, "HTTP/1.1 500 Own words")}) {
    HttpAnswer answer;
    answer.status = status;
    answer.statusLine = line;
    std::string url;
    ZEP_NEEDS(TheWorld().Answer(answer, url));
    ZEPOmxSP<ZEPOmxHttpResponse> response;
    EXPECT_SUCCESS(Execute(ZEPOmxHttpGet::Create(Text(url)), response));
    ASSERT_FALSE(response.IsNull());
    ASSERT_FALSE(response->GetStatusLine().IsNull());
    EXPECT_EQ(response->GetStatusLine()->GetStatusCode(), status);
    EXPECT_EQ(Bytes(response->GetStatusLine()->ToString()), line);
  }
}

TEST_F(ObjectHttpClient, Body_IsThereAgainAndAgain_AndOutlivesTheResponse) {
  HttpAnswer answer;
  answer.body = std::string("caf\xC3\xA9\0\xFF", 7);
  std::string url;
  ZEP_NEEDS(TheWorld().Answer(answer, url));
  ZEPOmxSP<ZEPOmxHttpResponse> response;
  EXPECT_SUCCESS(Execute(ZEPOmxHttpGet::Create(Text(url)), response));
  ASSERT_FALSE(response.IsNull());
  const ZEPOmxSP<ZEPOmxHttpEntity> entity = response->GetEntity();
  ASSERT_FALSE(entity.IsNull());
  response = nullptr;
  EXPECT_EQ(BodyOf(entity), *answer.body);
  EXPECT_EQ(BodyOf(entity), *answer.body);
}

TEST_F(ObjectHttpClient, AnswerWithoutABody_HasNone) {
  HttpAnswer answer;
  answer.status = 204;
  answer.statusLine = "HTTP/1.1 204 No Content";
  answer.body = std::nullopt;
  std::string url;
  ZEP_NEEDS(TheWorld().Answer(answer, url));
  ZEPOmxSP<ZEPOmxHttpResponse> response;
  EXPECT_SUCCESS(Execute(ZEPOmxHttpGet::Create(Text(url)), response));
  ASSERT_FALSE(response.IsNull());
  const ZEPOmxSP<ZEPOmxHttpEntity> entity = response->GetEntity();
  EXPECT_TRUE(entity.IsNull());
}

TEST_F(ObjectHttpClient, Stream_EndsWithSFalse) {
  HttpAnswer answer;
  answer.body = "abcdef";
  std::string url;
  ZEP_NEEDS(TheWorld().Answer(answer, url));
  ZEPOmxSP<ZEPOmxHttpResponse> response;
  EXPECT_SUCCESS(Execute(ZEPOmxHttpGet::Create(Text(url)), response));
  ASSERT_FALSE(response.IsNull());
  ZEPOmxSP<ZEPIOmxInputStream> stream;
  ASSERT_EQ(response->GetEntity()->GetContent(stream), S_OK);
  std::string read;
  char buffer[4];
  std::size_t count = 99;
  while (stream->Read(buffer, sizeof buffer, count) == S_OK && read.size() < 100) {
    ASSERT_GT(count, 0U);
    ASSERT_LE(count, sizeof buffer);
    read.append(buffer, count);
  }
  EXPECT_EQ(read, "abcdef");
  EXPECT_EQ(count, 0U);
  EXPECT_EQ(stream->Read(buffer, sizeof buffer, count), S_FALSE);
}

TEST_F(ObjectHttpClient, NoAnswer_LeavesTheResponseNull) {
  ZEP_NEEDS(TheWorld().LetFail(Failing::Execute));
  ZEPOmxSP<ZEPOmxHttpResponse> response;
  EXPECT_FAILURE(Execute(ZEPOmxHttpGet::Create(kNobody), response));
  EXPECT_TRUE(response.IsNull());
}

template <class Request>
ZEPOmxSP<Request> WithBody(const std::string& url) {
  const ZEPOmxSP<Request> request = Request::Create(Text(url));
  EXPECT_FALSE(request.IsNull());
  std::string service = "Service";
  request->SetServiceName(service.c_str());
  service.assign(service.size(), 'x');
  ZEPUnicodeString text("{\"\xC3\xA9\":1}");
  const ZEPOmxSP<ZEPOmxHttpStringEntity> entity = ZEPOmxHttpStringEntity::Create(text);
  EXPECT_FALSE(entity.IsNull());
  text = "changed";
  request->SetEntity(entity); // the request has a reference of its own from now on
  return request;
}

TEST_F(ObjectHttpClient, Requests_AreMadeOfEveryVerb_AndHoldTheirBodies) {
  std::string url;
  ZEP_NEEDS(TheWorld().Answer({}, url));
  ZEPOmxSP<ZEPOmxHttpResponse> response;
  EXPECT_SUCCESS(Execute(WithBody<ZEPOmxHttpPut>(url), response));
  ZEP_NEEDS(TheWorld().Answer({}, url));
  response = nullptr;
  EXPECT_SUCCESS(Execute(WithBody<ZEPOmxHttpPost>(url), response));
  EXPECT_FALSE(response.IsNull());
}

TEST_F(ObjectHttpClient, StringEntity_IsUtf8_OfItsOwnCopy) {
  ZEPUnicodeString text("caf\xC3\xA9");
  const ZEPOmxSP<ZEPOmxHttpStringEntity> entity = ZEPOmxHttpStringEntity::Create(text);
  text = "changed";
  EXPECT_EQ(BodyOf(entity), "caf\xC3\xA9");
}

TEST_F(ObjectHttpClient, RequestSent_HasVerbHeadersAndBody) {
  std::string url;
  ZEP_NEEDS(TheWorld().Answer({}, url));
  const ZEPOmxSP<ZEPOmxHttpPost> request = WithBody<ZEPOmxHttpPost>(url);
  request->AddHeader(ZEPOmxKeyString("X-Contract"), "one\r\n");
  request->AddHeader(ZEPOmxKeyString("X-Contract"), "two");
  ZEPOmxSP<ZEPOmxHttpResponse> response;
  EXPECT_SUCCESS(Execute(request, response));
  SentRequest sent;
  ZEP_NEEDS(TheWorld().LastRequest(sent));
  EXPECT_EQ(sent.verb, "POST");
  EXPECT_TRUE(WasSent(sent, "X-Contract: one"));
  EXPECT_TRUE(WasSent(sent, "X-Contract: two"));
  EXPECT_EQ(sent.body, "{\"\xC3\xA9\":1}");
}

TEST_F(ObjectHttpClient, HeaderThatWouldBreakTheMessage_IsNotSent) {
  ZEP_NEEDS(TheWorld().Has(Ability::HttpChecks));
  std::string url;
  ZEP_NEEDS(TheWorld().Answer({}, url));
  for (const std::string& value : {std::string("a\r\nX-Other: b"), std::string("a\nb"),
                                   std::string("a\0b", 3), std::string("a\r\n\r\n")}) {
    const ZEPOmxSP<ZEPOmxHttpGet> request = ZEPOmxHttpGet::Create(Text(url));
    request->AddHeader(ZEPOmxKeyString("X-Contract"), Text(value));
    ZEPOmxSP<ZEPOmxHttpResponse> response;
    EXPECT_FAILURE(Execute(request, response));
    EXPECT_TRUE(response.IsNull());
  }
}

using ObjectHttpClientDeathTest = ContractTest;

TEST_F(ObjectHttpClientDeathTest, Execute_EndsTheProcess_WhenThereIsAResponse) {
  GTEST_FLAG_SET(death_test_style, "threadsafe");
  std::string url;
  ZEP_NEEDS(TheWorld().Answer({}, url));
  ZEPOmxSP<ZEPOmxHttpResponse> response;
  EXPECT_SUCCESS(Execute(ZEPOmxHttpGet::Create(Text(url)), response));
  EXPECT_DEATH(static_cast<void>(Execute(ZEPOmxHttpGet::Create(Text(url)), response)), "");
}

using IOUtils = ContractTest;

TEST_F(IOUtils, Failure_LeavesTheText) {
  // What a stream that fails behind its first bytes looks like.
  class FailingStream final : public ZEPIOmxInputStream {
  public:
    long Read(char* oBuffer, std::size_t /*iCapacity*/, std::size_t& oCount) override {
      oCount = m_hasRead ? 0 : 1;
      oBuffer[0] = 'x';
      return std::exchange(m_hasRead, true) ? E_ABORT : S_OK;
    }

  private:
    bool m_hasRead = false;
  };
  ZEPOmxUTF8String text("before", 6);
  EXPECT_EQ(ZEPOmxIOUtils::ToString(ZEPOmxSP<ZEPIOmxInputStream>(new FailingStream), text), E_ABORT);
  EXPECT_EQ(BytesOf(text), "before");
}

// ---- the low-level client ----

using LowLevelHttpClient = ContractTest;

// What a client handed out: the caller's from then on.
struct Handed {
  Handed() = default;
  Handed(const Handed&) = delete;
  Handed& operator=(const Handed&) = delete;
  ~Handed() { std::free(bytes); }

  std::string Content() const { return {bytes, length}; }

  char* bytes = nullptr;
  std::size_t length = 12345;
};

void Send(ZEPHttpClient& client, const std::string& url, const std::string& verb = "GET",
          const std::string& body = {}) {
  std::string verbCopy = verb;
  std::string urlCopy = url;
  ASSERT_EQ(client.OpenRequest(verbCopy.c_str(), urlCopy.c_str(), kKeepConnection, nullptr), 0);
  verbCopy.assign(verbCopy.size(), 'X');
  urlCopy.assign(urlCopy.size(), 'x');
  std::string header = "X-Contract: one\r\n";
  ASSERT_EQ(client.AddRequestHeaders(header.c_str(), kCoalesce), 0);
  header.assign(header.size(), 'x');
  ASSERT_EQ(client.SendRequest(body.empty() ? nullptr : body.data(), body.size()), 0);
  ASSERT_EQ(client.CloseRequest(), 0);
}

struct Status {
  std::string text;
  std::string behind; // up to the terminating zero
  std::size_t wholeLength;
};

Status StatusOf(ZEPHttpClient& client) {
  Handed header;
  std::size_t wholeLength = 0;
  EXPECT_EQ(client.GetResponseHeaders(&header.bytes, &header.length, &wholeLength, kStatusCode, nullptr), 0);
  if (header.bytes == nullptr) {
    ADD_FAILURE() << "no header buffer";
    return {};
  }
  return {header.Content(), header.bytes + header.length, wholeLength};
}

TEST_F(LowLevelHttpClient, Status_IsTheFirstBytes_OfABufferThatEndsWithAZero) {
  for (const int status : {200, 404, 500}) {
    HttpAnswer answer;
    answer.status = status;
    answer.statusLine = "HTTP/1.1 " + std::to_string(status) + " Contract";
    std::string url;
    ZEP_NEEDS(TheWorld().Answer(answer, url));
    ZEPHttpClient client(nullptr, 1, 1);
    Send(client, url);
    const Status received = StatusOf(client);
    EXPECT_EQ(received.text, std::to_string(status));
    EXPECT_EQ(received.behind, "") << "nothing but the zero stands behind it";
    EXPECT_EQ(received.wholeLength, received.text.size());
  }
}

TEST_F(LowLevelHttpClient, ChunkedTransfer_IsSaidBehindTheStatus) {
  HttpAnswer answer;
  answer.body = "abcdef";
  answer.isChunked = true;
  std::string url;
  ZEP_NEEDS(TheWorld().Answer(answer, url));
  ZEPHttpClient client(nullptr, 1, 1);
  Send(client, url);
  const Status received = StatusOf(client);
  EXPECT_EQ(received.text, "200");
  EXPECT_NE(received.behind.find("Transfer-Encoding: chunked"), std::string::npos) << received.behind;
  EXPECT_EQ(received.wholeLength, received.text.size() + received.behind.size());
}

TEST_F(LowLevelHttpClient, Download_GivesTheWholeBody) {
  for (const std::string& body : {std::string("caf\xC3\xA9\0\xFF", 7), std::string()}) {
    HttpAnswer answer;
    answer.body = body;
    std::string url;
    ZEP_NEEDS(TheWorld().Answer(answer, url));
    ZEPHttpClient client("agent", 1, 1);
    Send(client, url);
    Handed received;
    EXPECT_EQ(client.Download(&received.length, &received.bytes), 0);
    EXPECT_EQ(received.length, body.size());
    EXPECT_EQ(received.Content(), body);
  }
}

// All pieces joined; the last call says that it is the end and gives nothing.
std::string AllPieces(ZEPHttpClient& client, int size, std::vector<std::string>& oPieces) {
  std::string joined;
  for (int calls = 0; calls < 100; ++calls) {
    Handed piece;
    piece.length = 0;
    int finished = 7;
    const int result = client.DownloadEx(size, &piece.length, &piece.bytes, &finished);
    EXPECT_GE(result, 0);
    if (result < 0 || finished != 0) {
      EXPECT_EQ(finished, 1);
      EXPECT_EQ(piece.length, 0U);
      return joined;
    }
    joined += piece.Content();
    oPieces.push_back(piece.Content());
  }
  ADD_FAILURE() << "the body does not end";
  return joined;
}

TEST_F(LowLevelHttpClient, DownloadEx_GivesPieces_UntilItSaysTheEnd) {
  HttpAnswer answer;
  answer.body = "abcdefghijkl";
  answer.isChunked = true;
  std::string url;
  ZEP_NEEDS(TheWorld().Answer(answer, url));
  ZEPHttpClient client(nullptr, 1, 1);
  Send(client, url);
  std::vector<std::string> pieces;
  EXPECT_EQ(AllPieces(client, 6, pieces), "abcdefghijkl");
}

TEST_F(LowLevelHttpClient, DownloadEx_TearsNoCharacter) {
  ZEP_NEEDS(TheWorld().Has(Ability::Pieces));
  HttpAnswer answer;
  answer.body = "abc\xC3\xA9\xF0\x9F\x98\x80z\xE2\x82\xAC";
  answer.isChunked = true;
  std::string url;
  ZEP_NEEDS(TheWorld().Answer(answer, url));
  ZEPHttpClient client(nullptr, 1, 1);
  Send(client, url);
  std::vector<std::string> pieces;
  EXPECT_EQ(AllPieces(client, 4, pieces), *answer.body);
  for (const std::string& piece : pieces) {
    EXPECT_LE(piece.size(), 4U);
    EXPECT_EQ(Bytes(Text(piece)), piece) << "a piece that is UTF-8 by itself";
  }
}

TEST_F(LowLevelHttpClient, RequestSent_HasVerbHeadersAndBody) {
  std::string url;
  ZEP_NEEDS(TheWorld().Answer({}, url));
  ZEPHttpClient client(nullptr, 1, 1);
  const std::string body("a\0b", 3);
  Send(client, url, "POST", body);
  SentRequest sent;
  ZEP_NEEDS(TheWorld().LastRequest(sent));
  EXPECT_EQ(sent.verb, "POST");
  EXPECT_TRUE(WasSent(sent, "X-Contract: one"));
  EXPECT_EQ(sent.body, body);
}

TEST_F(LowLevelHttpClient, Headers_OfOneName_AreJoined) {
  std::string url;
  ZEP_NEEDS(TheWorld().Answer({}, url));
  ZEPHttpClient client(nullptr, 1, 1);
  ASSERT_EQ(client.OpenRequest("GET", url.c_str(), kKeepConnection, nullptr), 0);
  ASSERT_EQ(client.AddRequestHeaders("X-Joined: 1", kCoalesce), 0);
  ASSERT_EQ(client.AddRequestHeaders("X-Joined: 2", kCoalesce), 0);
  ASSERT_EQ(client.SendRequest(nullptr, 0), 0);
  SentRequest sent;
  ZEP_NEEDS(TheWorld().LastRequest(sent));
  EXPECT_TRUE(WasSent(sent, "X-Joined: 1, 2"));
}

TEST_F(LowLevelHttpClient, WhatWouldBreakTheMessage_IsRefused) {
  ZEP_NEEDS(TheWorld().Has(Ability::HttpChecks));
  std::string url;
  ZEP_NEEDS(TheWorld().Answer({}, url));
  ZEPHttpClient client(nullptr, 1, 1);
  EXPECT_NE(client.OpenRequest("GE T", url.c_str(), kKeepConnection, nullptr), 0);
  EXPECT_NE(client.OpenRequest("GET", (url + "\r\nX: y").c_str(), kKeepConnection, nullptr), 0);
  ASSERT_EQ(client.OpenRequest("GET", url.c_str(), kKeepConnection, nullptr), 0);
  for (const char* const header : {"X: a\r\nY: b", "X: a\nb", "Content-Length: 7", "no header"}) {
    EXPECT_NE(client.AddRequestHeaders(header, kCoalesce), 0) << header;
  }
}

TEST_F(LowLevelHttpClient, NobodyListening_IsAFailure) {
  ZEP_NEEDS(TheWorld().LetFail(Failing::SendRequest));
  ZEPHttpClient client(nullptr, 1, 1);
  ASSERT_EQ(client.OpenRequest("GET", kNobody, kKeepConnection, nullptr), 0);
  EXPECT_NE(client.SendRequest(nullptr, 0), 0);
}

TEST_F(LowLevelHttpClient, Failures_LeaveTheOutputs) {
  ZEP_NEEDS(TheWorld().LetFail(Failing::Download));
  ZEP_NEEDS(TheWorld().LetFail(Failing::ResponseHeaders));
  ZEPHttpClient client(nullptr, 1, 1);
  char* bytes = nullptr;
  std::size_t length = 12345;
  std::size_t wholeLength = 12345;
  int finished = 7;
  EXPECT_NE(client.GetResponseHeaders(&bytes, &length, &wholeLength, kStatusCode, nullptr), 0);
  EXPECT_NE(client.Download(&length, &bytes), 0);
  EXPECT_LT(client.DownloadEx(4096, &length, &bytes, &finished), 0);
  EXPECT_EQ(bytes, nullptr);
  EXPECT_EQ(length, 12345U);
  EXPECT_EQ(wholeLength, 12345U);
  EXPECT_EQ(finished, 7);
}

// ---- JSON ----

using Json = ContractTest;
using Kind = JsonNode::Kind;

JsonNode JsonText(std::string text) {
  return {Kind::Text, std::move(text)};
}
JsonNode JsonObject(std::vector<std::pair<std::string, JsonNode>> members) {
  return {Kind::Object, {}, std::move(members)};
}

// The texts of these tests need no escapes.
std::string Written(const JsonNode& node) {
  if (node.kind != Kind::Object) {
    return node.kind == Kind::Text ? "\"" + node.text + "\"" : "true";
  }
  std::string members;
  for (const auto& [key, value] : node.members) {
    members.append(members.empty() ? "\"" : ", \"").append(key).append("\": ").append(Written(value));
  }
  return "{" + members + "}";
}

long Parse(const std::string& text, ZEPOmxAny& value) {
  return ZEPOmxJson::parse(ZEPOmxUTF8String(text.data(), text.size()), value);
}

const JsonNode kDocument = JsonObject({{"xslt", JsonObject({{"content", JsonText("caf\xC3\xA9")}})},
                                       {"a", JsonText("first")},
                                       {"number", {}},
                                       {"a", JsonText("last")}});

// That document, parsed.
class JsonDocument : public ContractTest {
protected:
  void SetUp() override {
    ZEP_NEEDS(TheWorld().PrepareJson(kDocument));
    EXPECT_EQ(Parse(Written(kDocument), m_value), S_OK);
  }

  ZEPOmxAny m_value;
};

TEST_F(JsonDocument, MapItems_AreTheMembers_InOrderAndRepeated) {
  std::string keys;
  for (const ZEPOmxMapItem& item : m_value.MapItems()) {
    keys += BytesOf(item.GetKey().ToUTF8String()) + ";";
  }
  EXPECT_EQ(keys, "xslt;a;number;a;");
}

TEST_F(JsonDocument, ToUnicodeString_IsTheText_AndEmptyForEverythingElse) {
  std::string texts;
  for (const ZEPOmxMapItem& item : m_value.MapItems()) {
    texts += Bytes(item.GetValue().ToUnicodeString()) + ";";
  }
  EXPECT_EQ(texts, ";first;;last;");
  EXPECT_TRUE(m_value.ToUnicodeString().IsEmpty());
}

TEST_F(JsonDocument, Extract_GivesTheMembersByKey_TheLastOfSeveral) {
  ZEPOmxKeyValueBlock block;
  EXPECT_EQ(m_value.Extract(block), S_OK);
  ZEPOmxAny member;
  EXPECT_EQ(block.GetValue(ZEPOmxKeyString("a"), member), S_OK);
  EXPECT_EQ(Bytes(member.ToUnicodeString()), "last");
  EXPECT_EQ(block.GetValue(ZEPOmxKeyString("xslt"), member), S_OK);
  EXPECT_EQ(member.Extract(block), S_OK);
  EXPECT_EQ(block.GetValue(ZEPOmxKeyString("content"), member), S_OK);
  EXPECT_EQ(Bytes(member.ToUnicodeString()), "caf\xC3\xA9");
}

TEST_F(JsonDocument, GetValue_LeavesTheOutput_WithoutSuchAMember) {
  ZEPOmxKeyValueBlock block;
  ZEPOmxAny member = m_value;
  EXPECT_EQ(block.GetValue(ZEPOmxKeyString("a"), member), E_FAIL) << "as constructed it has no members";
  EXPECT_EQ(m_value.Extract(block), S_OK);
  EXPECT_EQ(block.GetValue(ZEPOmxKeyString("A"), member), E_FAIL);
  EXPECT_EQ(member.MapItems().size(), 4U);
}

TEST_F(JsonDocument, Extract_EmptiesTheBlock_OfWhatIsNoObject) {
  ZEPOmxKeyValueBlock block;
  ZEPOmxAny member;
  for (const char* const key : {"a", "number"}) {
    EXPECT_EQ(m_value.Extract(block), S_OK);
    EXPECT_EQ(block.GetValue(ZEPOmxKeyString(key), member), S_OK);
    EXPECT_EQ(member.Extract(block), E_FAIL);
    EXPECT_EQ(block.GetValue(ZEPOmxKeyString("a"), member), E_FAIL);
    EXPECT_TRUE(member.MapItems().empty());
  }
}

TEST_F(Json, None_HasNeitherMembersNorText) {
  const ZEPOmxAny none;
  EXPECT_TRUE(none.MapItems().empty());
  EXPECT_TRUE(none.ToUnicodeString().IsEmpty());
  ZEPOmxKeyValueBlock block;
  EXPECT_EQ(none.Extract(block), E_FAIL);
}

TEST_F(JsonDocument, Failure_LeavesTheValue) {
  ZEP_NEEDS(TheWorld().LetFail(Failing::JsonParse));
  EXPECT_FAILURE(Parse("no JSON", m_value));
  EXPECT_EQ(m_value.MapItems().size(), 4U);
}

TEST_F(Json, WhatIsNotOneDocument_IsAFailure) {
  ZEP_NEEDS(TheWorld().Has(Ability::Json));
  ZEPOmxAny value;
  for (const std::string& text :
       {std::string(), std::string("{} {}"), std::string("{}x"), std::string("{\"a\":1"),
        std::string("\"\xFF\""), std::string("{'a':1}"), std::string(100000, '[')}) {
    EXPECT_FAILURE(Parse(text, value));
  }
}

TEST_F(Json, ByteOrderMark_IsSkipped_AndEscapesAreRead) {
  ZEP_NEEDS(TheWorld().Has(Ability::Json));
  ZEPOmxAny value;
  EXPECT_EQ(Parse("\xEF\xBB\xBF\"a\\\"\\u00e9\\ud83d\\ude00\\n\"", value), S_OK);
  EXPECT_EQ(Bytes(value.ToUnicodeString()), "a\"\xC3\xA9\xF0\x9F\x98\x80\n");
}

} // namespace
