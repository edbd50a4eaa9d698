#include "Remedy.h"

#include "Text.h"
#include "ZEPError.h"
#include "ZEPUnicodeString.h"

#include <algorithm>
#include <iterator>
#include <memory>
#include <utility>

namespace zep::cli {
namespace {

// The first row whose pattern, in lower case, stands in what was reported is the one that helps.
struct Row {
  const char* pattern;
  const char* remedy;
};

// What the library says when a request could not be made or its answer not be read.
constexpr const char* transportErrors[] = {"execute failed", "sendrequest failed", "getcontent failed",
                                           "tostring failed", "download failed"};

// By what the platform said about that.
constexpr Row transportRows[] = {
    {"certificate",
     "the server's certificate was not accepted: check that the URL names the right host, and that this "
     "machine trusts the authority that signed the certificate"},
    {"resolve", "there is no host of that name: check --url or ZEP_URL"},
    {"timed out", "the server is too slow or cannot be reached: check --url or ZEP_URL, then try again"},
    {"timeout", "the server is too slow or cannot be reached: check --url or ZEP_URL, then try again"},
    {"", "check that the server runs and that --url or ZEP_URL names it; zepcfg doctor tries it out"},
};

// By what the library said.
constexpr Row errorRows[] = {
    {"orvana context is empty", "name the security context with --context TEXT or ZEP_CONTEXT"},
    {"orvana server url is empty", "name the server with --url URL or ZEP_URL"},
    {"wrong http command", "write GET, PUT or POST in capital letters; --legacy passes on any verb"},
    {"no format for debug",
     "the setting EffCustoPath is \"debug\", which makes every formatting fail: change it, or name a "
     "stylesheet with --stylesheet FILE (zepcfg doctor shows where the setting is)"},
    {"url not found (404)",
     "check the URL: it is that of the server (--url or ZEP_URL) with the path of the service behind it"},
    {"ws httpcommand: ", "the server did not accept the request: see its answer above and its log"},
    {"openrequest failed", "check --url or ZEP_URL: http://HOST:PORT or https://HOST:PORT"},
    {"addrequestheaders failed", "the context holds a line end or another character that no header may hold"},
    {"isplmidoftype failed", "write it as type:logical:physical, such as Part:Door:7B6E"},
    {"getlogicalid failed",
     "give the feature its logical part: ConfigurationFeature:logical:physical, such as "
     "ConfigurationFeature:Engine:4F2A91C0"},
    {"createtransformer failed", "correct the stylesheet, or use another one"},
    {"transform failed", "check that the stylesheet suits the input"},
};

// What works on filters, and by what the platform said about them.
constexpr const char* filterOperations[] = {"CompileFilter", "IsAIncludedInB", "FindCounterexample"};
constexpr Row filterRows[] = {
    {"zep_filter_timeout_ms",
     "let it take longer (ZEP_FILTER_TIMEOUT_MS, in milliseconds), or compare smaller filters"},
    {"zep_filter_max_terms", "simplify the expression, or raise ZEP_FILTER_MAX_TERMS"},
    {"compiled filter", "compile its expression again: zepcfg compile FILE -o OUT"},
    {"document is empty", "name a file that holds an expression"},
    {"zep_xslt_", "give a smaller expression, or raise that limit"},
    {"line ", "correct the input at that line; its schema is ConfigurationExpression.xsd"},
    {"",
     "name an expression in well-formed XML without a document type (or, for includes, a compiled filter)"},
};

bool isFilterOperation(const std::string& operation) {
  return std::find(std::begin(filterOperations), std::end(filterOperations), operation) !=
         std::end(filterOperations);
}

bool isTransportFailure(const std::string& errors) {
  return std::any_of(std::begin(transportErrors), std::end(transportErrors),
                     [&errors](const char* error) { return contains(errors, error); });
}

template <std::size_t count>
const char* findRemedy(const std::string& reported, const Row (&rows)[count]) {
  const auto* const found = std::find_if(std::begin(rows), std::end(rows), [&reported](const Row& row) {
    return contains(reported, row.pattern);
  });
  return found == std::end(rows) ? "run it again with --trace to see what the library did" : found->remedy;
}

struct Release {
  void operator()(ZEPError* error) const { error->Release(); }
};

std::string lastErrorMessage(long code) {
  const std::unique_ptr<ZEPError, Release> error(ZEPError::ZEPGetLastError(code, nullptr));
  return error ? toUTF8(error->GetMessageText()) : std::string();
}

} // namespace

std::string remedyFor(const Failure& failure) {
  if (isFilterOperation(failure.operation)) {
    return findRemedy(toLowerASCII(failure.message), filterRows);
  }
  std::string errors;
  for (const std::string& error : failure.errors) {
    errors += toLowerASCII(error) + "\n";
  }
  return isTransportFailure(errors) ? findRemedy(toLowerASCII(failure.message), transportRows)
                                    : findRemedy(errors, errorRows);
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
