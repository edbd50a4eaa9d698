#include "AnswerServer_posix.h"
#include "FuzzTarget.h"
#include "ZEPCfgWebServices.h"
#include "ZEPHResult.h"
#include "ZEPHttpClient.h"
#include "ZEPUTF8Conversion.h"

#include <cstdlib>
#include <memory>
#include <optional>
#include <string>

namespace {

// The server's address is what both clients are given.
fuzz::AnswerServer& Server() {
  static fuzz::AnswerServer server;
  static const bool isSet = (fuzz::SetEnvironment({{"ZEP_URL", server.Url()},
                                                   {"ZEP_CONTEXT", "context"},
                                                   {"ZEP_HTTP_STALL_TIMEOUT_MS", "2000"},
                                                   {"ZEP_HTTP_TOTAL_TIMEOUT_MS", "4000"}}),
                             true);
  static_cast<void>(isSet);
  return server;
}

struct Answer {
  long result;
  ZEPUnicodeString body;
};

using Call = long (*)(const ZEPUnicodeString&, const ZEPUnicodeString&, const ZEPUnicodeString&,
                      ZEPUnicodeString&);

Answer Ask(Call call, const char* verb) {
  Answer answer{S_OK, fuzz::kUntouched};
  answer.result = call(verb, "/service", "{}", answer.body);
  fuzz::Require(answer.result != ZEP_E_HTTP_NOT_FOUND || answer.body.IsEmpty(),
                "nothing is made of what was not found");
  fuzz::Require(!(answer.body == fuzz::kUntouched), "the answer is emptied first");
  fuzz::Require(fuzz::IsWellFormed(answer.body), "an answer is a whole text");
  return answer;
}

struct Freed {
  void operator()(char* buffer) const { std::free(buffer); }
};
using Buffer = std::unique_ptr<char, Freed>;

// A kept connection that the server has closed a moment ago fails a request that is sent once at the most.
// The next one has a connection of its own.
Answer AskCurrent(const char* verb) {
  const Answer answer = Ask(ZEPCfgWebServices::NewCallWebService, verb);
  return ZEPFailed(answer.result) ? Ask(ZEPCfgWebServices::NewCallWebService, verb) : answer;
}

// The body in pieces, each of which is a text of its own.
std::string PiecesOf(ZEPHttpClient& client, bool isUTF8) {
  constexpr int kPieceSize = 7;
  std::string all;
  for (int isFinished = 0; isFinished == 0;) {
    std::size_t length = 0;
    char* bytes = nullptr;
    fuzz::Require(client.DownloadEx(kPieceSize, &length, &bytes, &isFinished) >= 0, "pieces can be read");
    const Buffer buffer(bytes);
    fuzz::Require(length <= kPieceSize && (length > 0) == (isFinished == 0), "a piece is not empty");
    const std::string piece(bytes == nullptr ? "" : bytes, length);
    fuzz::Require(!isUTF8 || fuzz::Text(piece).SearchSubString("\uFFFD", 0, 1) < 0, "no character is torn");
    all += piece;
  }
  return all;
}

// The legacy client's own operations; nothing where the request fails.
std::optional<std::string> BodyByClient() {
  ZEPHttpClient client(nullptr, 1, 1);
  if (client.OpenRequest("GET", (Server().Url() + "/service").c_str(), 0x400000, nullptr) != 0 ||
      client.SendRequest("", 0) != 0) {
    return std::nullopt;
  }
  char* bytes = nullptr;
  std::size_t length = 0;
  std::size_t wholeLength = 0;
  fuzz::Require(client.GetResponseHeaders(&bytes, &length, &wholeLength, 19, nullptr) == 0,
                "there is a status");
  const Buffer head(bytes);
  fuzz::Require(length <= wholeLength && bytes[wholeLength] == '\0', "the status ends with a zero");
  fuzz::Require(client.Download(&length, &bytes) == 0, "a body that came can be read");
  const Buffer buffer(bytes);
  const std::string body(bytes, length);
  const bool isUTF8 = fuzz::Text(body).SearchSubString("\uFFFD", 0, 1) < 0;
  fuzz::Require(PiecesOf(client, isUTF8) == body, "the pieces are the body");
  return body;
}

} // namespace

// The bytes are what the server sends, to each request.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  Server().AnswerWith(fuzz::Bytes(data, size));
  const Answer current = AskCurrent(size % 2 == 0 ? "GET" : "POST");
  const Answer legacy = Ask(ZEPCfgWebServices::OldCallWebService, "GET");
  fuzz::Require(ZEPFailed(current.result) == ZEPFailed(legacy.result), "both stacks fail together");
  const std::optional<std::string> body = BodyByClient();
  fuzz::Require(body.has_value() || ZEPFailed(legacy.result), "what a stack could read the client can");
  if (!ZEPFailed(legacy.result)) {
    fuzz::Require(current.body == fuzz::Text(*body), "the answer is the body");
    const bool isUTF8 = current.body.SearchSubString("\uFFFD", 0, 1) < 0;
    fuzz::Require(!isUTF8 || current.body == legacy.body, "both stacks give the same answer");
  }
  return 0;
}
