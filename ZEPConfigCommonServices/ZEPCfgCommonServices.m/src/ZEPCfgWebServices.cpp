#include "ZEPCfgWebServices.h"

#include "QRLSysTSGetArg.h"
#include "ZEPCfgBasicInfraServices.h"
#include "ZEPCfgDictionaryServices.h"
#include "ZEPCfgInfraServices.h"
#include "ZEPCfgServiceTrace.h"
#include "ZEPCfgTracePerfo.h"
#include "ZEPEnvironment.h"
#include "ZEPHResult.h"
#include "ZEPHttpClient.h"
#include "ZEPListValZEPPLMID.h"
#include "ZEPOmxDefaultHttpClient.h"
#include "ZEPOmxHttpGet.h"
#include "ZEPOmxHttpPost.h"
#include "ZEPOmxHttpPut.h"
#include "ZEPOmxHttpStringEntity.h"
#include "ZEPOmxIOUtils.h"
#include "ZEPOmxKeyString.h"
#include "ZEPOmxUTF8String.h"
#include "ZEPPLMID.h"
#include "ZEPUTF8Conversion.h"
#include "ZEPUnicodeString.h"

#include <cstdlib>
#include <cstring>
#include <optional>

namespace {

ZEPCfgServiceTrace trace("ZEPCfgWebServices", "CfgWeb", __FILE__);
using TracedMethod = ZEPCfgTracedMethod<trace>;

constexpr int statusOK = 200;
constexpr int statusNotFound = 404;
constexpr int firstClientError = 400;
constexpr int firstServerError = 500;

const char measureLabel[] = "WebService";

// What the steps that both stacks share find out before a request is made.
struct RequestTarget {
  ZEPUnicodeString securityContext;
  ZEPUnicodeString fullUrl;
};

// A value ends the operation with it as the result.
using EarlyResult = std::optional<long>;

EarlyResult readSecurityContext(ZEPUnicodeString& securityContext) {
  trace.Label("Populate the security context");
  // What decides is the text: the call's own code says nothing more.
  ZEPCfgInfraServices::GetCurrentContext(securityContext);
  trace.Dump("ustrSecurityContext", securityContext);
  if (securityContext.GetLengthInChar() == 0) {
    trace.Error("ERROR: Orvana Context is empty");
    return E_FAIL;
  }
  return std::nullopt;
}

EarlyResult readServerUrl(ZEPUnicodeString& serverUrl) {
  trace.Label("Retrieve Arguments for web service call");
  int kind = 0;
  int rank = 0;
  if (ZEPFailed(QRLSysTSGetArg("Url", kind, rank, serverUrl))) {
    trace.Error("ERROR: QRLSysTSGetArg failed");
    // Not a retry: the second answer is only the result, a success included.
    return QRLSysTSGetArg("Url", kind, rank, serverUrl);
  }
  if (serverUrl.IsEmpty()) {
    trace.Error("ERROR: Orvana Server Url is empty");
    return E_FAIL;
  }
  return std::nullopt;
}

EarlyResult findTarget(const ZEPUnicodeString& url, RequestTarget& target) {
  if (const EarlyResult early = readSecurityContext(target.securityContext)) {
    return early;
  }
  ZEPUnicodeString serverUrl;
  if (const EarlyResult early = readServerUrl(serverUrl)) {
    return early;
  }
  trace.Label("Define the full URL");
  target.fullUrl.Append(serverUrl);
  target.fullUrl.Append(url);
  trace.Dump("ustrFullUrl", target.fullUrl);
  return std::nullopt;
}

void traceAnswer(const ZEPUnicodeString& answer) {
  trace.Dump("out_json", answer);
  trace.Label("If the outJson is empty, then return S_OK");
  if (answer.IsEmpty()) {
    trace.Label("out_json is empty");
  }
}

void reportNotFound(const ZEPUnicodeString& fullUrl) {
  trace.Error(fullUrl + " URL not found (404)");
}

// ---- current stack -----------------------------------------------------------------------------

template <class Request>
EarlyResult makeEntityRequest(const ZEPUnicodeString& fullUrl, const ZEPOmxSP<ZEPOmxHttpStringEntity>& body,
                              ZEPOmxSP<ZEPOmxHttpRequest>& request) {
  const ZEPOmxSP<Request> spTempRequest = Request::Create(fullUrl);
  if (spTempRequest.IsNull()) {
    trace.Error("ERROR: spTempRequest is a null pointer");
    return E_FAIL;
  }
  spTempRequest->SetServiceName("Qubelle");
  if (!body.IsNull()) {
    spTempRequest->SetEntity(body);
  }
  request = spTempRequest;
  return std::nullopt;
}

EarlyResult makeRequest(const ZEPUnicodeString& httpCommand, const RequestTarget& target,
                        const ZEPOmxSP<ZEPOmxHttpStringEntity>& body, ZEPOmxSP<ZEPOmxHttpRequest>& request) {
  trace.Label("Create http query, open it and set the Headers");
  if (httpCommand == "GET") {
    request = ZEPOmxHttpGet::Create(target.fullUrl);
  } else if (httpCommand == "PUT") {
    if (const EarlyResult early = makeEntityRequest<ZEPOmxHttpPut>(target.fullUrl, body, request)) {
      return early;
    }
  } else if (httpCommand == "POST") {
    if (const EarlyResult early = makeEntityRequest<ZEPOmxHttpPost>(target.fullUrl, body, request)) {
      return early;
    }
  } else {
    trace.Error("ERROR: wrong http command");
    return E_INVALIDARG;
  }
  // The line end belongs to the values as the client is given them.
  request->AddHeader(ZEPOmxKeyString("Accept"), "application/json\r\n");
  request->AddHeader(ZEPOmxKeyString("Content-Type"), "application/json\r\n");
  request->AddHeader(ZEPOmxKeyString("SecurityContext"), target.securityContext + "\r\n");
  return std::nullopt;
}

// The client stays the caller's: the answer may be read through it.
EarlyResult performQuery(const ZEPOmxSP<ZEPOmxHttpRequest>& request, ZEPCfgTracePerfo& measure,
                         ZEPOmxSP<ZEPOmxDefaultHttpClient>& client, ZEPOmxSP<ZEPOmxHttpResponse>& response) {
  trace.Label("Perform the Query");
  client = ZEPOmxDefaultHttpClient::Create(0);
  const long result = client->Execute(request, response);
  if (trace.IsPerfoActivated()) {
    trace.Perfo(measure.endPerfo());
  }
  if (ZEPFailed(result)) {
    trace.Error("ERROR: Execute failed");
    return result;
  }
  if (response.IsNull()) {
    trace.Error("ERROR: spResponse is a null pointer");
    return E_FAIL;
  }
  return std::nullopt;
}

EarlyResult downloadAnswer(const ZEPOmxSP<ZEPOmxHttpEntity>& entity, ZEPUnicodeString& answer) {
  ZEPOmxUTF8String utf8;
  ZEPOmxSP<ZEPIOmxInputStream> stream;
  long result = entity->GetContent(stream);
  if (ZEPFailed(result)) {
    trace.Error("ERROR: GetContent failed");
    return result;
  }
  result = ZEPOmxIOUtils::ToString(stream, utf8);
  if (ZEPFailed(result)) {
    trace.Error("ERROR: ToString failed");
    return result;
  }
  answer.BuildFromUTF8(utf8.asChar(), utf8.length());
  return std::nullopt;
}

void reportClientError(const ZEPOmxSP<ZEPOmxHttpStatusLine>& statusLine, const ZEPUnicodeString& httpCommand,
                       const ZEPUnicodeString& fullUrl, const ZEPUnicodeString& json,
                       const ZEPUnicodeString& answer) {
  trace.Error(statusLine->ToString());
  trace.Error("WS httpCommand: ", httpCommand);
  trace.Error("WS ustrFullUrl: ", fullUrl);
  trace.Error("WS Input      : ", json);
  trace.Error(answer);
}

long callCurrentStack(const ZEPUnicodeString& httpCommand, const ZEPUnicodeString& url,
                      const ZEPUnicodeString& json, ZEPUnicodeString& answer) {
  // Before the answer is emptied: it may be the same object as the body.
  const ZEPOmxSP<ZEPOmxHttpStringEntity> body = ZEPOmxHttpStringEntity::Create(json);
  answer.Reset();
  trace.Dump("in_httpCommand", httpCommand);
  trace.Dump("in_url", url);
  trace.Dump("in_json", json);
  trace.Label("Set the WebService path");
  trace.Label("call the web service");

  RequestTarget target;
  if (const EarlyResult early = findTarget(url, target)) {
    return *early;
  }
  ZEPOmxSP<ZEPOmxHttpRequest> request;
  if (const EarlyResult early = makeRequest(httpCommand, target, body, request)) {
    return *early;
  }

  ZEPCfgTracePerfo measure(measureLabel);
  if (trace.IsPerfoActivated()) {
    trace.Perfo(measure.beginPerfo());
  }
  ZEPOmxSP<ZEPOmxDefaultHttpClient> client;
  ZEPOmxSP<ZEPOmxHttpResponse> response;
  if (const EarlyResult early = performQuery(request, measure, client, response)) {
    return *early;
  }

  trace.Label("Get the return code of the WebService");
  const ZEPOmxSP<ZEPOmxHttpStatusLine> statusLine = response->GetStatusLine();
  const int status = statusLine->GetStatusCode();
  trace.Value("statusCode", status);
  if (status != statusOK) {
    trace.Notice(statusLine->ToString());
  }
  if (status == statusNotFound) {
    reportNotFound(target.fullUrl);
    return ZEP_E_HTTP_NOT_FOUND;
  }

  trace.Label("Download the answer of the WebService");
  const ZEPOmxSP<ZEPOmxHttpEntity> entity = response->GetEntity();
  if (!entity.IsNull()) {
    if (const EarlyResult early = downloadAnswer(entity, answer)) {
      return *early;
    }
  }

  if (status >= firstServerError) {
    return ZEPCfgWebServices::OldCallWebService(httpCommand, url, json, answer);
  }
  if (status >= firstClientError) {
    reportClientError(statusLine, httpCommand, target.fullUrl, json, answer);
    return ZEP_E_HTTP_STATUS;
  }
  traceAnswer(answer);
  return S_OK;
}

// ---- legacy stack ------------------------------------------------------------------------------

constexpr unsigned long keepConnection = 0x400000;
constexpr unsigned long coalesceWithComma = 0x40000000;
constexpr unsigned long queryStatusCode = 19;
constexpr int pieceSizeBytes = 4096;
constexpr short accessType = 1;
constexpr short clientFlags = 1;

// A buffer that the client handed out.
struct ClientBuffer {
  ClientBuffer() = default;
  ~ClientBuffer() { std::free(bytes); }
  ClientBuffer(const ClientBuffer&) = delete;
  ClientBuffer& operator=(const ClientBuffer&) = delete;

  const char* Text() const { return bytes == nullptr ? "" : bytes; }
  ZEPUnicodeString Decoded() const {
    ZEPUnicodeString text;
    text.BuildFromUTF8(bytes, bytes == nullptr ? 0 : length);
    return text;
  }

  char* bytes = nullptr;
  std::size_t length = 0;
};

bool addHeader(ZEPHttpClient& client, const ZEPUnicodeString& header) {
  return client.AddRequestHeaders(header.CastToCharPtr(), coalesceWithComma) == 0;
}

EarlyResult openRequest(ZEPHttpClient& client, const ZEPUnicodeString& httpCommand,
                        const RequestTarget& target) {
  trace.Label("Create http query, open it and set the Headers");
  if (client.OpenRequest(httpCommand.CastToCharPtr(), target.fullUrl.CastToCharPtr(), keepConnection,
                         nullptr) != 0) {
    trace.Error("ERROR: OpenRequest failed");
    return E_FAIL;
  }
  if (!addHeader(client, "Accept: application/json\r\n") ||
      !addHeader(client, "Content-Type: application/json\r\n") ||
      !addHeader(client, "SecurityContext: " + target.securityContext + "\r\n")) {
    trace.Error("ERROR: AddRequestHeaders failed");
    return E_FAIL;
  }
  return std::nullopt;
}

// The measure spans the request and the head of the answer, not the body.
EarlyResult sendRequest(ZEPHttpClient& client, const ZEPUTF8Conversion& body, ClientBuffer& headers) {
  ZEPCfgTracePerfo measure(measureLabel);
  if (trace.IsPerfoActivated()) {
    trace.Perfo(measure.beginPerfo());
  }
  trace.Label("Perform the Query");
  if (client.SendRequest(body.Bytes(), body.ByteCount()) != 0) {
    trace.Error("ERROR: SendRequest failed");
    return E_FAIL;
  }
  client.CloseRequest();
  trace.Label("Get the return code of the WebService");
  std::size_t secondLength = 0;
  if (client.GetResponseHeaders(&headers.bytes, &headers.length, &secondLength, queryStatusCode, nullptr) !=
      0) {
    trace.Error("ERROR: GetResponseHeaders failed");
    return E_FAIL;
  }
  if (trace.IsPerfoActivated()) {
    trace.Perfo(measure.endPerfo());
  }
  return std::nullopt;
}

bool isChunked(const ClientBuffer& headers) {
  trace.Label("Check if the answer is chunked");
  const bool chunked = std::strstr(headers.Text(), "Transfer-Encoding: chunked") != nullptr;
  trace.Value("chunked", chunked ? "TRUE" : "FALSE");
  return chunked;
}

EarlyResult downloadAtOnce(ZEPHttpClient& client, ZEPUnicodeString& answer) {
  trace.Label("The answer is not chunked, download it in 1 shot");
  ClientBuffer data;
  if (client.Download(&data.length, &data.bytes) != 0) {
    trace.Error("ERROR: Download failed");
    return E_FAIL;
  }
  answer = data.Decoded();
  return std::nullopt;
}

// A failure ends it quietly: what came so far stays.
void downloadByPieces(ZEPHttpClient& client, ZEPUnicodeString& answer) {
  trace.Label("the answer is chunked, we download it piece by piece");
  for (;;) {
    ClientBuffer piece;
    int finished = 0;
    if (client.DownloadEx(pieceSizeBytes, &piece.length, &piece.bytes, &finished) < 0 || finished != 0) {
      return;
    }
    answer.Append(piece.Decoded());
  }
}

EarlyResult downloadAnswer(ZEPHttpClient& client, const ClientBuffer& headers, ZEPUnicodeString& answer) {
  trace.Label("Download the answer of the WebService");
  const bool chunked = isChunked(headers);
  trace.Label("We need to retrieve the Json");
  if (!chunked) {
    return downloadAtOnce(client, answer);
  }
  downloadByPieces(client, answer);
  return std::nullopt;
}

void reportFailedCall(const ZEPUnicodeString& httpCommand, const ZEPUnicodeString& fullUrl,
                      const ZEPUnicodeString& returnCode, const ZEPUTF8Conversion& body,
                      const ZEPUnicodeString& answer) {
  trace.Error("WS httpCommand: ", httpCommand);
  trace.Error("WS ustrFullUrl: ", fullUrl);
  trace.Error("WS return code: ", returnCode);
  trace.Error("WS Input (UTF-8): ", body.Bytes());
  trace.Error(answer);
}

long callLegacyStack(const ZEPUnicodeString& httpCommand, const ZEPUnicodeString& url,
                     const ZEPUnicodeString& json, ZEPUnicodeString& answer) {
  ZEPHttpClient client(nullptr, accessType, clientFlags);
  // Before the answer is emptied: it may be the same object as the body.
  const ZEPUTF8Conversion pUtf8(json);
  answer.Reset();
  trace.Dump("in_httpCommand", httpCommand);
  trace.Dump("in_url", url);
  trace.Value("pUtf8", pUtf8.Bytes());
  trace.Label("Set the WebService path");
  trace.Label("call the web service");

  RequestTarget target;
  if (const EarlyResult early = findTarget(url, target)) {
    return *early;
  }
  if (const EarlyResult early = openRequest(client, httpCommand, target)) {
    return *early;
  }
  ClientBuffer headers;
  if (const EarlyResult early = sendRequest(client, pUtf8, headers)) {
    return *early;
  }

  const ZEPUnicodeString returnCode = headers.Decoded();
  int status = 0; // stays so when the text is not a number
  returnCode.ConvertToNum(&status, "%d");
  trace.Value("returnCode", returnCode);
  trace.Label("If the return of web service is 200 (OK), then we need to retrieve the Json associated to it");
  if (status == statusNotFound) {
    reportNotFound(target.fullUrl);
    return ZEP_E_HTTP_NOT_FOUND;
  }

  if (const EarlyResult early = downloadAnswer(client, headers, answer)) {
    return *early;
  }
  if (status >= firstClientError) {
    reportFailedCall(httpCommand, target.fullUrl, returnCode, pUtf8, answer);
    return ZEP_E_HTTP_STATUS;
  }
  traceAnswer(answer);
  return S_OK;
}

// ---- choice of the stack -----------------------------------------------------------------------

bool isLegacyStackChosen() {
  static const ZEPUnicodeString setting = ZEPGetEnv("CFG_OldCallWebService");
  trace.Value("CFG_OldCallWebService", setting);
  return setting.Compare("1") == 2;
}

// ---- identifier texts --------------------------------------------------------------------------

void traceId(const ZEPPLMID& id) {
  if (id.IsNull()) {
    trace.Value("plmid", "[ ZEPPLMID_Null ]");
  } else {
    trace.DumpId("plmid", id);
  }
}

long findIdText(const ZEPPLMID& id, ZEPUnicodeString& text) {
  unsigned char isFeature = 0;
  long result = ZEPCfgDictionaryServices::IsPLMIDOfType(id, entity_ConfigurationFeature, 0, isFeature);
  if (ZEPFailed(result)) {
    trace.Error("ERROR: IsPLMIDOfType failed");
    return result;
  }
  if (isFeature != 0) {
    trace.Label("feature");
    result = ZEPCfgBasicInfraServices::GetLogicalID(id, text);
    if (ZEPFailed(result)) {
      trace.Error("ERROR: GetLogicalID failed");
    }
    return result;
  }
  trace.Label("no feature");
  result = ZEPCfgBasicInfraServices::GetPhysicalID(id, text);
  if (ZEPFailed(result)) {
    trace.Error("ERROR: GetPhysicalID failed");
  }
  return result;
}

long collectIdTexts(const ZEPListValZEPPLMID& ids, std::vector<ZEPUnicodeString>& texts) {
  const int count = ids.Size();
  trace.Value("nbPLMIDs", count);
  long result = S_OK;
  for (int i = 1; i <= count; ++i) {
    ZEPUnicodeString text;
    const ZEPPLMID id = ids[i];
    traceId(id);
    result = findIdText(id, text);
    if (ZEPFailed(result)) {
      return result;
    }
    texts.push_back(text);
  }
  return result;
}

void traceIdTexts(const std::vector<ZEPUnicodeString>& texts) {
  trace.Number(static_cast<unsigned int>(texts.size()));
  for (const ZEPUnicodeString& text : texts) {
    trace.Dump("plmid", text);
  }
}

char callWebServiceSignature[] =
    "long __cdecl ZEPCfgWebServices::CallWebService(const class ZEPUnicodeString &,const class ZEPUnicodeString &,const class ZEPUnicodeString &,class ZEPUnicodeString &)";
char newCallWebServiceSignature[] =
    "long __cdecl ZEPCfgWebServices::NewCallWebService(const class ZEPUnicodeString &,const class ZEPUnicodeString &,const class ZEPUnicodeString &,class ZEPUnicodeString &)";
char oldCallWebServiceSignature[] =
    "long __cdecl ZEPCfgWebServices::OldCallWebService(const class ZEPUnicodeString &,const class ZEPUnicodeString &,const class ZEPUnicodeString &,class ZEPUnicodeString &)";
char buildJsonListSignature[] =
    "long __cdecl ZEPCfgWebServices::BuildJsonList(const class ZEPListValZEPPLMID &,class std::vector<class ZEPUnicodeString,class std::allocator<class ZEPUnicodeString> > &)";

} // namespace

long ZEPCfgWebServices::CallWebService(const ZEPUnicodeString& in_httpCommand, const ZEPUnicodeString& in_url,
                                       const ZEPUnicodeString& in_json, ZEPUnicodeString& out_json) {
  const TracedMethod method(callWebServiceSignature);
  const long result = isLegacyStackChosen() ? OldCallWebService(in_httpCommand, in_url, in_json, out_json)
                                            : NewCallWebService(in_httpCommand, in_url, in_json, out_json);
  trace.Result(result);
  return result;
}

long ZEPCfgWebServices::NewCallWebService(const ZEPUnicodeString& in_httpCommand,
                                          const ZEPUnicodeString& in_url, const ZEPUnicodeString& in_json,
                                          ZEPUnicodeString& out_json) {
  const TracedMethod method(newCallWebServiceSignature);
  const long result = callCurrentStack(in_httpCommand, in_url, in_json, out_json);
  trace.Result(result);
  return result;
}

long ZEPCfgWebServices::OldCallWebService(const ZEPUnicodeString& in_httpCommand,
                                          const ZEPUnicodeString& in_url, const ZEPUnicodeString& in_json,
                                          ZEPUnicodeString& out_json) {
  const TracedMethod method(oldCallWebServiceSignature);
  const long result = callLegacyStack(in_httpCommand, in_url, in_json, out_json);
  trace.Result(result);
  return result;
}

long ZEPCfgWebServices::BuildJsonList(const ZEPListValZEPPLMID& in_ids,
                                      std::vector<ZEPUnicodeString>& out_ids) {
  const TracedMethod method(buildJsonListSignature);
  const long result = collectIdTexts(in_ids, out_ids);
  traceIdTexts(out_ids);
  trace.Result(result);
  return result;
}
