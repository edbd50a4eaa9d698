#pragma once

#include "ScriptedPlatform.h"

#include <gtest/gtest.h>

#include <cstddef>
#include <functional>
#include <map>
#include <optional>
#include <ostream>
#include <set>
#include <string>
#include <vector>

// The complete fault matrix of an operation. A Scenario says how the operation is called, and by a
// Course what it is to do, step by step, whatever goes wrong: which calls it makes, what a failed
// one means, which records it writes, what becomes of the output. The engine runs the operation on
// the scripted platform once for each call that it makes, each way in which this call can go wrong,
// once and from there on, and compares result, output, calls, records and living objects with the
// course. Behind each fault the operation runs once more without it.
//
// In the same way it runs once for each allocation that the library makes. The place in the course at
// which the memory ended is looked for: what was seen has to be the course up to there, and what is
// still to be given back.
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

// What an operation that calls nothing of the platform did, when nothing failed.
struct Recording {
  std::string outcome;
  std::vector<std::string> outputs;
  std::vector<std::string> steps;
};

// What an operation is to do under the faults that are set. Lines are those of the script's log,
// without the ends of objects.
class Course {
public:
  void Begin(const scripted::Inputs& world, bool traced, bool timed);
  void Set(std::vector<Fault> faults); // and forgets what happened
  // The memory ends at these places, counted as MayEnd() is passed.
  void EndMemoryAt(std::vector<std::size_t> places) { m_ends = std::move(places); }
  // A place where memory may be needed: in front of each step, and of each output.
  void MayEnd();
  // The assertion of the platform ends the process here.
  [[noreturn]] void Die();

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

  // A text that an operation gives, as it changes.
  void Gives(std::string& output, const std::string& text);

  // What a run without a fault did, where that is known to be right. Without the memory it needs the
  // output is one of these.
  void Repeat(const Recording& recording, const std::vector<std::string>& outputsOnTheWay);

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
  void Output(const std::string& text) { outputs.push_back(text); }

  bool IsTraced() const { return m_traced; }
  void Trace(const std::string& className, const std::string& line);
  std::vector<std::string> LivingObjects() const;

  scripted::Inputs world;

  std::vector<std::string> log;
  std::vector<Op> called;
  std::string outcome;
  std::vector<std::string> outputs;
  std::vector<std::size_t> stepsInFront; // of each place where memory may be needed

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
  bool m_isDead = false;
  std::vector<Fault> m_faults;
  std::map<Op, int> m_counts;
  std::vector<std::size_t> m_ends;
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
  void Output(const std::string& text) { outputs.push_back(text); }

  std::string outcome;
  std::vector<std::string> outputs;
  long allocations = 0; // while operations ran

private:
  long FirstFailure() const; // of the next operation's allocations; 0: none

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
  // The one matrix or the other is empty, which is then what is looked at.
  bool callsNothing = false;
  bool allocatesNothing = false;
};

Scenario withoutMemory(Scenario scenario);       // which allocates nothing
Scenario inProcessesOfItsOwn(Scenario scenario); // which is fresh
Scenario withFault(Scenario scenario, Op operation, Kind kind);

// Of a run in a process of its own, so that what the library builds once is not yet built in this one.
Recording recordingOf(const std::function<void(Run&)>& run, bool traced);

// Courses that belong together. Each of them is run with failing calls and with failing allocations, in
// processes of its own, which report what is wrong as failures of the running test, and on standard
// output how many faults were injected.
//
//   INSTANTIATE_TEST_SUITE_P(Web, FaultTest, testing::ValuesIn(areas), nameOfArea);
struct Area {
  const char* name;
  std::vector<Scenario> (*scenarios)();
};
class FaultTest : public testing::TestWithParam<Area> {};
std::string nameOfArea(const testing::TestParamInfo<Area>& info);
void PrintTo(const Area& area, std::ostream* stream);

} // namespace fault
