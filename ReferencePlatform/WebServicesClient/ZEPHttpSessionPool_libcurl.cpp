#include "ZEPHttpSessionPool_libcurl.h"

#include <poll.h>
#include <pthread.h>

#include <algorithm>
#include <atomic>
#include <cstddef>
#include <iterator>
#include <memory>
#include <new>
#include <utility>
#include <vector>

namespace zep {
namespace {

constexpr std::size_t kMaxIdleSessions = 8;
constexpr long kMaxConnectionsOfSession = 1; // its state is looked at before it is used again

std::atomic<HttpSessionPool*> g_pool = nullptr; // null before the first use and after the last

} // namespace

HttpEasyHandle MakeHttpEasyHandle() {
  HttpEasyHandle easy(curl_easy_init());
  if (!easy) {
    throw std::bad_alloc();
  }
  return easy;
}

void HttpSession::Begin() {
  std::unique_ptr<CURLM, HttpMultiDeleter> multi(curl_multi_init());
  if (!multi) {
    throw std::bad_alloc();
  }
  curl_multi_setopt(multi.get(), CURLMOPT_MAXCONNECTS, kMaxConnectionsOfSession);
  m_kept = CURL_SOCKET_BAD;
  m_multi = nullptr; // before the new one tells what it waits for
  m_events.Watch(multi.get());
  m_multi = std::move(multi);
}

void HttpSession::NoteKeptConnection(CURL* easy) {
  m_kept = CURL_SOCKET_BAD;
  curl_easy_getinfo(easy, CURLINFO_ACTIVESOCKET, &m_kept);
  if (m_kept != CURL_SOCKET_BAD && fstat(m_kept, &m_keptStatus) != 0) {
    m_kept = CURL_SOCKET_BAD;
  }
}

bool HttpSession::HasKeptConnection() const {
  struct stat now {};
  return m_kept != CURL_SOCKET_BAD && fstat(m_kept, &now) == 0 && now.st_dev == m_keptStatus.st_dev &&
         now.st_ino == m_keptStatus.st_ino;
}

void HttpSession::DropEverything() {
  m_multi = nullptr;
  m_kept = CURL_SOCKET_BAD;
}

// A host may close all descriptors, as a daemon does, and open its own files by their numbers. libcurl would
// send the next request to them, and close them at the end: what it holds is given up, memory and all.
void HttpSession::LeaveWhatIsNotOurs() {
  if (m_multi && m_kept != CURL_SOCKET_BAD && !HasKeptConnection()) {
    static_cast<void>(m_multi.release());
    m_kept = CURL_SOCKET_BAD;
  }
}

bool HttpSession::IsConnectionSoiled() const {
  pollfd kept = {m_kept, POLLIN, 0};
  return m_kept != CURL_SOCKET_BAD && poll(&kept, 1, 0) != 0;
}

void HttpSession::Prepare() {
  LeaveWhatIsNotOurs();
  if (!m_multi || IsConnectionSoiled()) {
    Begin();
  }
}

HttpSessionPool& HttpSessionPool::Instance() {
  static HttpSessionPool pool;
  return pool;
}

HttpSessionPool::HttpSessionPool() {
  m_idle.reserve(kMaxIdleSessions);
  if (curl_global_init(CURL_GLOBAL_DEFAULT) != CURLE_OK ||
      pthread_atfork(BeforeFork, AfterForkInParent, AfterForkInChild) != 0) {
    throw std::bad_alloc();
  }
  g_pool = this;
}

HttpSessionPool::~HttpSessionPool() {
  g_pool = nullptr;
  m_idle.clear();
  curl_global_cleanup();
}

std::unique_ptr<HttpSession> HttpSessionPool::Take() {
  {
    const std::lock_guard lock(m_mutex);
    if (!m_idle.empty()) {
      auto session = std::move(m_idle.back());
      m_idle.pop_back();
      return session;
    }
  }
  return std::make_unique<HttpSession>();
}

void HttpSessionPool::GiveBack(std::unique_ptr<HttpSession> session) {
  const std::lock_guard lock(m_mutex);
  if (m_idle.size() < kMaxIdleSessions) {
    m_idle.push_back(std::move(session));
  }
}

void HttpSessionPool::BeforeFork() {
  if (HttpSessionPool* const pool = g_pool) {
    pool->m_mutex.lock();
  }
}

void HttpSessionPool::AfterForkInParent() {
  if (HttpSessionPool* const pool = g_pool) {
    pool->m_mutex.unlock();
  }
}

void HttpSessionPool::AfterForkInChild() {
  if (HttpSessionPool* const pool = g_pool) {
    // Kept for good: closing a TLS connection would say good-bye on the parent's behalf.
    static auto& parents = *new std::vector<std::unique_ptr<HttpSession>>;
    std::move(pool->m_idle.begin(), pool->m_idle.end(), std::back_inserter(parents));
    pool->m_idle.clear();
    pool->m_mutex.unlock();
  }
}

} // namespace zep
