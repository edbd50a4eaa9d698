#pragma once

#include "ZEPHttpSyntax.h"

#include <string>
#include <vector>

// The transport below both HTTP clients. It verifies certificates, speaks HTTP/1.1 over http and
// https alone, follows no redirect, keeps no cookies, uses no proxy and decodes no content. It may
// be used on several threads at once and in a forked child.

namespace zep {

struct HttpRequest {
  std::string verb;
  std::string url;
  std::vector<HttpHeader> headers;
  std::string userAgent; // empty: the platform's own
  bool keepsConnection = true;
};

struct HttpAnswer {
  int status = 0;
  std::string statusLine;               // as the server wrote it
  std::vector<std::string> headerLines; // likewise, without the line ends
  bool hasBody = false;                 // false where an answer cannot have one; else the body may be empty
  std::string body;
};

// Checks the request, sends it and receives the whole answer. S_OK, whatever the status; or a
// failure code, reported, with `oAnswer` untouched. A request that could change something on the
// server is sent once at the most.
long SendHttp(const HttpRequest& request, const std::string& body, HttpAnswer& oAnswer);

} // namespace zep
