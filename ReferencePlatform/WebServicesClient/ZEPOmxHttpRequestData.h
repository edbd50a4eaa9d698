#pragma once

#include "ZEPHttpTransport.h"
#include "ZEPOmxHttpEntity.h"
#include "ZEPOmxKeyString.h"
#include "ZEPTranscoding.h"
#include "ZEPUnicodeString.h"

#include <string>

namespace zep {

inline std::string ToUtf8(const ZEPUnicodeString& text) {
  return UTF8FromUTF16(text.CastToUnitPtr(), static_cast<std::size_t>(text.GetLengthInChar()));
}

// What the object client reads of every request of this platform.
class HttpRequestData {
public:
  HttpRequestData(const char* verb, const ZEPUnicodeString& url) {
    request.verb = verb;
    request.url = ToUtf8(url);
    request.headers.reserve(kUsualHeaderCount);
  }
  HttpRequestData(const HttpRequestData&) = delete;
  HttpRequestData& operator=(const HttpRequestData&) = delete;

  HttpRequest request;
  ZEPOmxSP<ZEPOmxHttpEntity> entity;
  std::string serviceName; // kept for messages; HTTP has no place for it

protected:
  virtual ~HttpRequestData() = default;

private:
  static constexpr std::size_t kUsualHeaderCount = 4;
};

// A request class of the platform, on top of the data.
template <class Interface>
class HttpObjectRequest : public Interface, public HttpRequestData {
public:
  using HttpRequestData::HttpRequestData;

  void AddHeader(const ZEPOmxKeyString& iKey, const ZEPUnicodeString& iValue) override {
    const ZEPOmxUTF8String& key = iKey.ToUTF8String();
    request.headers.push_back({std::string(key.asChar(), key.length()), ToUtf8(iValue)});
  }
};

template <class Interface>
class HttpObjectEntityRequest final : public HttpObjectRequest<Interface> {
public:
  using HttpObjectRequest<Interface>::HttpObjectRequest;

  void SetServiceName(const char* iName) override { this->serviceName = iName == nullptr ? "" : iName; }
  void SetEntity(const ZEPOmxSP<ZEPOmxHttpEntity>& iEntity) override { this->entity = iEntity; }
};

} // namespace zep
