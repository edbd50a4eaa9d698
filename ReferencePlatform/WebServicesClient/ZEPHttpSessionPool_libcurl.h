#pragma once

#include <curl/curl.h>

#include <memory>
#include <mutex>
#include <utility>
#include <vector>

namespace zep {

// What one transfer needs of libcurl. The open connections belong to the multi handle and outlive
// the transfer.
class HttpSession {
public:
  HttpSession(); // throws std::bad_alloc

  CURLM* Multi() const { return m_multi.get(); }
  CURL* Easy() const { return m_easy.get(); }

private:
  struct MultiDeleter {
    void operator()(CURLM* multi) const { curl_multi_cleanup(multi); }
  };
  struct EasyDeleter {
    void operator()(CURL* easy) const { curl_easy_cleanup(easy); }
  };

  // In this order: the easy handle has to go first.
  std::unique_ptr<CURLM, MultiDeleter> m_multi;
  std::unique_ptr<CURL, EasyDeleter> m_easy;
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

  const HttpSession& operator*() const { return *m_session; }
  const HttpSession* operator->() const { return m_session.get(); }

private:
  std::unique_ptr<HttpSession> m_session;
};

} // namespace zep
