#pragma once

#include <mutex>
#include <string>
#include <string_view>
#include <thread>

namespace fuzz {

// Answers each request on loopback with the same bytes and the end of the connection. One thread serves one
// connection after the other: the clients ask one after the other too.
class AnswerServer {
public:
  AnswerServer();
  ~AnswerServer();
  AnswerServer(const AnswerServer&) = delete;
  AnswerServer& operator=(const AnswerServer&) = delete;

  std::string Url() const;
  void AnswerWith(std::string_view bytes);

private:
  void ServeAll() const;
  void Serve(int connection) const;

  int m_listener;
  int m_port = 0;
  mutable std::mutex m_mutex;
  std::string m_answer;
  std::thread m_thread;
};

} // namespace fuzz
