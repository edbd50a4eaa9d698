#pragma once

#include "ScriptedPlatform.h"

#include <functional>
#include <map>
#include <optional>
#include <set>
#include <string>
#include <vector>

// The complete fault matrix of an operation. A Scenario says how the operation is called, and by a
// Course what it is to do, step by step, whatever goes wrong: which calls it makes, what a failed
// one means, which records it writes, what becomes of the output. The engine runs the operation on
// the scripted platform once for each call that it makes, each way in which this call can go wrong,
// once and from there on, and compares result, output, calls, records and living objects with the
// course. Behind each fault the operation runs once more without it.
namespace fault {

using scripted::Op;

enum class Kind {
  Fails,        // a failure code, and nothing is done or given
  FailsButActs, // a failure code, although everything is done and given
  Empty,        // success without an object, a buffer or a text
  Throws,       // an exception
};
const char* nameOf(Kind kind);

struct Fault {
  Op operation{};
  Kind kind{};
  int first = 1; // call of the operation
  int last = 0;  // 0: no last
};

// What a call answers.
struct Answer {
  long code = 0;
  bool acted = true;
  bool empty = false;

  bool Fails() const { return code < 0; }
  bool Gives() const { return acted && !empty; }
};

// How an operation ends other than by a result.
struct Exception {
  const char* name;
};
struct Death {}; // the platform's assertion ends the process

// What an operation is to do under the faults that are set. Lines are those of the script's log,
// without the ends of objects.
class Course {
public:
  void Begin(const scripted::Inputs& world, bool traced, bool timed);
  void Set(std::vector<Fault> faults); // and forgets what happened

  // A call of the platform; `usual` is what it answers when nothing goes wrong.
  Answer Call(Op operation, const std::string& arguments = "", long usual = 0);
  // Calls that give something back while an exception passes.
  template <class Steps, class Cleanup>
  void Guarded(Steps steps, Cleanup cleanup) {
    try {
      steps();
    } catch (const Exception&) {
      cleanup();
      throw;
    }
  }

  // Details, written with the trace on.
  void Label(const std::string& text);
  void Dump(const std::string& name, const std::string& text) { Label(name + " = [" + text + "]"); }
  void Value(const std::string& name, const std::string& text) { Label(name + " = " + text); }
  // Written always. Error() is a prefix and a message, and gives `result` back.
  long Error(const std::string& message, long result);
  void Error(const std::string& message);
  void Notice(const std::string& text);
  // Written with performance timing.
  void Timing(Op operation, const char* text);

  // Texts that an operation gives, as they change; the one that starts is the caller's.
  void Starts(std::string& output, const std::string& before);
  void Gives(std::string& output, const std::string& text);

  // What a run without a fault does, where that is known to be right.
  void Record(const std::function<void(class Run&)>& run);

  // What the caller sees of one operation.
  template <class Operation>
  void Returns(Operation operation) {
    try {
      Outcome(scripted::codeName(operation()));
    } catch (const Exception& exception) {
      Outcome(exception.name);
    }
  }
  void Outcome(const std::string& text) { outcome += text + " "; }
  void Output(const std::string& text) { outputs += text + "|"; }

  bool IsTraced() const { return m_traced; }
  void Trace(const std::string& className, const std::string& line);
  std::vector<std::string> LivingObjects() const;

  scripted::Inputs world;

  std::vector<std::string> log;
  std::vector<Op> called;
  std::string outcome;
  std::string outputs;
  std::set<std::string> passed; // outputs on their way

  std::vector<std::string> classes; // of the operations that run

  // What lives on between calls.
  std::optional<std::string> stackSetting;
  std::string stylesheetCache;
  bool keptOutputIsUTF16 = true;
  std::set<int> openFiles;
  struct Kept {
    bool sax2Factory = false;
    bool xslSource = false;
    bool xslFactory = false;
    bool transformer = false;
    bool ppFactory = false;
    bool heldInput = false; // by the transformer
    bool heldOutput = false;
  } kept;

private:
  bool m_traced = false;
  bool m_timed = false;
  std::vector<Fault> m_faults;
  std::map<Op, int> m_counts;
  const std::string* m_output = nullptr;
};

// The frame of an operation: entry, and exit whichever way it is left.
class Frame {
public:
  Frame(Course& course, const std::string& className, const std::string& signature);
  ~Frame();
  Frame(const Frame&) = delete;
  Frame& operator=(const Frame&) = delete;

  // The record of the result, and the result.
  long Result(long code);

private:
  Course& m_course;
};

// One run of what is tested.
class Run {
public:
  Run(bool failsAllocations, long nth, bool onward)
      : m_failsAllocations(failsAllocations),
        m_nth(nth),
        m_onward(onward) {}
  Run() : Run(false, 0, false) {}

  // An operation; allocations fail in here alone.
  void Returns(const std::function<long()>& operation);
  void Output(const std::string& text) { outputs += text + "|"; }

  std::string outcome;
  std::string outputs;
  long allocations = 0; // while operations ran

private:
  bool m_failsAllocations;
  long m_nth;
  bool m_onward;
};

struct Scenario {
  std::string name;
  std::function<void()> prepare;       // what the platform holds
  std::function<void(Run&)> run;       // the operation
  std::function<void(Course&)> course; // what it is to do
  std::vector<Fault> given{};          // what goes wrong anyway
  std::function<void()> before{};      // calls in front of it, on which nothing fails
  std::function<void(Course&)> courseBefore{};
  std::function<void()> after{}; // gives back what the library keeps
  // The library keeps what the first success made: each case needs a process of its own.
  bool isFresh = false;
};

// Runs the matrix of platform faults in processes of its own, reports what is wrong as failures of
// the running test, and how many faults were injected on standard output.
void failEveryCall(const Scenario& scenario);
// The same with allocations: the exception passes through, or the operation does not need the
// memory and does all that it does otherwise. Nothing leaks, and the next run is the usual one.
void failEveryAllocation(const Scenario& scenario);

} // namespace fault
