#pragma once

#include "ZEPUnicodeString.h"

#include <optional>
#include <string>
#include <string_view>
#include <vector>

// The two HTTP clients in the words of a test.

enum class HttpStack { Object, Legacy };

struct HttpCall {
  std::string verb = "GET";
  std::string url;
  std::optional<std::string> body = std::nullopt;
  std::vector<std::pair<std::string, std::string>> headers = {};
};

struct HttpOutcome {
  long code = 0; // of the operation that failed first, or 0
  int status = 0;
  std::string statusLine; // object client only
  bool hasEntity = false; // likewise
  std::string body;
  std::string error; // what the last-error service says, where the call failed
};

// The object client knows GET, PUT and POST alone; with a GET it sends no body.
HttpOutcome Send(HttpStack stack, const HttpCall& call);

ZEPUnicodeString Text(std::string_view utf8);
std::string Bytes(const ZEPUnicodeString& text);
// What the last-error service holds for that code, or the empty text.
std::string LastError(long code);
