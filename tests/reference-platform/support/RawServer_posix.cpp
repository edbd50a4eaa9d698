#include "RawServer.h"

#include <arpa/inet.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

#include <array>
#include <stdexcept>
#include <string_view>
#include <utility>

namespace {

void Require(bool condition, const char* what) {
  if (!condition) {
    throw std::runtime_error(what);
  }
}

bool ReadSome(int socket, std::string& ioBytes) {
  std::array<char, 65536> buffer;
  const ssize_t count = recv(socket, buffer.data(), buffer.size(), 0);
  if (count > 0) {
    ioBytes.append(buffer.data(), static_cast<std::size_t>(count));
  }
  return count > 0;
}

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

std::size_t BodyLength(const RawServer::Request& request) {
  const std::string name = "Content-Length: ";
  const std::string line = request.Line(name);
  return line.empty() ? 0 : std::stoul(line.substr(name.size()));
}

} // namespace

std::string RawServer::Request::Line(const std::string& start) const {
  const std::size_t found = head.find("\r\n" + start);
  if (found == std::string::npos) {
    return {};
  }
  return head.substr(found + 2, head.find("\r\n", found + 2) - found - 2);
}

RawServer::RawServer() {
  m_listener = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
  sockaddr_in address = {};
  address.sin_family = AF_INET;
  address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  socklen_t size = sizeof(address);
  Require(bind(m_listener, reinterpret_cast<const sockaddr*>(&address), size) == 0, "bind");
  Require(listen(m_listener, 64) == 0, "listen");
  Require(getsockname(m_listener, reinterpret_cast<sockaddr*>(&address), &size) == 0, "getsockname");
  m_port = ntohs(address.sin_port);
  m_acceptor = std::thread([this] { AcceptAll(); });
}

RawServer::~RawServer() {
  shutdown(m_listener, SHUT_RDWR);
  m_acceptor.join();
  close(m_listener);
  {
    const std::lock_guard lock(m_mutex);
    m_isStopped = true;
    for (const int socket : m_sockets) {
      shutdown(socket, SHUT_RDWR);
    }
  }
  m_stopping.notify_all();
  for (std::thread& thread : m_threads) {
    thread.join();
  }
  for (const int socket : m_sockets) {
    close(socket);
  }
}

void RawServer::Enqueue(Answer answer) {
  const std::lock_guard lock(m_mutex);
  m_answers.push_back(std::move(answer));
}

void RawServer::Enqueue(std::string wholeAnswer, Afterwards afterwards) {
  Enqueue(Answer{{std::move(wholeAnswer)}, afterwards});
}

std::string RawServer::Url(const std::string& path) const {
  return "http://127.0.0.1:" + std::to_string(m_port) + path;
}

std::vector<RawServer::Request> RawServer::Requests() const {
  const std::lock_guard lock(m_mutex);
  return m_requests;
}

int RawServer::ConnectionCount() const {
  const std::lock_guard lock(m_mutex);
  return static_cast<int>(m_sockets.size());
}

std::string RawServer::Whole(const std::string& statusLine, const std::string& body) {
  return statusLine + "\r\nContent-Length: " + std::to_string(body.size()) + "\r\n\r\n" + body;
}

void RawServer::AcceptAll() {
  while (true) {
    const int socket = accept4(m_listener, nullptr, nullptr, SOCK_CLOEXEC);
    if (socket < 0) {
      return;
    }
    const std::lock_guard lock(m_mutex);
    const int connection = static_cast<int>(m_sockets.size());
    m_sockets.push_back(socket);
    m_threads.emplace_back([this, socket, connection] { Serve(socket, connection); });
  }
}

void RawServer::Serve(int socket, int connection) {
  std::string unread;
  Request request;
  request.connection = connection;
  while (ReadRequest(socket, request, unread)) {
    const Answer answer = NextAnswer(request);
    for (const std::string& piece : answer.pieces) {
      if (&piece != &answer.pieces.front()) {
        std::this_thread::sleep_for(answer.pause);
      }
      if (!WriteAll(socket, piece)) {
        break;
      }
    }
    if (answer.afterwards == Afterwards::Hold) {
      WaitForStop();
    }
    if (answer.afterwards != Afterwards::Keep) {
      break;
    }
  }
  shutdown(socket, SHUT_RDWR);
}

bool RawServer::ReadRequest(int socket, Request& oRequest, std::string& ioUnread) const {
  const std::string headEnd = "\r\n\r\n";
  std::size_t length = std::string::npos;
  while ((length = ioUnread.find(headEnd)) == std::string::npos) {
    if (!ReadSome(socket, ioUnread)) {
      return false;
    }
  }
  oRequest.head = ioUnread.substr(0, length + headEnd.size());
  ioUnread.erase(0, oRequest.head.size());
  const std::size_t bodyLength = BodyLength(oRequest);
  while (ioUnread.size() < bodyLength) {
    if (!ReadSome(socket, ioUnread)) {
      return false;
    }
  }
  oRequest.body = ioUnread.substr(0, bodyLength);
  ioUnread.erase(0, bodyLength);
  return true;
}

RawServer::Answer RawServer::NextAnswer(Request request) {
  const std::lock_guard lock(m_mutex);
  m_requests.push_back(std::move(request));
  if (m_answers.empty()) {
    return Answer{{Whole("HTTP/1.1 200 OK", "ok")}};
  }
  Answer answer = std::move(m_answers.front());
  m_answers.pop_front();
  return answer;
}

void RawServer::WaitForStop() {
  std::unique_lock lock(m_mutex);
  m_stopping.wait(lock, [this] { return m_isStopped; });
}
