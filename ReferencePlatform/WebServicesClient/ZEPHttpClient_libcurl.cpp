#include "ZEPHttpClient.h"

#include "ZEPHResult.h"
#include "ZEPHttpFailure.h"
#include "ZEPHttpTransport.h"

#include <cstdlib>
#include <cstring>

#include <algorithm>
#include <new>
#include <string>
#include <string_view>
#include <utility>

namespace {

constexpr unsigned long kKeepConnection = 0x400000UL;
constexpr unsigned long kCoalesceWithComma = 0x40000000UL;
constexpr unsigned long kStatusCode = 19;
constexpr std::size_t kLongestUtf8Sequence = 4;

int Failure(long code, const std::string& message, int line = __builtin_LINE()) {
  return static_cast<int>(zep::ReportHttpFailure(code, message, line, __FILE__));
}

int OutOfOrder(const char* operation, int line = __builtin_LINE()) {
  return Failure(E_UNEXPECTED,
                 std::string("ZEPHttpClient::") + operation + ": not at this point of a request", line);
}

// Runs the body of an operation; memory that cannot be had is a failure like others.
template <class Operation>
int Guarded(Operation operation) {
  try {
    return operation();
  } catch (const std::bad_alloc&) {
    return Failure(E_OUTOFMEMORY, "out of memory");
  }
}

// A copy for the caller to free, with a zero behind it; null when there is no memory.
char* CopyForCaller(std::string_view bytes) {
  auto* const copy = static_cast<char*>(std::malloc(bytes.size() + 1));
  if (copy != nullptr) {
    bytes.copy(copy, bytes.size());
    copy[bytes.size()] = '\0';
  }
  return copy;
}

int HandOut(std::string_view bytes, std::size_t* oLength, char** oBuffer) {
  char* const copy = CopyForCaller(bytes);
  if (copy == nullptr) {
    return Failure(E_OUTOFMEMORY, "out of memory");
  }
  *oLength = bytes.size();
  *oBuffer = copy;
  return 0;
}

void AddJoined(std::vector<zep::HttpHeader>& headers, zep::HttpHeader header) {
  const auto same = std::find_if(headers.begin(), headers.end(), [&header](const zep::HttpHeader& known) {
    return zep::EqualsIgnoringAsciiCase(known.name, header.name);
  });
  if (same == headers.end()) {
    headers.push_back(std::move(header));
  } else if (same->value.empty() || header.value.empty()) {
    same->value += header.value;
  } else {
    same->value += ", " + header.value;
  }
}

// "Transfer-Encoding: chunked", in whatever letter case.
bool SaysChunked(std::string_view headerLine) {
  constexpr std::string_view coding = "chunked";
  const std::size_t colon = std::min(headerLine.find(':'), headerLine.size());
  const auto found = std::search(headerLine.begin() + static_cast<std::ptrdiff_t>(colon), headerLine.end(),
                                 coding.begin(), coding.end(), [](char left, char right) {
                                   return zep::EqualsIgnoringAsciiCase({&left, 1}, {&right, 1});
                                 });
  return found != headerLine.end() &&
         zep::EqualsIgnoringAsciiCase(headerLine.substr(0, colon), "Transfer-Encoding");
}

// The header line of a chunked answer that says so, or the empty text.
std::string ChunkingHeaderLine(const zep::HttpAnswer& answer) {
  const auto line = std::find_if(answer.headerLines.begin(), answer.headerLines.end(), SaysChunked);
  return answer.hasBody && line != answer.headerLines.end() ? *line : std::string();
}

bool IsContinuation(char byte) {
  return (static_cast<unsigned char>(byte) & 0xC0U) == 0x80U;
}

// Length that the first byte of a sequence announces; 1 where it can begin none.
std::size_t SequenceLength(char first) {
  const auto byte = static_cast<unsigned char>(first);
  if (byte >= 0xC2 && byte <= 0xDF) {
    return 2;
  }
  if (byte >= 0xE0 && byte <= 0xEF) {
    return 3;
  }
  return byte >= 0xF0 && byte <= 0xF4 ? kLongestUtf8Sequence : 1;
}

// The longest beginning of `rest`, of `maxSize` bytes at the most, that leaves no sequence torn.
// Never empty unless `rest` is: what does not look like a sequence may be cut anywhere.
std::string_view NextPiece(std::string_view rest, std::size_t maxSize) {
  if (rest.size() <= maxSize) {
    return rest;
  }
  for (std::size_t tail = 1; tail < kLongestUtf8Sequence; ++tail) {
    const char byte = rest[maxSize - tail];
    if (!IsContinuation(byte)) {
      return rest.substr(0, SequenceLength(byte) > tail ? maxSize - tail : maxSize);
    }
  }
  return rest.substr(0, maxSize);
}

} // namespace

struct ZEPHttpClient::Implementation {
  enum class State { Idle, Open, Answered, Closed, Failed };

  std::string agent;
  State state = State::Idle;
  bool isAnswered = false; // stays so when the request is closed
  zep::HttpRequest request;
  zep::HttpAnswer answer;
  std::size_t position = 0; // of DownloadEx in the body
};

ZEPHttpClient::ZEPHttpClient(const char* iAgent, short /*iAccessType*/, short /*iFlags*/)
    : m_implementation(std::make_unique<Implementation>()) {
  m_implementation->agent = iAgent == nullptr ? "" : iAgent;
}

ZEPHttpClient::~ZEPHttpClient() = default;

int ZEPHttpClient::OpenRequest(const char* iVerb, const char* iPath, unsigned long iFlags,
                               const char** iAcceptTypes) {
  return Guarded([=, this] {
    Implementation& self = *m_implementation;
    self.state = Implementation::State::Idle;
    self.isAnswered = false;
    self.request = {};
    self.answer = {};
    self.position = 0;
    if (iVerb == nullptr || iPath == nullptr || iAcceptTypes != nullptr || (iFlags & ~kKeepConnection) != 0) {
      return Failure(E_INVALIDARG, "ZEPHttpClient::OpenRequest: an argument is not supported");
    }
    std::string problem = zep::ProblemOfVerb(iVerb);
    if (problem.empty()) {
      problem = zep::PrepareUrl(iPath, self.request.url);
    }
    if (!problem.empty()) {
      return Failure(E_INVALIDARG, "the request is not sent: " + problem);
    }
    self.request.verb = iVerb;
    self.request.userAgent = self.agent;
    self.request.keepsConnection = (iFlags & kKeepConnection) != 0;
    self.state = Implementation::State::Open;
    return 0;
  });
}

int ZEPHttpClient::AddRequestHeaders(const char* iHeader, unsigned long iModifiers) {
  return Guarded([=, this] {
    Implementation& self = *m_implementation;
    if (self.state != Implementation::State::Open) {
      return OutOfOrder("AddRequestHeaders");
    }
    const std::string_view line = iHeader == nullptr ? "" : iHeader;
    const std::size_t colon = line.find(':');
    if (colon == std::string_view::npos || (iModifiers & ~kCoalesceWithComma) != 0) {
      return Failure(E_INVALIDARG, "ZEPHttpClient::AddRequestHeaders: an argument is not supported");
    }
    std::string_view value = line.substr(colon + 1);
    const std::string problem = zep::PrepareHeader(line.substr(0, colon), value);
    if (!problem.empty()) {
      return Failure(E_INVALIDARG, "the request is not sent: " + problem);
    }
    zep::HttpHeader header{std::string(line.substr(0, colon)), std::string(value)};
    if ((iModifiers & kCoalesceWithComma) != 0) {
      AddJoined(self.request.headers, std::move(header));
    } else {
      self.request.headers.push_back(std::move(header));
    }
    return 0;
  });
}

int ZEPHttpClient::SendRequest(const char* iBody, std::size_t iLength) {
  return Guarded([=, this] {
    Implementation& self = *m_implementation;
    if (self.state != Implementation::State::Open) {
      return OutOfOrder("SendRequest");
    }
    if (iBody == nullptr && iLength != 0) {
      return Failure(E_POINTER, "ZEPHttpClient::SendRequest: there is no body of that length");
    }
    self.state = Implementation::State::Failed; // until the answer is there
    const std::string body = iLength == 0 ? std::string() : std::string(iBody, iLength);
    const long result = zep::SendHttp(self.request, body, self.answer);
    if (ZEPSucceeded(result)) {
      self.state = Implementation::State::Answered;
      self.isAnswered = true;
      return 0;
    }
    return static_cast<int>(result);
  });
}

int ZEPHttpClient::CloseRequest() {
  return Guarded([this] {
    Implementation& self = *m_implementation;
    if (self.state != Implementation::State::Open && self.state != Implementation::State::Answered) {
      return OutOfOrder("CloseRequest");
    }
    self.state = Implementation::State::Closed;
    return 0;
  });
}

int ZEPHttpClient::GetResponseHeaders(char** oBuffer, std::size_t* oLength, std::size_t* oSecondLength,
                                      unsigned long iInfoLevel, const char* iName) {
  return Guarded([=, this] {
    const Implementation& self = *m_implementation;
    if (!self.isAnswered) {
      return OutOfOrder("GetResponseHeaders");
    }
    if (oBuffer == nullptr || oLength == nullptr || oSecondLength == nullptr || iName != nullptr ||
        iInfoLevel != kStatusCode) {
      return Failure(E_INVALIDARG, "ZEPHttpClient::GetResponseHeaders: an argument is not supported");
    }
    const std::string status = std::to_string(self.answer.status);
    const std::string chunking = ChunkingHeaderLine(self.answer);
    const int result =
        HandOut(chunking.empty() ? status : status + "\r\n" + chunking + "\r\n", oSecondLength, oBuffer);
    if (result == 0) {
      *oLength = status.size();
    }
    return result;
  });
}

int ZEPHttpClient::Download(std::size_t* oLength, char** oBuffer) {
  return Guarded([=, this] {
    if (!m_implementation->isAnswered) {
      return OutOfOrder("Download");
    }
    if (oLength == nullptr || oBuffer == nullptr) {
      return Failure(E_POINTER, "ZEPHttpClient::Download: no place for the body");
    }
    return HandOut(m_implementation->answer.body, oLength, oBuffer);
  });
}

// Not guarded: a caller may take a code for the end of the body, and what it has by then for the whole.
int ZEPHttpClient::DownloadEx(int iPieceSize, std::size_t* oLength, char** oBuffer, int* oFinished) {
  Implementation& self = *m_implementation;
  if (!self.isAnswered) {
    return OutOfOrder("DownloadEx");
  }
  if (oLength == nullptr || oBuffer == nullptr || oFinished == nullptr ||
      iPieceSize < static_cast<int>(kLongestUtf8Sequence)) {
    return Failure(E_INVALIDARG, "ZEPHttpClient::DownloadEx: an argument is not supported");
  }
  const std::string_view rest = std::string_view(self.answer.body).substr(self.position);
  if (rest.empty()) {
    *oLength = 0;
    *oBuffer = nullptr;
    *oFinished = 1;
    return 0;
  }
  const std::string_view piece = NextPiece(rest, static_cast<std::size_t>(iPieceSize));
  char* const copy = CopyForCaller(piece);
  if (copy == nullptr) {
    throw std::bad_alloc();
  }
  self.position += piece.size();
  *oLength = piece.size();
  *oBuffer = copy;
  *oFinished = 0;
  return 0;
}
