#include "AnswerServer_posix.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <stdexcept>

#include <arpa/inet.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

namespace fuzz {
namespace {

// How much of the request is still to come: its head, or the body that the head announces.
bool IsWhole(std::string_view request) {
  const std::size_t headEnd = request.find("\r\n\r\n");
  if (headEnd == std::string_view::npos) {
    return false;
  }
  constexpr std::string_view kLength = "\r\nContent-Length: ";
  const std::size_t at = request.substr(0, headEnd).find(kLength);
  std::size_t length = 0;
  if (at != std::string_view::npos) {
    std::from_chars(request.data() + at + kLength.size(), request.data() + headEnd, length);
  }
  return request.size() >= headEnd + 4 + length;
}

bool ReadRequest(int connection) {
  std::string request;
  while (!IsWhole(request)) {
    std::array<char, 4096> buffer;
    const ssize_t count = recv(connection, buffer.data(), buffer.size(), 0);
    if (count <= 0) {
      return false;
    }
    request.append(buffer.data(), static_cast<std::size_t>(count));
  }
  return true;
}

void WriteAll(int connection, std::string_view bytes) {
  while (!bytes.empty()) {
    const ssize_t count = send(connection, bytes.data(), bytes.size(), MSG_NOSIGNAL);
    if (count <= 0) {
      return;
    }
    bytes.remove_prefix(static_cast<std::size_t>(count));
  }
}

} // namespace

AnswerServer::AnswerServer() : m_listener(socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0)) {
  sockaddr_in address = {};
  address.sin_family = AF_INET;
  address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  socklen_t size = sizeof(address);
  auto* const any = reinterpret_cast<sockaddr*>(&address);
  if (bind(m_listener, any, size) != 0 || listen(m_listener, 16) != 0 ||
      getsockname(m_listener, any, &size) != 0) {
    throw std::runtime_error("no server on loopback");
  }
  m_port = ntohs(address.sin_port);
  m_thread = std::thread([this] { ServeAll(); });
}

AnswerServer::~AnswerServer() {
  shutdown(m_listener, SHUT_RDWR);
  m_thread.join();
  close(m_listener);
}

std::string AnswerServer::Url() const {
  return "http://127.0.0.1:" + std::to_string(m_port);
}

void AnswerServer::AnswerWith(std::string_view bytes) {
  const std::lock_guard lock(m_mutex);
  m_answer = bytes;
}

void AnswerServer::ServeAll() const {
  while (true) {
    const int connection = accept4(m_listener, nullptr, nullptr, SOCK_CLOEXEC);
    if (connection < 0) {
      return;
    }
    Serve(connection);
    close(connection);
  }
}

void AnswerServer::Serve(int connection) const {
  // A client that gives up closes; one that only opens must not keep the others waiting.
  const timeval patience = {1, 0};
  setsockopt(connection, SOL_SOCKET, SO_RCVTIMEO, &patience, sizeof(patience));
  if (ReadRequest(connection)) {
    std::string answer;
    {
      const std::lock_guard lock(m_mutex);
      answer = m_answer;
    }
    WriteAll(connection, answer);
  }
  shutdown(connection, SHUT_WR);
}

} // namespace fuzz
