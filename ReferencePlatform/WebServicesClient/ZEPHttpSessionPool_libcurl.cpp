#include "ZEPHttpSessionPool_libcurl.h"

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
constexpr long kMaxConnectionsOfSession = 4;

std::atomic<HttpSessionPool*> g_pool = nullptr; // null before the first use and after the last

} // namespace

HttpSession::HttpSession() : m_multi(curl_multi_init()), m_easy(curl_easy_init()) {
  if (!m_multi || !m_easy) {
    throw std::bad_alloc();
  }
  curl_multi_setopt(m_multi.get(), CURLMOPT_MAXCONNECTS, kMaxConnectionsOfSession);
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
