#include "SocketStream.h"

#include <algorithm>
#include <cerrno>
#include <cstring>

#include <arpa/inet.h>
#include <netinet/in.h>
#include <poll.h>
#include <sys/socket.h>

namespace {

constexpr int ioTimeout_ms = 10'000;

bool waitFor(socket_t socket, short event, int milliseconds) {
  pollfd entry{socket, event, 0};
  int ready = 0;
  do {
    ready = poll(&entry, 1, milliseconds);
  } while (ready < 0 && errno == EINTR);
  return ready > 0;
}

void addressOf(const sockaddr_in& address, std::string& ip, int& port) {
  std::array<char, INET_ADDRSTRLEN> text{};
  if (inet_ntop(AF_INET, &address.sin_addr, text.data(), text.size()) != nullptr) {
    ip = text.data();
    port = ntohs(address.sin_port);
  }
}

} // namespace

bool SocketStream::waitReadable(int milliseconds) const {
  return m_next < m_end || waitFor(m_socket, POLLIN, milliseconds);
}

bool SocketStream::is_readable() const {
  return waitReadable(ioTimeout_ms);
}

bool SocketStream::is_writable() const {
  return waitFor(m_socket, POLLOUT, ioTimeout_ms);
}

ssize_t SocketStream::read(char* bytes, std::size_t size) {
  if (m_next == m_end) {
    if (!is_readable()) {
      return -1;
    }
    const ssize_t received = recv(m_socket, m_buffer.data(), m_buffer.size(), 0);
    if (received <= 0) {
      return received;
    }
    m_next = 0;
    m_end = static_cast<std::size_t>(received);
  }
  const std::size_t count = std::min(size, m_end - m_next);
  std::memcpy(bytes, m_buffer.data() + m_next, count);
  m_next += count;
  return static_cast<ssize_t>(count);
}

ssize_t SocketStream::write(const char* bytes, std::size_t size) {
  return is_writable() ? send(m_socket, bytes, size, MSG_NOSIGNAL) : -1;
}

void SocketStream::get_remote_ip_and_port(std::string& ip, int& port) const {
  sockaddr_in address{};
  socklen_t length = sizeof address;
  if (getpeername(m_socket, reinterpret_cast<sockaddr*>(&address), &length) == 0) {
    addressOf(address, ip, port);
  }
}

void SocketStream::get_local_ip_and_port(std::string& ip, int& port) const {
  sockaddr_in address{};
  socklen_t length = sizeof address;
  if (getsockname(m_socket, reinterpret_cast<sockaddr*>(&address), &length) == 0) {
    addressOf(address, ip, port);
  }
}
