#pragma once

#include <curl/curl.h>

#include <memory>
#include <mutex>
#include <utility>
#include <vector>

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
  HttpSession(); // throws std::bad_alloc

  CURLM* Multi() const { return m_multi.get(); }

  // Of a transfer that is over. REQUIRES: the handle still belongs to the multi handle.
  void NoteKeptConnection(CURL* easy);
  // Closes the kept connection where there is something to read, or its end, though nothing was asked
  // on it: libcurl would take the rest of an earlier answer for the next one. Throws std::bad_alloc.
  void DropSoiledConnection();

private:
  void Begin();

  std::unique_ptr<CURLM, HttpMultiDeleter> m_multi;
  curl_socket_t m_kept = CURL_SOCKET_BAD;
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
