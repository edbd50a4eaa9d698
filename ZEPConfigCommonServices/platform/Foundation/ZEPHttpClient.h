#pragma once

#include "ZEPPlatformExport.h"

#include <cstddef>
#include <memory>

// The low-level HTTP client: one request at a time, from OpenRequest to the body. Its numeric
// flags are those of the Windows internet API. Every operation answers 0 on success (DownloadEx:
// not negative) and leaves its outputs untouched on failure, unless it says otherwise. Buffers
// that it hands out belong to the caller, who releases them with free(). A client belongs to one
// thread at a time.
class ZEP_PLATFORM_API ZEPHttpClient {
public:
  // `iAgent`: user agent, or null for the platform's own. The two numbers are the platform's
  // business; pass 1 and 1.
  ZEPHttpClient(const char* iAgent, short iAccessType, short iFlags);
  ~ZEPHttpClient();
  ZEPHttpClient(const ZEPHttpClient&) = delete;
  ZEPHttpClient& operator=(const ZEPHttpClient&) = delete;

  // `iPath`: absolute URL. `iFlags`: 0x400000 keeps the connection. `iAcceptTypes`: null.
  // A verb that is not a token of HTTP, or a URL with control characters, is refused.
  int OpenRequest(const char* iVerb, const char* iPath, unsigned long iFlags, const char** iAcceptTypes);
  // One header line "Name: value"; one trailing CR LF is cut, any other CR or LF is refused. So
  // are other control characters and the headers that are the transport's own (Content-Length,
  // Host, Connection and the like). `iModifiers`: 0x40000000 joins values of one name with a
  // comma, 0 adds a line of its own.
  int AddRequestHeaders(const char* iHeader, unsigned long iModifiers);
  // Sends the request with `iLength` bytes of body (the bytes are copied) and receives the
  // answer. An answer that ends before its announced end is a failure.
  int SendRequest(const char* iBody, std::size_t iLength);
  // Says that nothing more is sent. The answer stays readable.
  int CloseRequest();
  // `iInfoLevel` 19: the status code as text in the first `*oLength` bytes. The buffer always ends
  // with a zero. Where the transfer was chunked, the header line that says so stands between the
  // status and that zero, so that reading on as zero-terminated text finds it; otherwise nothing
  // does. `*oSecondLength` is what the buffer holds altogether, its zero left out. `iName`: null.
  int GetResponseHeaders(char** oBuffer, std::size_t* oLength, std::size_t* oSecondLength,
                         unsigned long iInfoLevel, const char* iName);
  // The whole body. An empty body is success with a length of 0.
  int Download(std::size_t* oLength, char** oBuffer);
  // The next piece of at most `iPieceSize` bytes (4 or more); never ends inside a UTF-8 sequence,
  // unless the body does. At the end of the body `*oFinished` is set to 1, with no data; otherwise
  // to 0. Negative: failure. Where there is no memory for the piece it throws std::bad_alloc, since a
  // caller that stops at a code would keep half a body.
  int DownloadEx(int iPieceSize, std::size_t* oLength, char** oBuffer, int* oFinished);

private:
  struct Implementation;
  std::unique_ptr<Implementation> m_implementation;
};
