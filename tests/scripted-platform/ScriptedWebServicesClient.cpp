#include "ScriptedState.h"
#include "ZEPOmxDefaultHttpClient.h"
#include "ZEPOmxHttpGet.h"
#include "ZEPOmxHttpPost.h"
#include "ZEPOmxHttpPut.h"
#include "ZEPOmxHttpStringEntity.h"
#include "ZEPOmxIOUtils.h"
#include "ZEPOmxKeyString.h"
#include "ZEPOmxUTF8String.h"

#include <algorithm>
#include <array>
#include <cstring>

using namespace scripted;

namespace {

template <class Object, class Made, class... Arguments>
ZEPOmxSP<Object> give(const Call& call, Arguments&&... arguments) {
  if (call.GivesEmpty()) {
    return nullptr;
  }
  return ZEPOmxSP<Object>(new Made(std::forward<Arguments>(arguments)...));
}

// ---- bodies ----

class Stream final : public ZEPIOmxInputStream {
public:
  explicit Stream(std::string bytes) : m_bytes(std::move(bytes)) {}

  long Read(char* oBuffer, std::size_t iCapacity, std::size_t& oCount) override {
    const Call call(Op::Read, iCapacity);
    oCount = call.Fails() ? 0 : std::min(iCapacity, m_bytes.size() - m_position);
    std::memcpy(oBuffer, m_bytes.data() + m_position, oCount);
    m_position += oCount;
    return call.Code(oCount == 0 ? S_FALSE : S_OK);
  }

  // The rest, without calls that a test would see.
  std::string TakeRest() {
    std::string rest = m_bytes.substr(m_position);
    m_position = m_bytes.size();
    return rest;
  }

private:
  std::string m_bytes;
  std::size_t m_position = 0;
  LiveObject m_live{"stream"};
};

// S_OK and the bytes up to the stream's end, or its failure code.
long readAll(ZEPIOmxInputStream& stream, std::string& bytes) {
  if (auto* const own = dynamic_cast<Stream*>(&stream)) {
    bytes = own->TakeRest();
    return S_OK;
  }
  std::array<char, 1024> piece{};
  std::size_t count = 0;
  long result = S_OK;
  while ((result = stream.Read(piece.data(), piece.size(), count)) == S_OK) {
    bytes.append(piece.data(), count);
  }
  return ZEPFailed(result) ? result : S_OK;
}

long giveContent(const std::string& bytes, ZEPOmxSP<ZEPIOmxInputStream>& stream) {
  const Call call(Op::GetContent);
  if (!call.Fails()) {
    stream = give<ZEPIOmxInputStream, Stream>(call, bytes);
  }
  return call.Code();
}

class StringEntity final : public ZEPOmxHttpStringEntity {
public:
  explicit StringEntity(const ZEPUnicodeString& text) : m_bytes(utf8Of(text)) {}

  long GetContent(ZEPOmxSP<ZEPIOmxInputStream>& oStream) override { return giveContent(m_bytes, oStream); }

private:
  std::string m_bytes;
  LiveObject m_live{"stringEntity"};
};

class ResponseEntity final : public ZEPOmxHttpEntity {
public:
  explicit ResponseEntity(std::string bytes) : m_bytes(std::move(bytes)) {}

  long GetContent(ZEPOmxSP<ZEPIOmxInputStream>& oStream) override { return giveContent(m_bytes, oStream); }

private:
  std::string m_bytes;
  LiveObject m_live{"responseEntity"};
};

// ---- requests ----

// How a request is named in the calls, whatever its class.
class NamedRequest {
public:
  NamedRequest(const char* kind, const ZEPUnicodeString& url)
      : m_name(std::string(kind) + " " + utf8Of(url)) {}
  virtual ~NamedRequest() = default;
  NamedRequest(const NamedRequest&) = delete;
  NamedRequest& operator=(const NamedRequest&) = delete;

  const std::string& Name() const { return m_name; }

private:
  std::string m_name;
};

template <class Base>
class Request : public Base, public NamedRequest {
public:
  Request(const char* kind, const ZEPUnicodeString& url) : NamedRequest(kind, url) {}

  void AddHeader(const ZEPOmxKeyString& iKey, const ZEPUnicodeString& iValue) override {
    const Call call(Op::AddHeader, iKey.ToUnicodeString(), iValue);
  }
};

template <class Base>
class EntityRequest : public Request<Base> {
public:
  using Request<Base>::Request;

  void SetServiceName(const char* iName) override { const Call call(Op::SetServiceName, iName); }

  void SetEntity(const ZEPOmxSP<ZEPOmxHttpEntity>& iEntity) override {
    const Call call(Op::SetEntity, Plain{iEntity.IsNull() ? "null" : "stringEntity"});
    m_entity = iEntity;
  }

private:
  ZEPOmxSP<ZEPOmxHttpEntity> m_entity;
};

class Get final : public Request<ZEPOmxHttpGet> {
public:
  explicit Get(const ZEPUnicodeString& url) : Request("httpGet", url) {}

private:
  LiveObject m_live{"httpGet"};
};

class Put final : public EntityRequest<ZEPOmxHttpPut> {
public:
  explicit Put(const ZEPUnicodeString& url) : EntityRequest("httpPut", url) {}

private:
  LiveObject m_live{"httpPut"};
};

class Post final : public EntityRequest<ZEPOmxHttpPost> {
public:
  explicit Post(const ZEPUnicodeString& url) : EntityRequest("httpPost", url) {}

private:
  LiveObject m_live{"httpPost"};
};

Plain nameOf(const ZEPOmxSP<ZEPOmxHttpRequest>& request) {
  const auto* const named = dynamic_cast<const NamedRequest*>(request.Get());
  return {named == nullptr ? "null" : named->Name()};
}

// ---- answers ----

class StatusLine final : public ZEPOmxHttpStatusLine {
public:
  StatusLine(int status, std::string text) : m_status(status), m_text(std::move(text)) {}

  int GetStatusCode() override {
    const Call call(Op::GetStatusCode);
    return call.IntCode(m_status);
  }

  ZEPUnicodeString ToString() override {
    const Call call(Op::StatusLineToString);
    return call.GivesEmpty() ? ZEPUnicodeString() : textOf(m_text);
  }

private:
  int m_status;
  std::string m_text;
  LiveObject m_live{"statusLine"};
};

class Response final : public ZEPOmxHttpResponse {
public:
  explicit Response(QueuedAnswer answer) : m_answer(std::move(answer)) {}

  ZEPOmxSP<ZEPOmxHttpStatusLine> GetStatusLine() override {
    const Call call(Op::GetStatusLine);
    return give<ZEPOmxHttpStatusLine, StatusLine>(call, m_answer.status, m_answer.statusLine);
  }

  ZEPOmxSP<ZEPOmxHttpEntity> GetEntity() override {
    const Call call(Op::GetEntity);
    if (!m_answer.body) {
      return nullptr;
    }
    return give<ZEPOmxHttpEntity, ResponseEntity>(call, *m_answer.body);
  }

private:
  QueuedAnswer m_answer;
  LiveObject m_live{"response"};
};

QueuedAnswer nextAnswer() {
  State& state = State::Get();
  const Lock lock(state.mutex);
  if (state.answers.empty()) {
    const int status = script().defaultStatus;
    return {status, "HTTP/1.1 " + std::to_string(status) + " Scripted", script().defaultBody};
  }
  QueuedAnswer answer = std::move(state.answers.front());
  state.answers.pop_front();
  return answer;
}

class Client final : public ZEPOmxDefaultHttpClient {
public:
  long Execute(const ZEPOmxSP<ZEPOmxHttpRequest>& iRequest,
               ZEPOmxSP<ZEPOmxHttpResponse>& oResponse) override {
    const Call call(Op::Execute, nameOf(iRequest));
    if (!oResponse.IsNull()) {
      ZEPOmxAssertionFailed("Execute with a response that is not null");
    }
    if (!call.Fails() && !call.GivesEmpty()) {
      oResponse = ZEPOmxSP<ZEPOmxHttpResponse>(new Response(nextAnswer()));
    }
    return call.Code();
  }

private:
  LiveObject m_live{"defaultHttpClient"};
};

} // namespace

ZEPOmxSP<ZEPOmxHttpStringEntity> ZEPOmxHttpStringEntity::Create(const ZEPUnicodeString& iText) {
  const Call call(Op::CreateStringEntity, iText);
  return give<ZEPOmxHttpStringEntity, StringEntity>(call, iText);
}

ZEPOmxSP<ZEPOmxHttpGet> ZEPOmxHttpGet::Create(const ZEPUnicodeString& iUrl) {
  const Call call(Op::CreateHttpGet, iUrl);
  return give<ZEPOmxHttpGet, Get>(call, iUrl);
}

ZEPOmxSP<ZEPOmxHttpPut> ZEPOmxHttpPut::Create(const ZEPUnicodeString& iUrl) {
  const Call call(Op::CreateHttpPut, iUrl);
  return give<ZEPOmxHttpPut, Put>(call, iUrl);
}

ZEPOmxSP<ZEPOmxHttpPost> ZEPOmxHttpPost::Create(const ZEPUnicodeString& iUrl) {
  const Call call(Op::CreateHttpPost, iUrl);
  return give<ZEPOmxHttpPost, Post>(call, iUrl);
}

ZEPOmxSP<ZEPOmxDefaultHttpClient> ZEPOmxDefaultHttpClient::Create(int iFlag) {
  const Call call(Op::CreateHttpClient, iFlag);
  return give<ZEPOmxDefaultHttpClient, Client>(call);
}

long ZEPOmxIOUtils::ToString(const ZEPOmxSP<ZEPIOmxInputStream>& iStream, ZEPOmxUTF8String& oText) {
  const Call call(Op::IOUtilsToString);
  if (call.Fails()) {
    return call.Code();
  }
  std::string bytes;
  const long result = readAll(*iStream.operator->(), bytes);
  if (ZEPSucceeded(result)) {
    oText = call.GivesEmpty() ? ZEPOmxUTF8String() : ZEPOmxUTF8String(bytes.data(), bytes.size());
  }
  return call.Code(result);
}
