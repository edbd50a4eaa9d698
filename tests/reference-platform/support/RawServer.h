#pragma once

#include <chrono>
#include <condition_variable>
#include <deque>
#include <list>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

// A server for tests that writes exactly the bytes it is told to, right or wrong. It listens on
// loopback, on a port of the kernel's choice, and serves each connection on a thread of its own.
class RawServer {
public:
  enum class Afterwards { Keep, Close, Hold }; // Hold: neither a byte nor an end, until the server stops

  // What happens once a whole request has arrived.
  struct Answer {
    std::vector<std::string> pieces; // written one by one
    Afterwards afterwards = Afterwards::Keep;
    std::chrono::milliseconds pause = std::chrono::milliseconds(0); // between two pieces
  };

  struct Request {
    int connection; // 0 for the first one accepted
    std::string head;
    std::string body;

    std::string Line(const std::string& start) const; // the head's line that starts so, or empty
  };

  RawServer();
  ~RawServer();
  RawServer(const RawServer&) = delete;
  RawServer& operator=(const RawServer&) = delete;

  // One answer for each request to come; requests beyond them get a 200 with the body "ok".
  void Enqueue(Answer answer);
  void Enqueue(std::string wholeAnswer, Afterwards afterwards = Afterwards::Keep);

  std::string Url(const std::string& path = "/") const;
  std::vector<Request> Requests() const;
  int ConnectionCount() const;

  // A whole answer with that status line and body, its length stated.
  static std::string Whole(const std::string& statusLine, const std::string& body);

private:
  void AcceptAll();
  void Serve(int socket, int connection);
  bool ReadRequest(int socket, Request& oRequest, std::string& ioUnread) const;
  Answer NextAnswer(Request request);
  void WaitForStop();

  int m_listener = -1;
  int m_port = 0;
  mutable std::mutex m_mutex;
  std::condition_variable m_stopping;
  bool m_isStopped = false;
  std::deque<Answer> m_answers;
  std::vector<Request> m_requests;
  std::vector<int> m_sockets; // open until the server stops
  std::list<std::thread> m_threads;
  std::thread m_acceptor;
};
