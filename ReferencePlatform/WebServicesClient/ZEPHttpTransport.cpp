#include "ZEPHttpTransport.h"

#include "ZEPEnvironment.h"
#include "ZEPHResult.h"
#include "ZEPHttpFailure.h"
#include "ZEPHttpTransfer.h"

#include <dlfcn.h>

#include <atomic>
#include <new>
#include <string>

namespace zep {
namespace {

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

long SendPrepared(const HttpRequest& request, HttpAnswer& oAnswer) {
  static std::atomic<TransferFunction> loaded = nullptr;
  std::string problem;
  TransferFunction transfer = loaded;
  if (transfer == nullptr) {
    transfer = LoadTransfer(problem);
    loaded = transfer;
  }
  const long result =
      transfer == nullptr
          ? E_FAIL
          : transfer(request, {CurrentHttpLimits(), AdditionalAuthorityFile()}, oAnswer, problem);
  return result < 0 ? ReportHttpFailure(result, request.verb + " " + request.url + ": " + problem) : result;
}

// Brings the request into the form in which it is sent; what is wrong with it, or the empty text.
std::string Prepare(HttpRequest& ioRequest) {
  std::string problem = ProblemOfVerb(ioRequest.verb);
  if (problem.empty() && ioRequest.verb == "HEAD" && !ioRequest.body.empty()) {
    problem = "a HEAD request has no body";
  }
  if (problem.empty()) {
    problem = PrepareUrl(std::string(ioRequest.url), ioRequest.url);
  }
  if (problem.empty()) {
    HttpHeader agent;
    problem = PrepareHeader("User-Agent", ioRequest.userAgent, agent);
    ioRequest.userAgent = agent.value;
  }
  for (HttpHeader& header : ioRequest.headers) {
    if (problem.empty()) {
      problem = PrepareHeader(header.name, header.value, header);
    }
  }
  return problem;
}

} // namespace

long SendHttp(HttpRequest request, HttpAnswer& oAnswer) {
  try {
    const std::string problem = Prepare(request);
    return problem.empty() ? SendPrepared(request, oAnswer)
                           : ReportHttpFailure(E_INVALIDARG, "the request is not sent: " + problem);
  } catch (const std::bad_alloc&) {
    return ReportHttpFailure(E_OUTOFMEMORY, "out of memory");
  }
}

} // namespace zep
