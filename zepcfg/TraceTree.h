#pragma once

#include "TraceRecord.h"

#include <functional>
#include <map>
#include <memory>
#include <string>
#include <utility>
#include <vector>

namespace zep::cli {

// A call with all that happened inside it, or something that happened in a call or outside of any.
struct TraceNode {
  TraceRecord record; // that of the entry for a call; of several lines of one error, the last
  bool isCall = false;
  std::vector<TraceNode> children; // of a call
  std::string end;                 // time of the exit; empty where the trace does not have it
  std::string result;              // of a call; empty where it has none
  bool hasFailed = false;          // the call itself: by its result, or where it has none by an error in it
  bool holdsFailure = false;       // that or one below it
};

// Makes trees of records that come one by one, and hands on each when it is complete: what is kept is
// the calls that run.
class TraceTree {
public:
  using Take = std::function<void(const TraceNode&)>;
  explicit TraceTree(Take take) : m_take(std::move(take)) {}

  void add(TraceRecord record);
  // Hands on the calls that did not end.
  void finish();

private:
  using Thread = std::pair<long, long>; // process and thread
  using Calls = std::vector<TraceNode>; // those that run, the outermost first

  void enter(Calls& calls, TraceRecord record);
  void leave(Calls& calls, const TraceRecord& record);
  void note(Calls& calls, TraceRecord record);
  void close(Calls& calls);
  void closeDownTo(Calls& calls, std::size_t count);
  void deliver(Calls& calls, TraceNode node);

  Take m_take;
  std::map<Thread, Calls> m_running;
};

} // namespace zep::cli
