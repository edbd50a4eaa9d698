#pragma once

#include <httplib.h>

#include <array>
#include <cstddef>
#include <string>

// One accepted connection. The HTTP library has a stream of its own but keeps it to itself; this
// one lets the server read the body of a GET request, which the library leaves unread.
class SocketStream : public httplib::Stream {
public:
  // Does not own `socket`.
  explicit SocketStream(socket_t socket) : m_socket(socket) {}

  // Whether bytes are there to be read (or the peer has closed) within the time.
  bool waitReadable(int milliseconds) const;

  bool is_readable() const override;
  bool is_writable() const override;
  ssize_t read(char* bytes, std::size_t size) override;
  ssize_t write(const char* bytes, std::size_t size) override;
  void get_remote_ip_and_port(std::string& ip, int& port) const override;
  void get_local_ip_and_port(std::string& ip, int& port) const override;
  socket_t socket() const override { return m_socket; }

private:
  socket_t m_socket;
  std::array<char, 16384> m_buffer{};
  std::size_t m_next = 0;
  std::size_t m_end = 0;
};
