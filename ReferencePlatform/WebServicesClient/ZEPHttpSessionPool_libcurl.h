#pragma once

#include "ZEPHttpEvents_libcurl.h"

#include <curl/curl.h>

#include <memory>
#include <mutex>
#include <utility>
#include <vector>

#include <sys/stat.h>

namespace zep {

struct HttpMultiDeleter {
  void operator()(CURLM* multi) const { curl_multi_cleanup(multi); }
};
struct HttpEasyDeleter {
  void operator()(CURL* easy) const { curl_easy_cleanup(easy); }
};

// One transfer. Never used for a second one, not even after a reset: libcurl 7.88 keeps a pointer to a
// freed header of the first, and a server can make it write there.
using HttpEasyHandle = std::unique_ptr<CURL, HttpEasyDeleter>;
HttpEasyHandle MakeHttpEasyHandle(); // throws std::bad_alloc

// What outlives a transfer: the open connection.
class HttpSession {
public:
  HttpSession() = default;
  ~HttpSession() { LeaveWhatIsNotOurs(); }
  HttpSession(const HttpSession&) = delete;
  HttpSession& operator=(const HttpSession&) = delete;

  CURLM* Multi() const { return m_multi.get(); }
  HttpEvents& Events() { return m_events; }

  // Before each transfer. Closes the kept connection where there is something to read, or its end, though
  // nothing was asked on it: libcurl would take the rest of an earlier answer for the next one. Throws
  // std::bad_alloc.
  void Prepare();
  // Of a transfer that is over. REQUIRES: the handle still belongs to the multi handle.
  void NoteKeptConnection(CURL* easy);
  // Whether the connection that was noted is still open, and its number not another file's.
  bool HasKeptConnection() const;
  // Behind a transfer that failed: where memory ran out, libcurl's list of sockets is left in disorder.
  // Behind one that left no connection: nothing later would tell whether the host has closed the other
  // descriptors.
  void DropEverything();

private:
  void Begin();
  bool IsConnectionSoiled() const;
  void LeaveWhatIsNotOurs();

  HttpEvents m_events;                              // lives longer than what tells it
  std::unique_ptr<CURLM, HttpMultiDeleter> m_multi; // null until it is needed
  curl_socket_t m_kept = CURL_SOCKET_BAD;
  struct stat m_keptStatus = {};
};

// Sessions between transfers, with their connections. A session is used by one thread at a time; a
// forked child starts with none, so that parent and child never share a connection.
class HttpSessionPool {
public:
  static HttpSessionPool& Instance();

  HttpSessionPool(const HttpSessionPool&) = delete;
  HttpSessionPool& operator=(const HttpSessionPool&) = delete;

  std::unique_ptr<HttpSession> Take();
  void GiveBack(std::unique_ptr<HttpSession> session);

private:
  HttpSessionPool();
  ~HttpSessionPool();

  static void BeforeFork();
  static void AfterForkInParent();
  static void AfterForkInChild();

  std::mutex m_mutex;
  std::vector<std::unique_ptr<HttpSession>> m_idle; // the one used last at the end
};

// A session of the pool for the length of a transfer.
class BorrowedHttpSession {
public:
  BorrowedHttpSession() : m_session(HttpSessionPool::Instance().Take()) {}
  ~BorrowedHttpSession() { HttpSessionPool::Instance().GiveBack(std::move(m_session)); }
  BorrowedHttpSession(const BorrowedHttpSession&) = delete;
  BorrowedHttpSession& operator=(const BorrowedHttpSession&) = delete;

  HttpSession& operator*() const { return *m_session; }
  HttpSession* operator->() const { return m_session.get(); }

private:
  std::unique_ptr<HttpSession> m_session;
};

} // namespace zep
