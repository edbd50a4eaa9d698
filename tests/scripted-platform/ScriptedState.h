#pragma once

#include "ScriptedPlatform.h"
#include "ZEPBinary.h"
#include "ZEPPLMID.h"
#include "ZEPUnicodeString.h"

#include <cstddef>
#include <deque>
#include <mutex>
#include <set>
#include <string>
#include <type_traits>
#include <utility>
#include <vector>

// What the operations of the scripted platform share. Tests see ScriptedPlatform alone.
namespace scripted {

struct QueuedAnswer {
  int status = 200;
  std::string statusLine;
  std::optional<std::string> body;
};

struct LogLine {
  std::string text;
  bool isTrace = false;
  std::string className; // of a trace line
};

class LiveObject;

// Guarded by `mutex`; callbacks of the test run without it.
struct State {
  mutable std::recursive_mutex mutex;

  std::deque<Injection> injections; // references stay valid while it grows
  std::map<Op, std::vector<std::function<void()>>> callbacks;
  std::deque<QueuedAnswer> answers;

  std::vector<LogLine> log;
  std::map<Op, int> counts;
  std::vector<TraceRecord> records;
  int activatedQueries = 0;

  bool traceIsOn = false;
  bool perfoIsOn = false;
  std::function<bool(int)> traceWanted;

  std::vector<const LiveObject*> alive;
  std::set<unsigned int> openFiles;
  std::vector<const TraceRecord*> openRecords;
  std::map<std::string, int> openMethods; // SetMethod less RemoveMethod, by class
  std::vector<std::string> misuse;        // what is wrong whatever the test wants
  bool openFileAllowed = false;
  bool unbalancedMethodsAllowed = false;
  bool liveObjectsAllowed = false;
  bool unusedAllowed = false;

  static State& Get();
};

using Lock = std::lock_guard<std::recursive_mutex>;

// ---- texts of calls ----

std::string escaped(const std::string& text); // control characters only
std::string shown(const std::string& text);   // as it stands, or in quotes
std::string shown(const ZEPUnicodeString& text);
std::string shown(const char* text); // null: null
std::string hex(unsigned long number);
std::string utf8Of(const ZEPUnicodeString& text);
std::string utf8Of(const ZEPPLMID& id); // no call that a test would see
ZEPUnicodeString textOf(const std::string& utf8);

// An argument whose text is ready.
struct Plain {
  std::string text;
};

inline std::string argumentText(const Plain& argument) {
  return argument.text;
}
inline std::string argumentText(const char* argument) {
  return shown(argument);
}
inline std::string argumentText(const std::string& argument) {
  return shown(argument);
}
inline std::string argumentText(const ZEPUnicodeString& argument) {
  return shown(argument);
}
inline std::string argumentText(const ZEPPLMID& argument) {
  return argument.IsNull() ? "null" : shown(utf8Of(argument));
}
inline std::string argumentText(const ZEPBinary& argument) {
  return shown(std::string(argument.Bytes(), argument.Bytes() + argument.ByteCount()));
}
template <class Number>
requires std::is_arithmetic_v<Number> std::string argumentText(Number argument) {
  return std::to_string(argument);
}

// ---- calls ----

// Stands where the script allocates for itself.
class Bookkeeping {
public:
  Bookkeeping();
  ~Bookkeeping();
  Bookkeeping(const Bookkeeping&) = delete;
  Bookkeeping& operator=(const Bookkeeping&) = delete;
};

// One call of an operation: recorded when it is made; then it knows what was injected for it.
class Call {
public:
  template <class... Arguments>
  explicit Call(Op operation, const Arguments&... arguments) {
    std::string text;
    ((text += (text.empty() ? "" : ", ") + argumentText(arguments)), ...);
    Begin(operation, text);
  }

  bool Fails() const { return m_kind == Kind::Fail; }
  bool GivesEmpty() const { return m_kind == Kind::Empty; }
  // The injected code, or `usual`.
  long Code(long usual = S_OK) const {
    return m_kind == Kind::Fail || m_kind == Kind::Return ? m_code : usual;
  }
  int IntCode(int usual = 0) const { return static_cast<int>(Code(usual)); }

private:
  enum class Kind { None, Fail, Return, Empty };
  void Begin(Op operation, const std::string& arguments);

  Bookkeeping m_bookkeeping; // as long as the operation acts
  Kind m_kind = Kind::None;
  long m_code = S_OK;
};

void logLine(std::string text);
void logTraceLine(const std::string& className, const std::string& text);
void reportMisuse(std::string what);

// ---- objects ----

// Counts the object that it is a member of; its end is a line of the log. The last member of its
// class, so that an object is seen to die before what it holds.
class LiveObject {
public:
  explicit LiveObject(std::string name);
  ~LiveObject();
  LiveObject(const LiveObject&) = delete;
  LiveObject& operator=(const LiveObject&) = delete;

  const std::string& Name() const { return m_name; }

private:
  std::string m_name;
};

// ---- buffers that the caller releases with free() ----

char* handOut(const std::string& bytes); // exactly that many bytes; no bytes: a unique pointer
std::string bufferProblems();
void forgetBuffers();

// ---- what must hold of any records ----

// An exit record carries the line of its entry record.
std::string entryProblems(const std::vector<TraceRecord>& records);
// The prefix of an error report and its message stand together, at the same line.
std::string errorProblems(const std::vector<TraceRecord>& records);

} // namespace scripted
