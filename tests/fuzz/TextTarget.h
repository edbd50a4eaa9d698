#pragma once

#include "ZEPTraceObserver.h"

#include <algorithm>
#include <cstddef>
#include <string>
#include <vector>

// What the targets of the text operations share.
namespace fuzz {

// A trace shows the work step by step, and is slow: an eighth of the inputs are run with one.
inline bool IsToBeTraced(std::size_t size) {
  return size % 8 == 7;
}

struct RecordedCall {
  long result;
  std::vector<std::string> records; // errors, and details while the trace is on
};

// Calls the operation and collects what it traces.
template <class Operation>
RecordedCall Recorded(bool isTraced, const Operation& operation) {
  RecordedCall call{0, {}};
  ZEPSetTraceObserver(
      [](const ZEPTraceRecord& record, void* records) {
        if (record.level == 0) {
          static_cast<std::vector<std::string>*>(records)->emplace_back(record.text);
        }
      },
      &call.records, isTraced);
  call.result = operation();
  ZEPSetTraceObserver(nullptr, nullptr, false);
  return call;
}

// An observer is given a record as a zero-terminated text: one with a NUL in it ends there.
inline bool AreRecords(const std::vector<std::string>& seen, const std::vector<std::string>& expected) {
  return std::equal(seen.begin(), seen.end(), expected.begin(), expected.end(),
                    [](const std::string& left, const std::string& right) { return left == right.c_str(); });
}

} // namespace fuzz
