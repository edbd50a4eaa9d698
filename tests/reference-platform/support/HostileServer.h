#pragma once

#include "HostileAnswers.h"

#include <atomic>
#include <list>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

// Gives one answer, right or wrong, to everybody who asks, until it is told to behave; then everybody
// gets a 200 with the body "fine". On loopback, on a port of the kernel's choice.
class HostileServer {
public:
  // The first `busyCount` requests get a 503 instead.
  explicit HostileServer(HostileAnswer answer, int busyCount = 0);
  ~HostileServer();
  HostileServer(const HostileServer&) = delete;
  HostileServer& operator=(const HostileServer&) = delete;

  void Behave() { m_behaves = true; }
  int Port() const { return m_port; }
  int RequestCount() const { return m_requestCount; }

private:
  void AcceptAll();
  void Serve(int socket);
  bool AnswerBadly(int socket); // whether the connection stays
  bool WaitForStop(std::chrono::milliseconds time) const;

  const HostileAnswer m_answer;
  std::atomic<int> m_busyCount;
  std::atomic<bool> m_behaves = false;
  std::atomic<bool> m_isStopped = false;
  std::atomic<int> m_requestCount = 0;
  int m_listener = -1;
  int m_port = 0;
  std::mutex m_mutex;
  std::vector<int> m_sockets; // open until the server stops; -1 where it was reset
  std::list<std::thread> m_threads;
  std::thread m_acceptor;
};
