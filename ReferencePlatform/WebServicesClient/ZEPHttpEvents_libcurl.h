#pragma once

#include <curl/curl.h>
#include <poll.h>

#include <chrono>
#include <optional>
#include <vector>

namespace zep {

// What a multi handle waits for: the sockets and the time that it names. Waiting here, libcurl is told what
// is ready and does not ask the system again, as it would behind curl_multi_poll.
class HttpEvents {
public:
  HttpEvents(); // throws std::bad_alloc
  HttpEvents(const HttpEvents&) = delete;
  HttpEvents& operator=(const HttpEvents&) = delete;

  // From now on, and for as long as the handle lives, it tells this object what it waits for.
  void Watch(CURLM* multi);
  // Waits for the next event, `longestWait` at the most, and lets the handle act on it. `ioRunning` is how
  // many transfers are left, where that is known.
  CURLMcode Next(CURLM* multi, std::chrono::milliseconds longestWait, int& ioRunning);

private:
  static int OnSocket(CURL* easy, curl_socket_t socket, int what, void* self, void* ofSocket);
  static int OnTimer(CURLM* multi, long milliseconds, void* self);

  void Forget(curl_socket_t socket);
  std::chrono::milliseconds TimeLeft() const;
  CURLMcode ActOnSockets(CURLM* multi, int& ioRunning);

  std::vector<pollfd> m_sockets;
  std::optional<std::chrono::steady_clock::time_point> m_time;
};

} // namespace zep
