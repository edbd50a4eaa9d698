#include "ZEPHttpTransport.h"

#include "ZEPEnvironment.h"
#include "ZEPHResult.h"
#include "ZEPHttpFailure.h"
#include "ZEPHttpTransfer.h"

#include <dlfcn.h>

#include <algorithm>
#include <atomic>
#include <cstddef>
#include <new>
#include <string>
#include <string_view>

namespace zep {
namespace {

constexpr std::string_view kUserAgent = "User-Agent";
constexpr std::string_view kOwnUserAgent = "ZEPPlatform/1.0";
constexpr std::size_t kUsualHeadBytes = 256;

bool IsEncrypted(std::string_view url) {
  constexpr std::string_view scheme = "https:";
  return EqualsIgnoringAsciiCase(url.substr(0, scheme.size()), scheme);
}

std::string AdditionalAuthorityFile() {
  for (const char* const name : {"ZEP_CA_FILE", "SSL_CERT_FILE"}) {
    const char* const path = ZEPGetEnv(name);
    if (path != nullptr && *path != '\0') {
      return path;
    }
  }
  return {};
}

// The file of the shared object that this function is in.
std::string OwnFile() {
  Dl_info info = {};
  return dladdr(reinterpret_cast<void*>(OwnFile), &info) != 0 ? info.dli_fname : "";
}

using TransferFunction = decltype(&ZEPTransferHttp);

// libcurl's part of the transport, which stays loaded; or null, and why.
TransferFunction LoadTransfer(std::string& oProblem) {
  const std::string own = OwnFile();
  const std::string file = own.substr(0, own.rfind('/') + 1) + ZEP_HTTP_TRANSFER_FILE;
  void* const object = dlopen(file.c_str(), RTLD_NOW | RTLD_LOCAL);
  void* const function = object == nullptr ? nullptr : dlsym(object, "ZEPTransferHttp");
  if (function == nullptr) {
    const char* const reason = dlerror();
    oProblem = "HTTP needs a file that cannot be loaded: " + (reason == nullptr ? file : reason);
  }
  return reinterpret_cast<TransferFunction>(function);
}

HttpTransferSettings CurrentSettings(std::string_view url) {
  const bool isEncrypted = IsEncrypted(url);
  return {CurrentHttpLimits(), isEncrypted, isEncrypted ? AdditionalAuthorityFile() : std::string()};
}

long SendPrepared(const HttpTransferRequest& request, HttpAnswer& oAnswer) {
  static std::atomic<TransferFunction> loaded = nullptr;
  std::string problem;
  TransferFunction transfer = loaded;
  if (transfer == nullptr) {
    transfer = LoadTransfer(problem);
    loaded = transfer;
  }
  const long result =
      transfer == nullptr ? E_FAIL : transfer(request, CurrentSettings(request.url), oAnswer, problem);
  return result < 0 ? ReportHttpFailure(result, request.verb + " " + request.url + ": " + problem) : result;
}

void AppendLine(std::string& lines, std::string_view name, std::string_view value) {
  lines.append(name);
  if (value.empty()) {
    lines += ';';
  } else {
    lines.append(": ").append(value);
  }
  lines += '\0';
}

bool NamesUserAgent(const HttpRequest& request) {
  return std::any_of(request.headers.begin(), request.headers.end(), [](const HttpHeader& header) {
    return EqualsIgnoringAsciiCase(header.name, kUserAgent);
  });
}

// Appends them all; or what is wrong with one of them.
std::string AppendHeaders(const HttpRequest& request, std::string& lines) {
  lines.reserve(kUsualHeadBytes);
  std::string_view agent = request.userAgent;
  std::string problem = PrepareHeader(kUserAgent, agent);
  if (!NamesUserAgent(request)) {
    AppendLine(lines, kUserAgent, agent.empty() ? kOwnUserAgent : agent);
  }
  for (const HttpHeader& header : request.headers) {
    std::string_view value = header.value;
    if (problem.empty()) {
      problem = PrepareHeader(header.name, value);
    }
    AppendLine(lines, header.name, value);
  }
  return problem;
}

// Brings the request into the form in which it is sent; what is wrong with it, or the empty text.
std::string Prepare(const HttpRequest& request, const std::string& body, HttpTransferRequest& oPrepared) {
  std::string problem = ProblemOfVerb(request.verb);
  if (problem.empty() && request.verb == "HEAD" && !body.empty()) {
    problem = "a HEAD request has no body";
  }
  if (problem.empty()) {
    problem = PrepareUrl(request.url, oPrepared.url);
  }
  return problem.empty() ? AppendHeaders(request, oPrepared.headerLines) : problem;
}

} // namespace

long SendHttp(const HttpRequest& request, const std::string& body, HttpAnswer& oAnswer) {
  try {
    HttpTransferRequest prepared = {request.verb, body, request.keepsConnection, {}, {}};
    const std::string problem = Prepare(request, body, prepared);
    return problem.empty() ? SendPrepared(prepared, oAnswer)
                           : ReportHttpFailure(E_INVALIDARG, "the request is not sent: " + problem);
  } catch (const std::bad_alloc&) {
    return ReportHttpFailure(E_OUTOFMEMORY, "out of memory");
  }
}

} // namespace zep
