#include "Remedy.h"

#include "Text.h"
#include "ZEPError.h"
#include "ZEPUnicodeString.h"

#include <memory>
#include <utility>

namespace zep::cli {
namespace {

// The first row with a pattern that stands in what was reported is the one that helps. Rows about a
// cause stand before those about the call that met it.
struct Row {
  const char* pattern; // in lower case
  const char* remedy;
};

constexpr Row rows[] = {
    {"orvana context is empty", "name the security context with --context TEXT or ZEP_CONTEXT"},
    {"orvana server url is empty", "name the server with --url URL or ZEP_URL"},
    {"wrong http command", "write GET, PUT or POST in capital letters; --legacy passes on any verb"},
    {"no format for debug",
     "the setting EffCustoPath is \"debug\", which makes every formatting fail: change it, or name a "
     "stylesheet with --stylesheet FILE (zepcfg doctor shows where the setting is)"},
    // An answer of the server may hold any of the words below.
    {"url not found (404)",
     "check the URL: it is that of the server (--url or ZEP_URL) with the path of the service behind it"},
    {"ws httpcommand: ", "the server did not accept the request: see its answer above and its log"},
    {"certificate",
     "the server's certificate was not accepted: check that the URL names the right host, and that this "
     "machine trusts the authority that signed the certificate"},
    {"resolve", "there is no host of that name: check --url or ZEP_URL"},
    {"timed out", "the server is too slow or cannot be reached: check --url or ZEP_URL, then try again"},
    {"timeout", "the server is too slow or cannot be reached: check --url or ZEP_URL, then try again"},
    {"connect", "check that the server runs and that --url or ZEP_URL names it; zepcfg doctor tries it out"},
    {"execute failed", "check that the server runs and that --url or ZEP_URL names it"},
    {"sendrequest failed", "check that the server runs and that --url or ZEP_URL names it"},
    {"openrequest failed", "check --url or ZEP_URL: http://HOST:PORT or https://HOST:PORT"},
    {"addrequestheaders failed", "the context holds a line end or another character that no header may hold"},
    {"getcontent failed", "the server's answer could not be read to its end; try again"},
    {"tostring failed", "the server's answer could not be read to its end; try again"},
    {"download failed", "the server's answer could not be read to its end; try again"},
    {"createtransformer failed", "the stylesheet cannot be used: zepcfg stylesheet check FILE tells why"},
    {"transform failed",
     "check that the input is well-formed XML and that the stylesheet suits it (zepcfg stylesheet check FILE)"},
};

struct Release {
  void operator()(ZEPError* error) const { error->Release(); }
};

std::string lastErrorMessage(long code) {
  const std::unique_ptr<ZEPError, Release> error(ZEPError::ZEPGetLastError(code, nullptr));
  return error ? toUTF8(error->GetMessageText()) : std::string();
}

} // namespace

std::string remedyFor(const Failure& failure) {
  std::string reported;
  for (const std::string& error : failure.errors) {
    reported += error + "\n";
  }
  reported = toLowerASCII(reported + failure.message);
  for (const Row& row : rows) {
    if (contains(reported, row.pattern)) {
      return row.remedy;
    }
  }
  return "run it again with --trace to see what the library did";
}

Failure describeFailure(const TraceCollector& trace, const std::string& input, const std::string& operation,
                        long code) {
  Failure failure{input, operation, code, trace.errors(), trace.message(), ""};
  if (failure.message.empty()) {
    failure.message = lastErrorMessage(code);
  }
  failure.remedy = remedyFor(failure);
  return failure;
}

} // namespace zep::cli
