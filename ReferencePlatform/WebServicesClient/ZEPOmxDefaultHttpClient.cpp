#include "ZEPOmxDefaultHttpClient.h"

#include "ZEPHResult.h"
#include "ZEPHttpBytesEntity.h"
#include "ZEPHttpFailure.h"
#include "ZEPHttpTransport.h"
#include "ZEPOmxHttpRequestData.h"
#include "ZEPOmxStreamBytes.h"

#include <memory>
#include <new>
#include <utility>

namespace {

class StatusLine final : public ZEPOmxHttpStatusLine {
public:
  explicit StatusLine(const zep::HttpAnswer& answer) : m_code(answer.status) {
    m_text.BuildFromUTF8(answer.statusLine.data(), answer.statusLine.size());
  }

  int GetStatusCode() override { return m_code; }
  ZEPUnicodeString ToString() override { return m_text; }

private:
  int m_code;
  ZEPUnicodeString m_text;
};

class Response final : public ZEPOmxHttpResponse {
public:
  explicit Response(zep::HttpAnswer answer) : m_statusLine(new StatusLine(answer)) {
    if (answer.hasBody) {
      m_entity = ZEPOmxSP<ZEPOmxHttpEntity>(new zep::HttpBytesEntity<ZEPOmxHttpEntity>(
          std::make_shared<const std::string>(std::move(answer.body))));
    }
  }

  ZEPOmxSP<ZEPOmxHttpStatusLine> GetStatusLine() override { return m_statusLine; }
  ZEPOmxSP<ZEPOmxHttpEntity> GetEntity() override { return m_entity; }

private:
  ZEPOmxSP<ZEPOmxHttpStatusLine> m_statusLine;
  ZEPOmxSP<ZEPOmxHttpEntity> m_entity;
};

long ReadBody(const ZEPOmxSP<ZEPOmxHttpEntity>& entity, std::string& oBody) {
  if (entity.IsNull()) {
    return S_OK;
  }
  ZEPOmxSP<ZEPIOmxInputStream> content;
  const long result = entity->GetContent(content);
  return ZEPFailed(result) ? result : zep::ReadToEnd(content, oBody);
}

long Send(const zep::HttpRequestData& data, zep::HttpAnswer& oAnswer) {
  std::string body;
  const long result = ReadBody(data.entity, body);
  if (ZEPFailed(result)) {
    return zep::ReportHttpFailure(result, "the body of the request for the service \"" + data.serviceName +
                                              "\" cannot be read");
  }
  return zep::SendHttp(data.request, body, oAnswer);
}

class HttpClient final : public ZEPOmxDefaultHttpClient {
public:
  long Execute(const ZEPOmxSP<ZEPOmxHttpRequest>& iRequest,
               ZEPOmxSP<ZEPOmxHttpResponse>& oResponse) override {
    if (!oResponse.IsNull()) {
      ZEPOmxAssertionFailed("ZEPOmxDefaultHttpClient::Execute: there is a response already");
    }
    const auto* const data = dynamic_cast<const zep::HttpRequestData*>(iRequest.Get());
    if (data == nullptr) {
      return zep::ReportHttpFailure(E_INVALIDARG, "there is no request of this platform to send");
    }
    try {
      zep::HttpAnswer answer;
      const long result = Send(*data, answer);
      if (ZEPSucceeded(result)) {
        oResponse = ZEPOmxSP<ZEPOmxHttpResponse>(new Response(std::move(answer)));
      }
      return result;
    } catch (const std::bad_alloc&) {
      return zep::ReportHttpFailure(E_OUTOFMEMORY, "out of memory");
    }
  }
};

} // namespace

ZEPOmxSP<ZEPOmxDefaultHttpClient> ZEPOmxDefaultHttpClient::Create(int iFlag) {
  return iFlag == 0 ? ZEPOmxSP<ZEPOmxDefaultHttpClient>(zep::CreateOmx<HttpClient>()) : nullptr;
}
