#pragma once

#include <cstddef>
#include <cstdint>
#include <deque>
#include <functional>
#include <optional>
#include <string>
#include <sys/types.h>
#include <vector>

namespace zep::cli {

struct WorkResult {
  std::string text; // what is written
  bool hasFailed = false;
};

// Spreads pieces of work over worker processes and writes their results in the order in which the
// work was given. What is under way is bounded, so memory is too. A worker that ends before its time
// costs the piece that it was working on; another one takes its place.
class WorkerPool {
public:
  using Process = std::function<WorkResult(const std::string& work, std::size_t number)>;
  using Lost = std::function<WorkResult(std::size_t number)>;
  using Write = std::function<void(const WorkResult& result)>;

  // The workers are copies of this process as it is now: what `process` needs is made before.
  WorkerPool(int workers, Process process, Lost lost, Write write);
  ~WorkerPool(); // ends what is still running
  WorkerPool(const WorkerPool&) = delete;
  WorkerPool& operator=(const WorkerPool&) = delete;

  void giveWork(std::string work, std::size_t number);
  void giveResult(WorkResult result); // of what needs no work
  // Writes results as they come, until the descriptor can be read.
  void waitForInput(int descriptor);
  void finish(); // until all is written

private:
  struct Task {
    std::string work;
    std::size_t number;
    std::size_t place; // of its result
  };
  struct Worker {
    pid_t process = -1;
    int socket = -1;
    std::deque<Task> tasks; // sent and not answered, oldest first
    std::string outgoing;
    std::string incoming;
  };

  void start(Worker& worker);
  [[noreturn]] void work(int socket) const;
  void send(Worker& worker, Task task);
  void replace(Worker& worker);
  bool isBusy() const;
  // Moves what can be moved; `input` is watched too, or -1. True when the input can be read.
  bool move(int input, bool wait);
  void sendSome(Worker& worker);
  bool receiveSome(Worker& worker); // false when the worker is gone
  void takeResults(Worker& worker);
  void setResult(std::size_t place, WorkResult result);

  Process m_process;
  Lost m_lost;
  Write m_write;
  std::vector<Worker> m_workers;
  std::deque<std::optional<WorkResult>> m_results; // those not written yet, in order
  std::size_t m_firstPlace = 0;                    // of m_results
  std::size_t m_bytesUnderWay = 0;
};

} // namespace zep::cli
