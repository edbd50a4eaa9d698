#include "FaultCourses.h"

#include <cstdlib>
#include <string>

namespace fault {

namespace {

const char webClass[] = "ZEPCfgWebServices";

constexpr int clientErrors = 400;
constexpr int serverErrors = 500;
constexpr int notFound = 404;

struct Target {
  std::string context;
  std::string fullUrl;
};

std::string callSignature(const char* operation) {
  return std::string(operation) + "(const class ZEPUnicodeString &,const class ZEPUnicodeString &,"
                                  "const class ZEPUnicodeString &,class ZEPUnicodeString &)";
}

using Early = std::optional<long>;

// Both stacks.
Early findTarget(Course& course, const std::string& url, Target& target) {
  course.Label("Set the WebService path");
  course.Label("call the web service");
  course.Label("Populate the security context");
  // The text decides, not the code.
  target.context = course.Call(Op::GetCurrentContext).Gives() ? course.world.context : "";
  course.Dump("ustrSecurityContext", target.context);
  if (target.context.empty()) {
    return course.Error("ERROR: Orvana Context is empty", E_FAIL);
  }
  course.Label("Retrieve Arguments for web service call");
  const Answer query = course.Call(Op::QRLSysTSGetArg, "Url, 0, 0");
  if (query.Fails()) {
    course.Error("ERROR: QRLSysTSGetArg failed");
    // The same variables: they hold what the first query wrote.
    return course.Call(Op::QRLSysTSGetArg, query.acted ? "Url, 4711, 815" : "Url, 0, 0").code;
  }
  const std::string server = query.Gives() ? course.world.argUrl : "";
  if (server.empty()) {
    return course.Error("ERROR: Orvana Server Url is empty", E_FAIL);
  }
  course.Label("Define the full URL");
  target.fullUrl = server + url;
  course.Dump("ustrFullUrl", target.fullUrl);
  return {};
}

void traceAnswer(Course& course, const std::string& answer) {
  course.Dump("out_json", answer);
  course.Label("If the outJson is empty, then return S_OK");
  if (answer.empty()) {
    course.Label("out_json is empty");
  }
}

Early makeEntityRequest(Course& course, Op create, const Target& target, bool hasBody) {
  if (!course.Call(create, target.fullUrl).Gives()) {
    return course.Error("ERROR: spTempRequest is a null pointer", E_FAIL);
  }
  course.Call(Op::SetServiceName, "Qubelle");
  if (hasBody) {
    course.Call(Op::SetEntity, "stringEntity");
  }
  return {};
}

Early makeRequest(Course& course, const std::string& verb, const Target& target, bool hasBody) {
  course.Label("Create http query, open it and set the Headers");
  if (verb == "GET") {
    if (!course.Call(Op::CreateHttpGet, target.fullUrl).Gives()) {
      course.Die();
    }
  } else if (verb == "PUT" || verb == "POST") {
    const Op create = verb == "PUT" ? Op::CreateHttpPut : Op::CreateHttpPost;
    if (const Early early = makeEntityRequest(course, create, target, hasBody)) {
      return early;
    }
  } else {
    return course.Error("ERROR: wrong http command", E_INVALIDARG);
  }
  course.Call(Op::AddHeader, R"(Accept, "application/json\r\n")");
  course.Call(Op::AddHeader, R"(Content-Type, "application/json\r\n")");
  course.Call(Op::AddHeader, "SecurityContext, \"" + target.context + R"(\r\n")");
  return {};
}

Early performQuery(Course& course, const std::string& verb, const Target& target) {
  course.Call(Op::ZEPCfgTracePerfo, "WebService");
  course.Timing(Op::beginPerfo, "<BEGIN WebService>");
  course.Label("Perform the Query");
  if (!course.Call(Op::CreateHttpClient, "0").Gives()) {
    course.Die();
  }
  const std::string request = verb == "GET" ? "httpGet " : verb == "PUT" ? "httpPut " : "httpPost ";
  const Answer executed = course.Call(Op::Execute, request + target.fullUrl);
  course.Timing(Op::endPerfo, "<END WebService>");
  if (executed.Fails()) {
    return course.Error("ERROR: Execute failed", executed.code);
  }
  if (!executed.Gives()) {
    return course.Error("ERROR: spResponse is a null pointer", E_FAIL);
  }
  return {};
}

Early downloadCurrent(Course& course, std::string& answer) {
  course.Label("Download the answer of the WebService");
  if (!course.Call(Op::GetEntity).Gives()) {
    return {};
  }
  const Answer content = course.Call(Op::GetContent);
  if (content.Fails()) {
    return course.Error("ERROR: GetContent failed", content.code);
  }
  const Answer text = course.Call(Op::IOUtilsToString);
  if (!content.Gives() && text.acted) {
    course.Die(); // read from a stream that is null
  }
  if (text.Fails()) {
    return course.Error("ERROR: ToString failed", text.code);
  }
  course.Gives(answer, text.Gives() ? course.world.defaultBody : "");
  return {};
}

long currentStack(Course& course, const Request& request, std::string& answer) {
  const bool hasBody = course.Call(Op::CreateStringEntity, argument(request.json)).Gives();
  course.Gives(answer, "");
  course.Dump("in_httpCommand", request.verb);
  course.Dump("in_url", request.url);
  course.Dump("in_json", request.json);
  Target target;
  if (const Early early = findTarget(course, request.url, target)) {
    return *early;
  }
  if (const Early early = makeRequest(course, request.verb, target, hasBody)) {
    return *early;
  }
  if (const Early early = performQuery(course, request.verb, target)) {
    return *early;
  }
  course.Label("Get the return code of the WebService");
  if (!course.Call(Op::GetStatusLine).Gives()) {
    course.Die();
  }
  course.Call(Op::GetStatusCode);
  const int status = course.world.defaultStatus;
  course.Value("statusCode", std::to_string(status));
  const auto statusLine = [&] {
    const bool given = course.Call(Op::StatusLineToString).Gives();
    return given ? "HTTP/1.1 " + std::to_string(status) + " Scripted" : "";
  };
  if (status != 200) {
    course.Notice(statusLine());
  }
  if (status == notFound) {
    return course.Error(target.fullUrl + " URL not found (404)", ZEP_E_HTTP_NOT_FOUND);
  }
  if (const Early early = downloadCurrent(course, answer)) {
    return *early;
  }
  if (status >= serverErrors) {
    return courseOfOldCall(course, request, answer);
  }
  if (status >= clientErrors) {
    course.Error(statusLine());
    course.Error("WS httpCommand: " + request.verb);
    course.Error("WS ustrFullUrl: " + target.fullUrl);
    course.Error("WS Input      : " + request.json);
    return course.Error(answer, ZEP_E_HTTP_STATUS);
  }
  traceAnswer(course, answer);
  return S_OK;
}

// Of the legacy client anything but 0 is a failure, and all failures are one.
bool succeeds(const Answer& answer) {
  return answer.code == 0;
}

Early sendLegacy(Course& course, const Request& request, const Target& target) {
  course.Label("Create http query, open it and set the Headers");
  if (!succeeds(course.Call(Op::OpenRequest, request.verb + ", " + target.fullUrl + ", 0x400000, null"))) {
    return course.Error("ERROR: OpenRequest failed", E_FAIL);
  }
  const std::string headers[] = {"Accept: application/json", "Content-Type: application/json",
                                 "SecurityContext: " + target.context};
  for (const std::string& header : headers) {
    if (!succeeds(course.Call(Op::AddRequestHeaders, "\"" + header + R"(\r\n", 0x40000000)"))) {
      return course.Error("ERROR: AddRequestHeaders failed", E_FAIL);
    }
  }
  course.Call(Op::ZEPCfgTracePerfo, "WebService");
  course.Timing(Op::beginPerfo, "<BEGIN WebService>");
  course.Label("Perform the Query");
  if (!succeeds(course.Call(Op::SendRequest,
                            argument(request.json) + ", " + std::to_string(request.json.size())))) {
    return course.Error("ERROR: SendRequest failed", E_FAIL);
  }
  course.Call(Op::CloseRequest); // its result is ignored
  return {};
}

void downloadPieces(Course& course, std::string& answer) {
  course.Label("the answer is chunked, we download it piece by piece");
  const std::vector<std::string>& pieces = course.world.legacy.pieces;
  for (std::size_t next = 0;;) {
    const Answer piece = course.Call(Op::DownloadEx, "4096");
    if (piece.Fails() || next == pieces.size()) {
      return;
    }
    course.Gives(answer, answer + (piece.Gives() ? pieces[next] : ""));
    ++next;
  }
}

Early downloadLegacy(Course& course, bool isChunked, std::string& answer) {
  course.Label("Download the answer of the WebService");
  course.Label("Check if the answer is chunked");
  course.Value("chunked", isChunked ? "TRUE" : "FALSE");
  course.Label("We need to retrieve the Json");
  if (isChunked) {
    downloadPieces(course, answer);
    return {};
  }
  course.Label("The answer is not chunked, download it in 1 shot");
  const Answer download = course.Call(Op::Download);
  if (!succeeds(download)) {
    return course.Error("ERROR: Download failed", E_FAIL);
  }
  if (download.Gives()) {
    course.Gives(answer, course.world.legacy.body);
  }
  return {};
}

long legacyStack(Course& course, const Request& request, std::string& answer) {
  course.Call(Op::ZEPHttpClient, "null, 1, 1");
  course.Gives(answer, "");
  course.Dump("in_httpCommand", request.verb);
  course.Dump("in_url", request.url);
  course.Value("pUtf8", request.json);
  Target target;
  if (const Early early = findTarget(course, request.url, target)) {
    return *early;
  }
  if (const Early early = sendLegacy(course, request, target)) {
    return *early;
  }
  course.Label("Get the return code of the WebService");
  const Answer headers = course.Call(Op::GetResponseHeaders, "19, null");
  if (!succeeds(headers)) {
    return course.Error("ERROR: GetResponseHeaders failed", E_FAIL);
  }
  course.Timing(Op::endPerfo, "<END WebService>");
  // No buffer reads as an empty text, which is no number.
  const std::string returnCode = headers.Gives() ? course.world.legacy.status : "";
  const bool isChunked = headers.Gives() && course.world.legacy.headerText == "Transfer-Encoding: chunked";
  const int status = std::atoi(returnCode.c_str());
  course.Value("returnCode", returnCode);
  course.Label(
      "If the return of web service is 200 (OK), then we need to retrieve the Json associated to it");
  if (status == notFound) {
    return course.Error(target.fullUrl + " URL not found (404)", ZEP_E_HTTP_NOT_FOUND);
  }
  if (const Early early = downloadLegacy(course, isChunked, answer)) {
    return *early;
  }
  if (status >= clientErrors) {
    course.Error("WS httpCommand: " + request.verb);
    course.Error("WS ustrFullUrl: " + target.fullUrl);
    course.Error("WS return code: " + returnCode);
    course.Error("WS Input (UTF-8): " + request.json);
    return course.Error(answer, ZEP_E_HTTP_STATUS);
  }
  traceAnswer(course, answer);
  return S_OK;
}

long findText(Course& course, const std::string& id, std::string& text) {
  const scripted::PLMObject object =
      course.world.objects.contains(id) ? course.world.objects.at(id) : scripted::PLMObject();
  const Answer type = course.Call(Op::IsPLMIDOfType, id + ", ScriptedFeature, 0, 0");
  if (type.Fails()) {
    return course.Error("ERROR: IsPLMIDOfType failed", type.code);
  }
  const bool isFeature = object.isOfType != 0;
  course.Label(isFeature ? "feature" : "no feature");
  const Answer given = course.Call(isFeature ? Op::GetLogicalID : Op::GetPhysicalID, id + ", \"\"");
  if (given.Fails()) {
    return course.Error(isFeature ? "ERROR: GetLogicalID failed" : "ERROR: GetPhysicalID failed", given.code);
  }
  text = given.Gives() ? (isFeature ? object.logicalId : object.physicalId) : "";
  return given.code;
}

long collectTexts(Course& course, std::initializer_list<const char*> ids, std::string& texts,
                  std::vector<std::string>& made) {
  course.Value("nbPLMIDs", std::to_string(ids.size()));
  long result = S_OK;
  for (const std::string id : ids) {
    if (id == "null") {
      course.Label("plmid = [ ZEPPLMID_Null ]");
    } else if (course.IsTraced()) {
      course.Call(Op::PLMIDToString, id + ", 0");
      course.Dump("plmid", id);
    }
    std::string text;
    result = findText(course, id, text);
    if (result < 0) {
      return result;
    }
    made.push_back(text);
    course.Gives(texts, texts + "<" + text + ">");
  }
  return result;
}

} // namespace

std::string argument(const std::string& text) {
  return text.empty() ? "\"\"" : text;
}

long courseOfInclusion(Course& course, std::string& included) {
  Frame frame(course, "ZEPCfgFilterBasicServices",
              "IsAIncludedInB(const class ZEPBinary &,const class ZEPBinary &,unsigned char &)");
  const Answer answer = course.Call(Op::IsIncluding, "the reference, [the candidate], 1, [], 1, 1");
  if (answer.Fails()) {
    return course.Error("ERROR : IsIncluding FAILED", answer.code);
  }
  if (!answer.Gives()) {
    return E_FAIL; // without a word
  }
  course.Gives(included, std::to_string(course.world.inclusions.front()));
  return answer.code;
}

long courseOfCall(Course& course, const Request& request, std::string& answer) {
  Frame frame(course, webClass, callSignature("CallWebService"));
  if (!course.stackSetting) {
    const bool isGiven = course.Call(Op::ZEPGetEnv, "CFG_OldCallWebService").Gives();
    course.MayEnd();
    course.stackSetting = isGiven ? course.world.environment["CFG_OldCallWebService"] : "";
  }
  course.Value("CFG_OldCallWebService", *course.stackSetting);
  return frame.Result(course.stackSetting == "1" ? courseOfOldCall(course, request, answer)
                                                 : courseOfNewCall(course, request, answer));
}

long courseOfNewCall(Course& course, const Request& request, std::string& answer) {
  Frame frame(course, webClass, callSignature("NewCallWebService"));
  return frame.Result(currentStack(course, request, answer));
}

long courseOfOldCall(Course& course, const Request& request, std::string& answer) {
  Frame frame(course, webClass, callSignature("OldCallWebService"));
  return frame.Result(legacyStack(course, request, answer));
}

long courseOfJsonList(Course& course, std::initializer_list<const char*> ids, std::string& texts) {
  Frame frame(course, webClass,
              "BuildJsonList(const class ZEPListValZEPPLMID &,class std::vector<class ZEPUnicodeString,"
              "class std::allocator<class ZEPUnicodeString> > &)");
  std::vector<std::string> made = {"in front"};
  const long result = collectTexts(course, ids, texts, made);
  course.Label(std::to_string(made.size()));
  for (const std::string& text : made) {
    course.Dump("plmid", text);
  }
  return frame.Result(result);
}

} // namespace fault
