#include "ZEPHttpEvents_libcurl.h"

#include <algorithm>
#include <cerrno>
#include <cstddef>

namespace zep {
namespace {

using Clock = std::chrono::steady_clock;
using std::chrono::milliseconds;

// A transfer has five at the most.
constexpr std::size_t kMaxSockets = 16;

short EventsFor(int what) {
  const int events = ((what & CURL_POLL_IN) != 0 ? POLLIN : 0) | ((what & CURL_POLL_OUT) != 0 ? POLLOUT : 0);
  return static_cast<short>(events);
}

// An error or the end is found by whoever goes on to read or write.
int ReadyBits(const pollfd& socket) {
  constexpr int ended = POLLERR | POLLHUP;
  int bits = (socket.revents & POLLNVAL) != 0 ? CURL_CSELECT_ERR : 0;
  if ((socket.events & POLLIN) != 0 && (socket.revents & (POLLIN | ended)) != 0) {
    bits |= CURL_CSELECT_IN;
  }
  if ((socket.events & POLLOUT) != 0 && (socket.revents & (POLLOUT | ended)) != 0) {
    bits |= CURL_CSELECT_OUT;
  }
  return bits;
}

} // namespace

HttpEvents::HttpEvents() {
  m_sockets.reserve(kMaxSockets);
}

void HttpEvents::Watch(CURLM* multi) {
  curl_multi_setopt(multi, CURLMOPT_SOCKETFUNCTION, OnSocket);
  curl_multi_setopt(multi, CURLMOPT_SOCKETDATA, this);
  curl_multi_setopt(multi, CURLMOPT_TIMERFUNCTION, OnTimer);
  curl_multi_setopt(multi, CURLMOPT_TIMERDATA, this);
}

CURLMcode HttpEvents::Next(CURLM* multi, milliseconds longestWait, int& ioRunning) {
  const milliseconds wait = std::min(TimeLeft(), longestWait);
  const int ready = wait <= milliseconds::zero()
                        ? 0
                        : poll(m_sockets.data(), m_sockets.size(), static_cast<int>(wait.count()));
  if (ready < 0) {
    return errno == EINTR ? CURLM_OK : CURLM_INTERNAL_ERROR;
  }
  if (ready > 0) {
    return ActOnSockets(multi, ioRunning);
  }
  m_time.reset();
  return curl_multi_socket_action(multi, CURL_SOCKET_TIMEOUT, 0, &ioRunning);
}

// What the handle does may change the list.
CURLMcode HttpEvents::ActOnSockets(CURLM* multi, int& ioRunning) {
  while (true) {
    const auto ready = std::find_if(m_sockets.begin(), m_sockets.end(),
                                    [](const pollfd& socket) { return socket.revents != 0; });
    if (ready == m_sockets.end()) {
      return CURLM_OK;
    }
    const pollfd socket = *ready;
    ready->revents = 0;
    const CURLMcode code = curl_multi_socket_action(multi, socket.fd, ReadyBits(socket), &ioRunning);
    if (code != CURLM_OK) {
      return code;
    }
  }
}

milliseconds HttpEvents::TimeLeft() const {
  return m_time ? std::chrono::ceil<milliseconds>(*m_time - Clock::now()) : milliseconds::max();
}

void HttpEvents::Forget(curl_socket_t socket) {
  std::erase_if(m_sockets, [socket](const pollfd& known) { return known.fd == socket; });
}

int HttpEvents::OnSocket(CURL* /*easy*/, curl_socket_t socket, int what, void* self, void* /*ofSocket*/) {
  auto& events = *static_cast<HttpEvents*>(self);
  events.Forget(socket);
  if (EventsFor(what) == 0) {
    return 0;
  }
  if (events.m_sockets.size() == events.m_sockets.capacity()) {
    return -1;
  }
  events.m_sockets.push_back({socket, EventsFor(what), 0});
  return 0;
}

int HttpEvents::OnTimer(CURLM* /*multi*/, long milliseconds, void* self) {
  auto& events = *static_cast<HttpEvents*>(self);
  if (milliseconds < 0) {
    events.m_time.reset();
  } else {
    events.m_time = Clock::now() + std::chrono::milliseconds(milliseconds);
  }
  return 0;
}

} // namespace zep
