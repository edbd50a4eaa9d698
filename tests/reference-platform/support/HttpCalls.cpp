#include "HttpCalls.h"

#include "ZEPError.h"
#include "ZEPHResult.h"
#include "ZEPHttpClient.h"
#include "ZEPOmxDefaultHttpClient.h"
#include "ZEPOmxHttpGet.h"
#include "ZEPOmxHttpPost.h"
#include "ZEPOmxHttpPut.h"
#include "ZEPOmxHttpStringEntity.h"
#include "ZEPOmxIOUtils.h"
#include "ZEPOmxKeyString.h"
#include "ZEPOmxUTF8String.h"
#include "ZEPUTF8Conversion.h"

#include <cstdlib>

#include <stdexcept>

namespace {

template <class Request>
ZEPOmxSP<ZEPOmxHttpRequest> WithBody(const HttpCall& call) {
  const ZEPOmxSP<Request> request = Request::Create(Text(call.url));
  request->SetServiceName("Qubelle");
  if (call.body) {
    request->SetEntity(ZEPOmxHttpStringEntity::Create(Text(*call.body)));
  }
  return request;
}

ZEPOmxSP<ZEPOmxHttpRequest> MakeRequest(const HttpCall& call) {
  if (call.verb == "GET") {
    return ZEPOmxHttpGet::Create(Text(call.url));
  }
  if (call.verb == "PUT") {
    return WithBody<ZEPOmxHttpPut>(call);
  }
  if (call.verb == "POST") {
    return WithBody<ZEPOmxHttpPost>(call);
  }
  throw std::invalid_argument("the object client has no verb " + call.verb);
}

HttpOutcome SendWithObjectClient(const HttpCall& call) {
  const ZEPOmxSP<ZEPOmxHttpRequest> request = MakeRequest(call);
  for (const auto& [name, value] : call.headers) {
    request->AddHeader(ZEPOmxKeyString(name.data(), name.size()), Text(value));
  }
  ZEPOmxSP<ZEPOmxHttpResponse> response;
  HttpOutcome outcome;
  outcome.code = ZEPOmxDefaultHttpClient::Create(0)->Execute(request, response);
  if (response.IsNull()) {
    return outcome;
  }
  outcome.status = response->GetStatusLine()->GetStatusCode();
  outcome.statusLine = Bytes(response->GetStatusLine()->ToString());
  const ZEPOmxSP<ZEPOmxHttpEntity> entity = response->GetEntity();
  outcome.hasEntity = !entity.IsNull();
  if (outcome.hasEntity) {
    ZEPOmxSP<ZEPIOmxInputStream> stream;
    ZEPOmxUTF8String body;
    if (entity->GetContent(stream) != S_OK || ZEPOmxIOUtils::ToString(stream, body) != S_OK) {
      throw std::runtime_error("the body cannot be read");
    }
    outcome.body.assign(body.asChar(), body.length());
  }
  return outcome;
}

int SendRequest(ZEPHttpClient& client, const HttpCall& call) {
  int code = client.OpenRequest(call.verb.c_str(), call.url.c_str(), 0x400000, nullptr);
  for (const auto& [name, value] : call.headers) {
    code = code == 0 ? client.AddRequestHeaders((name + ": " + value).c_str(), 0x40000000) : code;
  }
  const std::string body = call.body.value_or("");
  return code == 0 ? client.SendRequest(body.data(), body.size()) : code;
}

HttpOutcome SendWithLegacyClient(const HttpCall& call) {
  ZEPHttpClient client(nullptr, 1, 1);
  HttpOutcome outcome;
  outcome.code = SendRequest(client, call);
  if (outcome.code != 0) {
    return outcome;
  }
  char* buffer = nullptr;
  std::size_t length = 0;
  std::size_t wholeLength = 0;
  if (client.CloseRequest() != 0 ||
      client.GetResponseHeaders(&buffer, &length, &wholeLength, 19, nullptr) != 0) {
    throw std::runtime_error("the status cannot be read");
  }
  outcome.status = std::stoi(std::string(buffer, length));
  std::free(buffer);
  if (client.Download(&length, &buffer) != 0) {
    throw std::runtime_error("the body cannot be read");
  }
  outcome.body.assign(buffer, length);
  std::free(buffer);
  return outcome;
}

} // namespace

HttpOutcome Send(HttpStack stack, const HttpCall& call) {
  ZEPError::ZEPCleanLastError();
  HttpOutcome outcome = stack == HttpStack::Object ? SendWithObjectClient(call) : SendWithLegacyClient(call);
  outcome.error = LastError(outcome.code);
  return outcome;
}

ZEPUnicodeString Text(std::string_view utf8) {
  ZEPUnicodeString text;
  text.BuildFromUTF8(utf8.data(), utf8.size());
  return text;
}

std::string Bytes(const ZEPUnicodeString& text) {
  const ZEPUTF8Conversion utf8(text);
  return {utf8.Bytes(), utf8.ByteCount()};
}

std::string LastError(long code) {
  ZEPError* const error = ZEPError::ZEPGetLastError(code, nullptr);
  if (error == nullptr) {
    return {};
  }
  std::string message = Bytes(error->GetMessageText());
  error->Release();
  return message;
}
