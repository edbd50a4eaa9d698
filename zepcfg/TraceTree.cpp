#include "TraceTree.h"

#include "Failure.h"
#include "PLMCfgInTraceClass.h"
#include "Text.h"

#include <algorithm>

namespace zep::cli {
namespace {

constexpr std::string_view resultStart = "rc = ";
constexpr std::size_t deepestCall = 1000; // no program nests like that, but a file may say anything

// Of the pair of records that an error is, the first says only that it is one.
bool announcesError(const TraceRecord& record) {
  return record.kind == TraceKind::error && record.text == PLMCfgInTraceClass::GetError();
}

std::string errorText(const std::string& text) {
  const std::string_view indent = PLMCfgInTraceClass::GetErrorIndent();
  return startsWith(text, indent) ? text.substr(indent.size()) : text;
}

bool isOf(const TraceNode& call, const TraceRecord& exit) {
  return call.record.operation == exit.operation && call.record.className == exit.className;
}

void judge(TraceNode& call) {
  const auto isError = [](const TraceNode& node) {
    return !node.isCall && node.record.kind == TraceKind::error;
  };
  const auto code = resultCode(call.result);
  const bool hasError = std::any_of(call.children.begin(), call.children.end(), isError);
  call.hasFailed = code ? *code < 0 : hasError;
  call.holdsFailure = call.hasFailed || hasError ||
                      std::any_of(call.children.begin(), call.children.end(),
                                  [](const TraceNode& node) { return node.holdsFailure; });
}

} // namespace

void TraceTree::add(TraceRecord record) {
  const Thread thread(record.process, record.thread);
  Calls& calls = m_running[thread];
  if (record.kind == TraceKind::entry) {
    enter(calls, std::move(record));
  } else if (record.kind == TraceKind::exit) {
    leave(calls, record);
  } else {
    note(calls, std::move(record));
  }
  if (calls.empty()) {
    m_running.erase(thread);
  }
}

void TraceTree::finish() {
  for (auto& [thread, calls] : m_running) {
    closeDownTo(calls, 0);
  }
  m_running.clear();
}

// A call never stands further left than the one around it: what is said to run there has ended without
// a word, as in a process that died and whose number came back.
void TraceTree::enter(Calls& calls, TraceRecord record) {
  while (!calls.empty() && record.depth && calls.back().record.depth &&
         *record.depth <= *calls.back().record.depth) {
    close(calls);
  }
  if (calls.size() == deepestCall) {
    closeDownTo(calls, 0);
  }
  TraceNode call;
  call.record = std::move(record);
  call.isCall = true;
  calls.push_back(std::move(call));
}

void TraceTree::leave(Calls& calls, const TraceRecord& record) {
  std::size_t count = calls.size();
  while (count > 0 && !isOf(calls[count - 1], record)) {
    --count;
  }
  if (count == 0) { // it was entered before the trace began
    TraceNode call;
    call.record = record;
    call.isCall = true;
    call.record.time.clear();
    call.end = record.time;
    deliver(calls, std::move(call));
    return;
  }
  closeDownTo(calls, count);
  calls.back().end = record.time;
  close(calls);
}

void TraceTree::note(Calls& calls, TraceRecord record) {
  if (announcesError(record)) {
    return;
  }
  if (record.kind == TraceKind::result && !calls.empty()) {
    calls.back().result = record.text.substr(resultStart.size());
    return;
  }
  TraceNode node;
  node.record = std::move(record);
  if (node.record.kind == TraceKind::error) {
    node.record.text = errorText(node.record.text);
    node.holdsFailure = true;
  }
  deliver(calls, std::move(node));
}

void TraceTree::deliver(Calls& calls, TraceNode node) {
  if (calls.empty()) {
    m_take(node);
  } else {
    calls.back().children.push_back(std::move(node));
  }
}

// Ends the innermost call.
void TraceTree::close(Calls& calls) {
  TraceNode call = std::move(calls.back());
  calls.pop_back();
  judge(call);
  deliver(calls, std::move(call));
}

void TraceTree::closeDownTo(Calls& calls, std::size_t count) {
  while (calls.size() > count) {
    close(calls);
  }
}

} // namespace zep::cli
