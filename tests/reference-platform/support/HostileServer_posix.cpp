#include "HostileServer.h"

#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

#include <array>
#include <stdexcept>
#include <string_view>
#include <utility>

namespace {

using std::chrono::milliseconds;

bool WriteAll(int socket, std::string_view bytes) {
  while (!bytes.empty()) {
    const ssize_t count = send(socket, bytes.data(), bytes.size(), MSG_NOSIGNAL);
    if (count <= 0) {
      return false;
    }
    bytes.remove_prefix(static_cast<std::size_t>(count));
  }
  return true;
}

bool WriteWhole(int socket, const std::string& statusLine, const std::string& body) {
  return WriteAll(socket,
                  statusLine + "\r\nContent-Length: " + std::to_string(body.size()) + "\r\n\r\n" + body);
}

// A head, and the body whose length it states. Leaves what came behind it.
bool ReadRequest(int socket, std::string& ioUnread) {
  std::array<char, 65536> buffer;
  while (true) {
    const std::size_t end = ioUnread.find("\r\n\r\n");
    if (end != std::string::npos) {
      constexpr std::string_view length = "Content-Length: ";
      const std::size_t at = ioUnread.find(length);
      const std::size_t size = end + 4 + (at < end ? std::stoul(ioUnread.substr(at + length.size())) : 0);
      if (ioUnread.size() >= size) {
        ioUnread.erase(0, size);
        return true;
      }
    }
    const ssize_t count = recv(socket, buffer.data(), buffer.size(), 0);
    if (count <= 0) {
      return false;
    }
    ioUnread.append(buffer.data(), static_cast<std::size_t>(count));
  }
}

// What is closed so says good-bye with a reset instead of an end.
void CloseWithReset(int socket) {
  const linger atOnce = {1, 0};
  setsockopt(socket, SOL_SOCKET, SO_LINGER, &atOnce, sizeof(atOnce));
  close(socket);
}

} // namespace

HostileServer::HostileServer(HostileAnswer answer, int busyCount)
    : m_answer(std::move(answer)),
      m_busyCount(busyCount),
      m_listener(socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0)) {
  sockaddr_in address = {};
  address.sin_family = AF_INET;
  address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  socklen_t size = sizeof(address);
  if (bind(m_listener, reinterpret_cast<const sockaddr*>(&address), size) != 0 ||
      listen(m_listener, 16) != 0 ||
      getsockname(m_listener, reinterpret_cast<sockaddr*>(&address), &size) != 0) {
    throw std::runtime_error("no socket to listen on");
  }
  m_port = ntohs(address.sin_port);
  m_acceptor = std::thread([this] { AcceptAll(); });
}

HostileServer::~HostileServer() {
  m_isStopped = true;
  shutdown(m_listener, SHUT_RDWR);
  m_acceptor.join();
  close(m_listener);
  {
    const std::lock_guard lock(m_mutex);
    for (const int socket : m_sockets) {
      shutdown(socket, SHUT_RDWR);
    }
  }
  for (std::thread& thread : m_threads) {
    thread.join();
  }
  for (const int socket : m_sockets) {
    close(socket);
  }
}

void HostileServer::AcceptAll() {
  while (true) {
    const int socket = accept4(m_listener, nullptr, nullptr, SOCK_CLOEXEC);
    if (socket < 0) {
      return;
    }
    const std::lock_guard lock(m_mutex);
    m_sockets.push_back(socket);
    m_threads.emplace_back([this, socket] { Serve(socket); });
  }
}

void HostileServer::Serve(int socket) {
  using Listening = HostileAnswer::Listening;
  std::string unread;
  bool stays = true;
  if (!m_behaves && m_busyCount == 0 && m_answer.listening != Listening::ForRequest) {
    stays = AnswerBadly(socket) && m_answer.listening != Listening::Deaf && ReadRequest(socket, unread);
    m_requestCount += stays ? 1 : 0;
  }
  while (stays && ReadRequest(socket, unread)) {
    ++m_requestCount;
    if (m_busyCount > 0) {
      --m_busyCount;
      stays = WriteWhole(socket, "HTTP/1.1 503 Busy", "busy");
    } else if (m_behaves) {
      stays = WriteWhole(socket, "HTTP/1.1 200 OK", "fine");
    } else {
      stays = AnswerBadly(socket);
    }
  }
  const std::lock_guard lock(m_mutex);
  for (int& open : m_sockets) {
    if (open == socket && m_answer.ending == HostileAnswer::Ending::Reset) {
      CloseWithReset(std::exchange(open, -1));
    }
  }
  if (m_answer.ending != HostileAnswer::Ending::Reset) {
    shutdown(socket, SHUT_RDWR);
  }
}

bool HostileServer::AnswerBadly(int socket) {
  using Ending = HostileAnswer::Ending;
  for (const HostileAnswer::Piece& piece : m_answer.pieces) {
    std::this_thread::sleep_for(piece.pauseBefore);
    if (!WriteAll(socket, piece.bytes)) {
      return false;
    }
  }
  switch (m_answer.ending) {
  case Ending::Keep:
    return true;
  case Ending::Close:
  case Ending::Reset:
    return false;
  case Ending::Hold:
    while (!WaitForStop(milliseconds(20))) {}
    return false;
  case Ending::Endless:
  case Ending::Drip:
    const milliseconds pause(m_answer.ending == Ending::Drip ? 50 : 0);
    while (!WaitForStop(pause) && WriteAll(socket, m_answer.pieces.back().bytes)) {}
    return false;
  }
  return false;
}

bool HostileServer::WaitForStop(milliseconds time) const {
  std::this_thread::sleep_for(time);
  return m_isStopped;
}
