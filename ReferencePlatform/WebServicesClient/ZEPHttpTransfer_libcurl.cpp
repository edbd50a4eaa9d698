#include "ZEPHResult.h"
#include "ZEPHttpHeadWatch.h"
#include "ZEPHttpSessionPool_libcurl.h"
#include "ZEPHttpTransfer.h"

#include <csignal>
#include <ctime>

#include <algorithm>
#include <array>
#include <chrono>
#include <cstddef>
#include <cstring>
#include <memory>
#include <new>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace zep {
namespace {

using Clock = std::chrono::steady_clock;
using std::chrono::milliseconds;

constexpr const char* kBodyTooLong = "the body of the answer is longer than ZEP_HTTP_MAX_BODY_BYTES allows";
constexpr std::size_t kMaxHeadBytes = std::size_t{256} << 10;
constexpr std::size_t kUsualHeaderCount = 8;
// Servers close what idles, from a few seconds on. A request that cannot be repeated does not go
// out on a connection that may be closing at that moment.
constexpr long kMaxIdleSecondsWithoutRepeat = 3;

bool MayBeRepeated(std::string_view verb) {
  constexpr std::array<std::string_view, 4> safeVerbs = {"GET", "HEAD", "OPTIONS", "TRACE"};
  return std::find(safeVerbs.begin(), safeVerbs.end(), verb) != safeVerbs.end();
}

bool HasBody(const HttpTransferRequest& request) {
  const std::string& verb = request.verb;
  return !request.body.empty() || verb == "PUT" || verb == "POST" || verb == "PATCH";
}

// A write of a library for TLS to a connection that the other side closed may raise SIGPIPE. It is nobody's
// business but this thread's while the object lives. libcurl's own writes raise none.
class BrokenPipeSignalBlock {
public:
  BrokenPipeSignalBlock() {
    sigemptyset(&m_brokenPipe);
    sigaddset(&m_brokenPipe, SIGPIPE);
    m_wasPending = IsPending();
    pthread_sigmask(SIG_BLOCK, &m_brokenPipe, &m_former);
  }
  ~BrokenPipeSignalBlock() {
    if (!m_wasPending && IsPending()) {
      const timespec noWait = {};
      sigtimedwait(&m_brokenPipe, nullptr, &noWait);
    }
    pthread_sigmask(SIG_SETMASK, &m_former, nullptr);
  }
  BrokenPipeSignalBlock(const BrokenPipeSignalBlock&) = delete;
  BrokenPipeSignalBlock& operator=(const BrokenPipeSignalBlock&) = delete;

private:
  static bool IsPending() {
    sigset_t pending;
    return sigpending(&pending) == 0 && sigismember(&pending, SIGPIPE) == 1;
  }

  sigset_t m_brokenPipe = {};
  sigset_t m_former = {};
  bool m_wasPending = false;
};

// The header lines as libcurl takes them: it only reads the list, which may point into a text.
class HeaderList {
public:
  // The lines outlive the list. Throws std::bad_alloc.
  explicit HeaderList(const HttpTransferRequest& request, bool hasBody) {
    const std::string& lines = request.headerLines;
    m_nodes.reserve(static_cast<std::size_t>(std::count(lines.begin(), lines.end(), '\0')) + 4);
    for (std::size_t at = 0; at < lines.size(); at = lines.find('\0', at) + 1) {
      Append(lines.c_str() + at);
    }
    // What libcurl would send unasked. "Expect" costs a wait before every large body.
    AppendUnlessGiven("Accept:");
    AppendUnlessGiven("Content-Type:");
    if (hasBody) {
      AppendUnlessGiven("Expect:");
    }
    if (!request.keepsConnection) {
      Append("Connection: close");
    }
  }
  HeaderList(const HeaderList&) = delete;
  HeaderList& operator=(const HeaderList&) = delete;

  curl_slist* Get() { return m_nodes.empty() ? nullptr : m_nodes.data(); }

private:
  // REQUIRES: there is room, since the nodes point to each other.
  void Append(const char* line) {
    m_nodes.push_back({const_cast<char*>(line), nullptr});
    if (m_nodes.size() > 1) {
      m_nodes[m_nodes.size() - 2].next = &m_nodes.back();
    }
  }
  void AppendUnlessGiven(const char* line) {
    const std::string_view name(line, std::strlen(line) - 1);
    if (std::none_of(m_nodes.begin(), m_nodes.end(),
                     [name](const curl_slist& node) { return IsHeaderLine(node.data, name); })) {
      Append(line);
    }
  }
  static bool IsHeaderLine(std::string_view line, std::string_view name) {
    const std::string_view mark = line.substr(std::min(name.size(), line.size()), 1);
    return (mark == ":" || mark == ";") && EqualsIgnoringAsciiCase(line.substr(0, name.size()), name);
  }

  std::vector<curl_slist> m_nodes;
};

std::string_view WithoutLineEnd(std::string_view line) {
  for (const char end : {'\n', '\r'}) {
    if (line.ends_with(end)) {
      line.remove_suffix(1);
    }
  }
  return line;
}

// One request on its way, and what has come back of the answer. The callbacks say in `m_problem`
// why they ended the transfer.
class Transfer {
public:
  Transfer(const HttpTransferRequest& request, const HttpLimits& limits, CURL* easy)
      : m_limits(limits),
        m_easy(easy),
        m_mayBeRepeated(MayBeRepeated(request.verb)) {}

  static int OnSend(void* self, char* /*peer*/, char* /*local*/, int /*peerPort*/, int /*localPort*/) {
    return static_cast<Transfer*>(self)->MaySend() ? CURL_PREREQFUNC_OK : CURL_PREREQFUNC_ABORT;
  }
  static std::size_t OnHeaderLine(char* bytes, std::size_t /*one*/, std::size_t count, void* self) {
    return Guarded(self,
                   [=](Transfer& transfer) {
                     return transfer.AddHeaderLine({bytes, count});
                   })
               ? count
               : 0;
  }
  static std::size_t OnBody(char* bytes, std::size_t /*one*/, std::size_t count, void* self) {
    return Guarded(self, [=](Transfer& transfer) { return transfer.AddToBody({bytes, count}); }) ? count : 0;
  }
  static int OnProgress(void* self, curl_off_t /*total*/, curl_off_t received, curl_off_t /*total*/,
                        curl_off_t sent) {
    static_cast<Transfer*>(self)->NoteProgress(received + sent);
    return 0;
  }

  // How long nothing may happen before IsStalled.
  milliseconds StallLeft() const {
    const auto quiet = std::chrono::duration_cast<milliseconds>(Clock::now() - m_lastProgress);
    return m_sendCount == 0 ? m_limits.stallTimeout : m_limits.stallTimeout - quiet;
  }
  bool IsStalled() {
    const bool stalled = StallLeft() <= milliseconds::zero();
    if (stalled) {
      m_problem = "no byte came or went for the time set by ZEP_HTTP_STALL_TIMEOUT_MS";
    }
    return stalled;
  }

  // Whether a whole head has come; libcurl is content with part of one.
  bool HasAnswer() const { return m_isHeadComplete; }
  bool IsInHead() const { return m_sendCount > 0 && !m_isHeadComplete; }
  bool IsOutOfMemory() const { return m_isOutOfMemory; }
  const char* Problem() const { return m_problem; } // null: none of ours
  HttpAnswer& Answer() { return m_answer; }

private:
  // libcurl is C: nothing may be thrown through it.
  template <class Step>
  static bool Guarded(void* self, Step step) {
    auto& transfer = *static_cast<Transfer*>(self);
    try {
      return step(transfer);
    } catch (const std::bad_alloc&) {
      transfer.m_isOutOfMemory = true;
      transfer.m_problem = "there is not enough memory for the answer";
      return false;
    }
  }

  // Asked before each sending: libcurl repeats a request when a kept connection turns out to be
  // closed, though the server may have acted on it.
  bool MaySend() {
    if (m_sendCount > 0 && !m_mayBeRepeated) {
      m_problem = "the server closed the connection without an answer, and the request cannot be repeated";
      return false;
    }
    ++m_sendCount;
    m_lastProgress = Clock::now();
    return true;
  }

  bool AddHeaderLine(std::string_view line) {
    m_lastProgress = Clock::now();
    m_headBytes += line.size();
    if (m_headBytes > kMaxHeadBytes) {
      m_problem = "the head of the answer is longer than 256 KiB";
      return false;
    }
    line = WithoutLineEnd(line);
    if (m_isHeadComplete) {
      m_problem = HttpHeadWatch::ReadTrailer(line);
    } else {
      m_problem = m_headWatch.Read(line);
      KeepHeaderLine(line);
    }
    return m_problem == nullptr;
  }

  void KeepHeaderLine(std::string_view line) {
    if (line.empty()) {
      // An interim answer is followed by the head of the next one.
      m_isHeadComplete = Status() >= 200;
      m_isInHead = false;
    } else if (!m_isInHead) {
      m_isInHead = true;
      m_answer.statusLine = line;
      m_answer.headerLines.clear();
      m_answer.headerLines.reserve(kUsualHeaderCount);
    } else {
      m_answer.headerLines.emplace_back(line);
    }
  }

  bool AddToBody(std::string_view bytes) {
    std::string& body = m_answer.body;
    const auto limit = static_cast<std::size_t>(m_limits.maxBodyBytes);
    if (bytes.size() > limit - body.size()) {
      m_problem = kBodyTooLong;
      return false;
    }
    if (body.empty()) {
      body.reserve(std::min(AnnouncedBodySize(), limit));
    }
    body.append(bytes);
    return true;
  }

  void NoteProgress(curl_off_t movedBytes) {
    if (movedBytes != m_movedBytes) {
      m_movedBytes = movedBytes;
      m_lastProgress = Clock::now();
    }
  }

  long Status() const {
    long status = 0;
    curl_easy_getinfo(m_easy, CURLINFO_RESPONSE_CODE, &status);
    return status;
  }

  std::size_t AnnouncedBodySize() const {
    curl_off_t size = 0;
    curl_easy_getinfo(m_easy, CURLINFO_CONTENT_LENGTH_DOWNLOAD_T, &size);
    return size < 0 ? 0 : static_cast<std::size_t>(size);
  }

  const HttpLimits& m_limits;
  CURL* m_easy;
  bool m_mayBeRepeated;
  int m_sendCount = 0;
  Clock::time_point m_lastProgress = Clock::now();
  curl_off_t m_movedBytes = 0;
  std::size_t m_headBytes = 0; // of interim answers and trailers too
  HttpHeadWatch m_headWatch;
  bool m_isInHead = false;
  bool m_isHeadComplete = false;
  bool m_isOutOfMemory = false;
  const char* m_problem = nullptr;
  HttpAnswer m_answer;
};

// Sets options of a handle. An option that cannot be set fails the request: each is there for the
// safety of it.
class Options {
public:
  explicit Options(CURL* easy) : m_easy(easy) {}

  template <class Value>
  void Set(CURLoption option, Value value) {
    const CURLcode code = (curl_easy_setopt)(m_easy, option, value);
    m_result = m_result == CURLE_OK ? code : m_result;
  }
  CURLcode Result() const { return m_result; }

private:
  CURL* m_easy;
  CURLcode m_result = CURLE_OK;
};

void SetConnectionOptions(Options& options, const HttpTransferRequest& request,
                          const HttpTransferSettings& settings) {
  options.Set(CURLOPT_PROTOCOLS_STR, "http,https");
  options.Set(CURLOPT_HTTP_VERSION, static_cast<long>(CURL_HTTP_VERSION_1_1));
  options.Set(CURLOPT_HTTP09_ALLOWED, 0L);
  options.Set(CURLOPT_SSL_VERIFYPEER, 1L);
  options.Set(CURLOPT_SSL_VERIFYHOST, 2L);
  options.Set(CURLOPT_SSLVERSION, static_cast<long>(CURL_SSLVERSION_TLSv1_2));
  // Replaces the system's bundle; the system's directory of authorities stays in use beside it.
  if (!settings.authorityFile.empty()) {
    options.Set(CURLOPT_CAINFO, settings.authorityFile.c_str());
  }
  options.Set(CURLOPT_FOLLOWLOCATION, 0L);
  options.Set(CURLOPT_NETRC, static_cast<long>(CURL_NETRC_IGNORED));
  options.Set(CURLOPT_DISALLOW_USERNAME_IN_URL, 1L);
  options.Set(CURLOPT_PROXY, ""); // not even the one of the environment
  options.Set(CURLOPT_NOSIGNAL, 1L);
  options.Set(CURLOPT_QUICK_EXIT, 1L); // do not wait for a name look-up that timed out
  options.Set(CURLOPT_CONNECTTIMEOUT_MS, static_cast<long>(settings.limits.connectTimeout.count()));
  options.Set(CURLOPT_TIMEOUT_MS, static_cast<long>(settings.limits.totalTimeout.count()));
  if (request.verb != "HEAD") {
    // A body announced as too long is not even begun; neither is one of a length beyond all numbers.
    options.Set(CURLOPT_MAXFILESIZE_LARGE, static_cast<curl_off_t>(settings.limits.maxBodyBytes));
  }
  options.Set(CURLOPT_FORBID_REUSE, request.keepsConnection ? 0L : 1L);
  if (!MayBeRepeated(request.verb)) {
    options.Set(CURLOPT_MAXAGE_CONN, kMaxIdleSecondsWithoutRepeat);
  }
}

// The texts are the request's; it outlives the transfer.
void SetRequestOptions(Options& options, const HttpTransferRequest& request, HeaderList& headers) {
  options.Set(CURLOPT_URL, request.url.c_str());
  options.Set(CURLOPT_PATH_AS_IS, 1L);
  options.Set(CURLOPT_HTTPHEADER, headers.Get());
  options.Set(CURLOPT_HTTPGET, 1L);
  if (request.verb == "HEAD") {
    options.Set(CURLOPT_NOBODY, 1L); // no body is waited for
  }
  if (HasBody(request)) {
    options.Set(CURLOPT_POSTFIELDSIZE_LARGE, static_cast<curl_off_t>(request.body.size()));
    options.Set(CURLOPT_POSTFIELDS, request.body.c_str());
  }
  options.Set(CURLOPT_CUSTOMREQUEST, request.verb.c_str());
}

void SetCallbacks(Options& options, Transfer& transfer) {
  void* const self = &transfer;
  options.Set(CURLOPT_PREREQFUNCTION, &Transfer::OnSend);
  options.Set(CURLOPT_PREREQDATA, self);
  options.Set(CURLOPT_HEADERFUNCTION, &Transfer::OnHeaderLine);
  options.Set(CURLOPT_HEADERDATA, self);
  options.Set(CURLOPT_WRITEFUNCTION, &Transfer::OnBody);
  options.Set(CURLOPT_WRITEDATA, self);
  options.Set(CURLOPT_XFERINFOFUNCTION, &Transfer::OnProgress);
  options.Set(CURLOPT_XFERINFODATA, self);
  options.Set(CURLOPT_NOPROGRESS, 0L);
}

CURLcode ResultOf(CURLM* multi) {
  int left = 0;
  const CURLMsg* const message = curl_multi_info_read(multi, &left);
  return message != nullptr && message->msg == CURLMSG_DONE ? message->data.result : CURLE_FAILED_INIT;
}

CURLcode RunToEnd(HttpSession& session, Transfer& transfer) {
  constexpr milliseconds longestWait(1000);
  int running = 1;
  while (true) {
    const milliseconds wait = std::clamp(transfer.StallLeft(), milliseconds(1), longestWait);
    if (session.Events().Next(session.Multi(), wait, running) != CURLM_OK) {
      return CURLE_FAILED_INIT;
    }
    if (running == 0) {
      return ResultOf(session.Multi());
    }
    if (transfer.IsStalled()) {
      return CURLE_OPERATION_TIMEDOUT;
    }
  }
}

CURLcode Perform(HttpSession& session, CURL* easy, Transfer& transfer) {
  if (curl_multi_add_handle(session.Multi(), easy) != CURLM_OK) {
    session.DropEverything();
    return CURLE_FAILED_INIT;
  }
  const CURLcode code = RunToEnd(session, transfer);
  session.NoteKeptConnection(easy);
  // Ends the connection of a transfer that has not come to its end.
  curl_multi_remove_handle(session.Multi(), easy);
  if (code != CURLE_OK || !session.HasKeptConnection()) {
    session.DropEverything();
  }
  return code;
}

// libcurl calls both by one name: no memory, and a line of more than its 100 KB.
bool MayBeLongLine(CURLcode code, const Transfer& transfer) {
  return code == CURLE_OUT_OF_MEMORY && transfer.IsInHead();
}

std::string FailureText(CURLcode code, const Transfer& transfer, const char* detail) {
  if (transfer.Problem() != nullptr) {
    return transfer.Problem();
  }
  if (code == CURLE_OK) {
    return "the connection ended inside the head of the answer";
  }
  if (code == CURLE_FILESIZE_EXCEEDED) {
    return kBodyTooLong;
  }
  if (MayBeLongLine(code, transfer)) {
    return "a line in the head of the answer is too long, or there is not enough memory for it";
  }
  std::string text = *detail == '\0' ? curl_easy_strerror(code) : detail;
  if (code == CURLE_PEER_FAILED_VERIFICATION) {
    text += " (ZEP_CA_FILE can name a file with an additional authority)";
  }
  return text;
}

long ResultCode(CURLcode code, const Transfer& transfer) {
  if (transfer.IsOutOfMemory() || (code == CURLE_OUT_OF_MEMORY && !MayBeLongLine(code, transfer))) {
    return E_OUTOFMEMORY;
  }
  return code == CURLE_URL_MALFORMAT ? E_INVALIDARG : E_FAIL;
}

CURLcode PerformQuietly(HttpSession& session, CURL* easy, Transfer& transfer, bool isEncrypted) {
  std::optional<BrokenPipeSignalBlock> noSignal;
  if (isEncrypted) {
    noSignal.emplace();
  }
  return Perform(session, easy, transfer);
}

bool CanHaveBody(std::string_view verb, int status) {
  return verb != "HEAD" && status >= 200 && status != 204 && status != 304;
}

} // namespace
} // namespace zep

long ZEPTransferHttp(const zep::HttpTransferRequest& request, const zep::HttpTransferSettings& settings,
                     zep::HttpAnswer& oAnswer, std::string& oProblem) {
  using namespace zep;
  const BorrowedHttpSession session; // first: libcurl may not be initialised before
  HeaderList headers(request, HasBody(request));
  std::array<char, CURL_ERROR_SIZE> detail = {};
  session->Prepare();
  const HttpEasyHandle easy = MakeHttpEasyHandle();
  Transfer transfer(request, settings.limits, easy.get());

  Options options(easy.get());
  options.Set(CURLOPT_ERRORBUFFER, detail.data());
  SetConnectionOptions(options, request, settings);
  SetRequestOptions(options, request, headers);
  SetCallbacks(options, transfer);
  const CURLcode code = options.Result() == CURLE_OK
                            ? PerformQuietly(*session, easy.get(), transfer, settings.isEncrypted)
                            : options.Result();
  long status = 0;
  curl_easy_getinfo(easy.get(), CURLINFO_RESPONSE_CODE, &status);

  if (code != CURLE_OK || !transfer.HasAnswer()) {
    oProblem = FailureText(code, transfer, detail.data());
    return ResultCode(code, transfer);
  }
  oAnswer = std::move(transfer.Answer());
  oAnswer.status = static_cast<int>(status);
  oAnswer.hasBody = CanHaveBody(request.verb, oAnswer.status);
  return S_OK;
}
