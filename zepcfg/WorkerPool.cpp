#include "WorkerPool.h"

#include "Failure.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <csignal>
#include <cstring>
#include <poll.h>
#include <sys/prctl.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>
#include <utility>

namespace zep::cli {
namespace {

constexpr std::size_t kLinesForEachWorker = 64;
constexpr std::size_t kBytesForEachWorker = std::size_t{4} << 20;

using Number = std::uint64_t;
constexpr std::size_t kWorkHead = 2 * sizeof(Number);   // its number, its length
constexpr std::size_t kResultHead = 2 * sizeof(Number); // whether it failed, its length

void putNumber(std::string& bytes, Number number) {
  bytes.append(reinterpret_cast<const char*>(&number), sizeof number);
}

Number getNumber(const char* bytes) {
  Number number = 0;
  std::memcpy(&number, bytes, sizeof number);
  return number;
}

[[noreturn]] void failWorkers() {
  failUnable("the worker processes", "starting", std::strerror(errno), "use fewer with --jobs");
}

bool readFully(int descriptor, char* bytes, std::size_t count) {
  while (count > 0) {
    const ssize_t got = read(descriptor, bytes, count);
    if (got <= 0 && !(got < 0 && errno == EINTR)) {
      return false;
    }
    bytes += std::max<ssize_t>(got, 0);
    count -= static_cast<std::size_t>(std::max<ssize_t>(got, 0));
  }
  return true;
}

bool writeFully(int descriptor, const std::string& bytes) {
  std::size_t done = 0;
  while (done < bytes.size()) {
    const ssize_t put = ::send(descriptor, bytes.data() + done, bytes.size() - done, MSG_NOSIGNAL);
    if (put < 0 && errno != EINTR) {
      return false;
    }
    done += static_cast<std::size_t>(std::max<ssize_t>(put, 0));
  }
  return true;
}

} // namespace

WorkerPool::WorkerPool(int workers, Process process, Lost lost, Write write)
    : m_process(std::move(process)),
      m_lost(std::move(lost)),
      m_write(std::move(write)),
      m_workers(static_cast<std::size_t>(workers)) {
  for (Worker& worker : m_workers) {
    start(worker);
  }
}

WorkerPool::~WorkerPool() {
  for (const Worker& worker : m_workers) {
    if (worker.process > 0) {
      close(worker.socket);
      kill(worker.process, SIGKILL);
      waitpid(worker.process, nullptr, 0);
    }
  }
}

void WorkerPool::start(Worker& worker) {
  std::array<int, 2> sockets{};
  if (socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, sockets.data()) != 0) {
    failWorkers();
  }
  const pid_t parent = getpid();
  const pid_t process = fork();
  if (process < 0) {
    close(sockets[0]);
    close(sockets[1]);
    failWorkers();
  }
  if (process == 0) {
    // A worker must not outlive the program, nor keep another one's connection open.
    prctl(PR_SET_PDEATHSIG, SIGKILL);
    if (getppid() != parent) {
      _exit(exitFailed);
    }
    close(sockets[0]);
    for (const Worker& other : m_workers) {
      if (other.socket >= 0) {
        close(other.socket);
      }
    }
    work(sockets[1]);
  }
  close(sockets[1]);
  worker.process = process;
  worker.socket = sockets[0];
}

void WorkerPool::work(int socket) const {
  // What the program does on a signal (a file that it removes) is not this process's to do.
  for (const int number : {SIGINT, SIGTERM, SIGHUP}) {
    std::signal(number, SIG_DFL);
  }
  std::array<char, kWorkHead> head{};
  while (readFully(socket, head.data(), head.size())) {
    std::string text(getNumber(head.data() + sizeof(Number)), '\0');
    if (!readFully(socket, text.data(), text.size())) {
      break;
    }
    const WorkResult result = m_process(text, getNumber(head.data()));
    std::string answer;
    putNumber(answer, result.hasFailed ? 1 : 0);
    putNumber(answer, result.text.size());
    if (!writeFully(socket, answer + result.text)) {
      break;
    }
  }
  _exit(exitDone);
}

void WorkerPool::send(Worker& worker, Task task) {
  putNumber(worker.outgoing, task.number);
  putNumber(worker.outgoing, task.work.size());
  worker.outgoing += task.work;
  worker.tasks.push_back(std::move(task));
}

bool WorkerPool::isBusy() const {
  return m_results.size() >= kLinesForEachWorker * m_workers.size() ||
         m_bytesUnderWay >= kBytesForEachWorker * m_workers.size();
}

void WorkerPool::giveWork(std::string work, std::size_t number) {
  m_bytesUnderWay += work.size();
  m_results.emplace_back();
  Worker& idlest =
      *std::min_element(m_workers.begin(), m_workers.end(), [](const Worker& left, const Worker& right) {
        return left.tasks.size() < right.tasks.size();
      });
  send(idlest, {std::move(work), number, m_firstPlace + m_results.size() - 1});
  move(-1, false);
  while (isBusy()) {
    move(-1, true);
  }
}

void WorkerPool::giveResult(WorkResult result) {
  m_results.emplace_back();
  setResult(m_firstPlace + m_results.size() - 1, std::move(result));
}

void WorkerPool::waitForInput(int descriptor) {
  while (!m_results.empty() && !move(descriptor, true)) {}
}

void WorkerPool::finish() {
  while (!m_results.empty()) {
    move(-1, true);
  }
}

bool WorkerPool::move(int input, bool wait) {
  std::vector<pollfd> watched;
  for (const Worker& worker : m_workers) {
    const int writing = worker.outgoing.empty() ? 0 : POLLOUT;
    watched.push_back({worker.socket, static_cast<short>(POLLIN | writing), 0});
  }
  watched.push_back({input, POLLIN, 0}); // a negative descriptor is passed over
  if (poll(watched.data(), watched.size(), wait ? -1 : 0) <= 0) {
    return false;
  }
  for (std::size_t i = 0; i < m_workers.size(); ++i) {
    Worker& worker = m_workers[i];
    if ((watched[i].revents & POLLOUT) != 0) {
      sendSome(worker);
    }
    if ((watched[i].revents & (POLLIN | POLLHUP | POLLERR)) != 0 && !receiveSome(worker)) {
      replace(worker);
    }
  }
  return watched.back().revents != 0;
}

void WorkerPool::sendSome(Worker& worker) {
  const ssize_t put =
      ::send(worker.socket, worker.outgoing.data(), worker.outgoing.size(), MSG_DONTWAIT | MSG_NOSIGNAL);
  if (put > 0) {
    worker.outgoing.erase(0, static_cast<std::size_t>(put));
  }
}

bool WorkerPool::receiveSome(Worker& worker) {
  std::array<char, 65536> piece;
  const ssize_t got = recv(worker.socket, piece.data(), piece.size(), MSG_DONTWAIT);
  if (got < 0) {
    return errno == EAGAIN || errno == EINTR;
  }
  worker.incoming.append(piece.data(), static_cast<std::size_t>(got));
  takeResults(worker);
  return got > 0;
}

void WorkerPool::takeResults(Worker& worker) {
  std::size_t start = 0;
  while (!worker.tasks.empty() && worker.incoming.size() - start >= kResultHead) {
    const char* const head = worker.incoming.data() + start;
    const std::size_t length = getNumber(head + sizeof(Number));
    if (worker.incoming.size() - start - kResultHead < length) {
      break;
    }
    WorkResult result{worker.incoming.substr(start + kResultHead, length), getNumber(head) != 0};
    start += kResultHead + length;
    const Task task = std::move(worker.tasks.front());
    worker.tasks.pop_front();
    m_bytesUnderWay -= task.work.size();
    setResult(task.place, std::move(result));
  }
  worker.incoming.erase(0, start);
}

// Writes what is now complete from the front on.
void WorkerPool::setResult(std::size_t place, WorkResult result) {
  m_results[place - m_firstPlace] = std::move(result);
  while (!m_results.empty() && m_results.front()) {
    m_write(*m_results.front());
    m_results.pop_front();
    ++m_firstPlace;
  }
}

void WorkerPool::replace(Worker& worker) {
  close(worker.socket);
  waitpid(worker.process, nullptr, 0);
  std::deque<Task> tasks = std::move(worker.tasks);
  worker = Worker();
  start(worker);
  if (tasks.empty()) {
    return;
  }
  const Task lost = std::move(tasks.front());
  tasks.pop_front();
  for (Task& task : tasks) {
    send(worker, std::move(task));
  }
  m_bytesUnderWay -= lost.work.size();
  setResult(lost.place, m_lost(lost.number));
}

} // namespace zep::cli
