#pragma once

#include "ZEPHttpLimits.h"
#include "ZEPHttpTransport.h"
#include "ZEPPlatformExport.h"

#include <string>

// The part of the transport that stands on libcurl. It is a shared object of its own, because libcurl and all
// that it stands on take longer to load than an expression takes to format, and most runs of a program
// send no request.

namespace zep {

// A request that is checked and in the form in which it is sent.
struct HttpTransferRequest {
  const std::string& verb;
  const std::string& body;
  bool keepsConnection;
  std::string url;
  // "name: value", each with a NUL behind it. A header without a value is "name;" as libcurl wants it, for
  // which "name:" would mean "do not send it".
  std::string headerLines;
};

struct HttpTransferSettings {
  HttpLimits limits;
  bool isEncrypted;
  std::string authorityFile; // with additional certificate authorities; empty: none
};

} // namespace zep

// Sends a request that is checked and receives the whole answer. S_OK, or a failure code with `oProblem` in
// words and `oAnswer` untouched. Throws std::bad_alloc.
extern "C" ZEP_PLATFORM_API long ZEPTransferHttp(const zep::HttpTransferRequest& request,
                                                 const zep::HttpTransferSettings& settings,
                                                 zep::HttpAnswer& oAnswer, std::string& oProblem);
