#include "FaultMatrix.h"

#include "AllocationWatch.h"
#include "FaultAbilities.h"
#include "ZEPBaseUnknown_var.h"

#include <algorithm>
#include <array>
#include <csignal>
#include <cstdio>
#include <fcntl.h>
#include <new>
#include <sys/wait.h>
#include <unistd.h>

// The sanitizer's, where the program is built with it: a process that ends by _exit has to ask for it.
extern "C" int __lsan_do_recoverable_leak_check() // NOLINT(bugprone-reserved-identifier)
    __attribute__((weak));

namespace fault {

using scripted::script;
using scripted::ScriptedException;

namespace {

// ---- texts -------------------------------------------------------------------------------------

std::vector<std::string> linesOf(const std::string& text) {
  std::vector<std::string> lines;
  for (std::size_t start = 0; start < text.size();) {
    const std::size_t end = text.find('\n', start);
    lines.push_back(text.substr(start, end - start));
    start = end + 1;
  }
  return lines;
}

std::string inLines(const std::vector<std::string>& lines) {
  std::string text;
  for (const std::string& line : lines) {
    text += line + "\n";
  }
  return text;
}

std::string joined(const std::vector<std::string>& lines) {
  std::string text;
  for (const std::string& line : lines) {
    text += "    " + line + "\n";
  }
  return text;
}

// The ends of objects are left out: what is alive is looked at by itself.
std::vector<std::string> stepsTaken() {
  std::vector<std::string> steps = linesOf(script().log());
  std::erase_if(steps, [](const std::string& line) { return line.starts_with("~"); });
  return steps;
}

std::vector<std::string> livingObjects() {
  std::vector<std::string> alive = linesOf(script().liveObjects());
  std::sort(alive.begin(), alive.end());
  return alive;
}

std::string difference(const char* what, const std::string& expected, const std::string& seen) {
  return expected == seen
             ? ""
             : std::string("  ") + what + "\n   expected " + expected + "\n   seen     " + seen + "\n";
}

std::string difference(const char* what, const std::vector<std::string>& expected,
                       const std::vector<std::string>& seen) {
  if (expected == seen) {
    return "";
  }
  std::size_t same = 0;
  while (same < expected.size() && same < seen.size() && expected[same] == seen[same]) {
    ++same;
  }
  const auto tail = [same](const std::vector<std::string>& lines) {
    const auto from = lines.begin() + static_cast<std::ptrdiff_t>(std::min(same, lines.size()));
    return joined({from - (same > 0 && from != lines.begin() ? 1 : 0), lines.end()});
  };
  return std::string("  ") + what + "\n   expected\n" + tail(expected) + "   seen\n" + tail(seen);
}

std::string indented(const char* what, const std::string& text) {
  return text.empty() ? "" : std::string("  ") + what + "\n" + joined(linesOf(text));
}

// ---- processes ---------------------------------------------------------------------------------

struct ProcessEnd {
  std::string said;
  int status = 0;

  bool IsUsual() const { return WIFEXITED(status) && WEXITSTATUS(status) == 0; }
  bool IsAborted() const { return WIFSIGNALED(status) && WTERMSIG(status) == SIGABRT; }
};

void write(int file, const std::string& text) {
  for (std::size_t done = 0; done < text.size();) {
    const ssize_t count = ::write(file, text.data() + done, text.size() - done);
    if (count <= 0) {
      return;
    }
    done += static_cast<std::size_t>(count);
  }
}

int reportOfProcess = -1; // what is written there is what this process says

[[noreturn]] void runAndEnd(int file, const std::function<std::string()>& task) {
  constexpr unsigned int mostSeconds = 300;
  alarm(mostSeconds);
  reportOfProcess = file;
  write(file, task());
  _exit(0);
}

ProcessEnd inProcess(const std::function<std::string()>& task) {
  std::fflush(nullptr);
  int ends[2];
  if (pipe(ends) != 0) {
    throw std::runtime_error("no pipe");
  }
  const pid_t child = fork();
  if (child == 0) {
    close(ends[0]);
    runAndEnd(ends[1], task);
  }
  close(ends[1]);
  ProcessEnd end;
  std::array<char, 4096> buffer{};
  for (ssize_t count = 0; (count = read(ends[0], buffer.data(), buffer.size())) > 0;) {
    end.said.append(buffer.data(), static_cast<std::size_t>(count));
  }
  close(ends[0]);
  waitpid(child, &end.status, 0);
  return end;
}

// Runs what is to end by the platform's assertion, and gives what that said and the steps in front of it.
ProcessEnd inDyingProcess(const std::function<void()>& task) {
  return inProcess([&task]() -> std::string {
    dup2(reportOfProcess, STDERR_FILENO);
    const auto report = [](int) {
      constexpr unsigned int mostSeconds = 10;
      alarm(mostSeconds); // where it was not the assertion, the memory may be in disorder
      write(reportOfProcess, "\n" + inLines(stepsTaken()));
    };
    static_cast<void>(std::signal(SIGABRT, report));
    task();
    return "returned";
  });
}

std::string unusualEnd(const ProcessEnd& end) {
  return end.IsUsual() ? "" : "  the process ended with the status " + std::to_string(end.status) + "\n";
}

// ---- runs --------------------------------------------------------------------------------------

void refill(const Scenario& scenario) {
  static_cast<scripted::Inputs&>(script()) = scripted::Inputs();
  scenario.prepare();
}

scripted::Injection& inject(const Fault& fault) {
  const auto limited = [&fault](scripted::Injection& injection) -> scripted::Injection& {
    return fault.last == 0 ? injection.from(fault.first) : injection.at(fault.first);
  };
  switch (fault.kind) {
  case Kind::Fails:
    return limited(script().fail(fault.operation, *abilityOf(fault.operation).code));
  case Kind::FailsButActs:
    return limited(script().returns(fault.operation, *abilityOf(fault.operation).code));
  case Kind::Empty:
    return limited(script().giveEmpty(fault.operation));
  case Kind::Throws:
    break;
  }
  return limited(script().throwIn(fault.operation));
}

enum class Mode { Traced, Untraced };

// What is to be, then what is; death ends it.
struct Comparison {
  bool isDeath = false;
  std::string differences;
  std::vector<std::string> steps;
};

class Case {
public:
  Case(const Scenario& scenario, Course& course, Mode mode)
      : m_scenario(scenario),
        m_course(course),
        m_mode(mode) {}

  // What is wrong with it, or nothing.
  std::string Differences(const std::vector<Fault>& faults) {
    Prepare();
    const Course behindPreparation = m_course;
    const Comparison faulty = Compare(faults);
    if (faulty.isDeath) {
      m_course = behindPreparation;
      ++m_deaths;
      return faulty.differences + Finish();
    }
    std::string wrong = faulty.differences;
    wrong += m_firstFault == nullptr || m_firstFault->WasConsumed() ? "" : "  no call consumed the fault\n";
    script().endInjections();
    wrong += CheckLiving();
    refill(m_scenario);
    const Comparison again = Compare({});
    wrong += again.differences.empty() ? "" : "  in the repetition:\n" + again.differences;
    if (!m_usualSteps.empty() && !m_scenario.isFresh && m_course.openFiles.empty()) {
      wrong += difference("the repetition is not the usual run", m_usualSteps, again.steps);
    }
    m_usualSteps = m_usualSteps.empty() ? again.steps : m_usualSteps;
    wrong += indented("unused in the repetition", script().endInjections());
    wrong += CheckLiving();
    wrong += Finish();
    return wrong;
  }

  int Deaths() const { return m_deaths; }

private:
  void Prepare() {
    script().reset();
    m_scenario.prepare();
    m_course.openFiles.clear();
    m_course.kept = {};
    if (m_mode == Mode::Traced) {
      script().traceOn();
      script().perfoOn();
    }
    m_course.Begin(script(), m_mode == Mode::Traced, m_mode == Mode::Traced);
    if (m_scenario.before) {
      m_course.Set({});
      m_scenario.courseBefore(m_course);
      m_scenario.before();
    }
  }

  Comparison Compare(const std::vector<Fault>& faults) {
    script().clearLog();
    std::vector<Fault> all = m_scenario.given;
    all.insert(all.end(), faults.begin(), faults.end());
    m_firstFault = nullptr;
    for (std::size_t i = 0; i < all.size(); ++i) {
      const scripted::Injection& injection = inject(all[i]);
      m_firstFault = i == m_scenario.given.size() ? &injection : m_firstFault;
    }
    m_course.Set(std::move(all));
    m_course.Begin(script(), m_mode == Mode::Traced, m_mode == Mode::Traced);
    try {
      m_scenario.course(m_course);
    } catch (const Death&) {
      return {true, DifferencesOfDeath(), {}};
    }
    Run run;
    m_scenario.run(run);
    std::string wrong = difference("result", m_course.outcome, run.outcome);
    wrong += difference("output", m_course.outputs, run.outputs);
    std::vector<std::string> steps = stepsTaken();
    wrong += difference("steps", m_course.log, steps);
    return {false, wrong, steps};
  }

  // In a process of its own, which the platform's assertion is to end.
  std::string DifferencesOfDeath() const {
    const ProcessEnd end = inDyingProcess([this] {
      Run run;
      m_scenario.run(run);
    });
    const std::size_t lineEnd = std::min(end.said.size(), end.said.find("\n\n"));
    if (!end.IsAborted() || !end.said.starts_with("Assertion failed: ")) {
      return "  the platform's assertion did not end the process: " + end.said + "\n";
    }
    const std::string steps = end.said.substr(std::min(end.said.size(), lineEnd + 2));
    return difference("steps in front of the assertion", m_course.log, linesOf(steps));
  }

  std::string CheckLiving() const {
    return difference("living objects", m_course.LivingObjects(), livingObjects());
  }

  std::string Finish() const {
    script().endInjections();
    if (m_scenario.after) {
      m_scenario.after();
    }
    if (!m_course.openFiles.empty()) {
      script().allowOpenFile();
    }
    return indented("left behind", script().problems());
  }

  const Scenario& m_scenario;
  Course& m_course;
  Mode m_mode;
  const scripted::Injection* m_firstFault = nullptr;
  int m_deaths = 0;
  std::vector<std::string> m_usualSteps;
};

// ---- the matrix --------------------------------------------------------------------------------

enum class Extent { Once, OfTheOperationOnward, OfAllOnward };
constexpr std::array extents = {Extent::Once, Extent::OfTheOperationOnward, Extent::OfAllOnward};

const char* nameOf(Extent extent) {
  switch (extent) {
  case Extent::Once:
    return "once";
  case Extent::OfTheOperationOnward:
    return "and all further calls of it";
  case Extent::OfAllOnward:
    return "and all further calls";
  }
  return "";
}

int countOf(Op operation, const std::vector<Op>& calls, std::size_t end) {
  return static_cast<int>(
      std::count(calls.begin(), calls.begin() + static_cast<std::ptrdiff_t>(end), operation));
}

// The first of them is the fault of the call at `at`.
std::vector<Fault> faultsAt(const std::vector<Op>& calls, std::size_t at, Kind kind, Extent extent) {
  const Op operation = calls[at];
  const int nth = countOf(operation, calls, at) + 1;
  if (extent == Extent::Once) {
    return {{operation, kind, nth, nth}};
  }
  std::vector<Fault> faults = {{operation, kind, nth, 0}};
  if (extent == Extent::OfAllOnward) {
    for (const Ability& ability : allAbilities()) {
      // While an exception passes, closing a file can raise none.
      const bool isCleanup = ability.operation == Op::ZEPFClose && kind == Kind::Throws;
      if (ability.operation != operation && canBe(ability, kind) && !isCleanup) {
        faults.push_back({ability.operation, kind, countOf(ability.operation, calls, at) + 1, 0});
      }
    }
  }
  return faults;
}

struct Counts {
  std::array<int, kinds.size()> byKind{};
  int deaths = 0;
  int calls = 0;
};

class Matrix {
public:
  explicit Matrix(const Scenario& scenario) : m_scenario(scenario) {}

  // What is wrong, or nothing.
  std::string Wrong() {
    for (const Mode mode : {Mode::Traced, Mode::Untraced}) {
      Case usual(m_scenario, m_course, mode);
      if (!Check(usual, mode, {}, "without a fault")) {
        break;
      }
      const std::vector<Op> calls = CallsOf(mode, {});
      m_counts.calls += static_cast<int>(calls.size());
      for (std::size_t at = 0; at < calls.size(); ++at) {
        FailCall(usual, mode, calls, at);
      }
      m_counts.deaths += usual.Deaths();
    }
    if ((m_counts.calls == 0) != m_scenario.callsNothing) {
      m_wrong += "  there are " + std::to_string(m_counts.calls) + " calls that could go wrong\n";
    }
    return m_wrong;
  }

  Counts Figures() const { return m_counts; }

private:
  std::vector<Op> CallsOf(Mode mode, const std::vector<Fault>& faults) const {
    Course course = m_course;
    script().reset();
    m_scenario.prepare();
    course.Begin(script(), mode == Mode::Traced, mode == Mode::Traced);
    course.kept = {};
    course.openFiles.clear();
    if (m_scenario.courseBefore) {
      course.Set({});
      m_scenario.courseBefore(course);
    }
    std::vector<Fault> all = m_scenario.given;
    all.insert(all.end(), faults.begin(), faults.end());
    course.Set(all);
    try {
      m_scenario.course(course);
    } catch (const Death&) {
      // Nothing is called behind it.
    }
    return course.called;
  }

  // Whether a fault that lasts differs from the one that happens once: only where something is called
  // behind it that it would change.
  bool IsDifferent(Mode mode, const std::vector<Op>& calls, std::size_t at, Kind kind, Extent extent) const {
    if (extent == Extent::Once) {
      return true;
    }
    const std::vector<Op> called = CallsOf(mode, faultsAt(calls, at, kind, Extent::Once));
    const std::vector<Fault> lasting = faultsAt(calls, at, kind, extent);
    return std::any_of(called.begin() + static_cast<std::ptrdiff_t>(at) + 1, called.end(), [&](Op operation) {
      return std::any_of(lasting.begin(), lasting.end(),
                         [operation](const Fault& fault) { return fault.operation == operation; });
    });
  }

  void FailCall(Case& inOneProcess, Mode mode, const std::vector<Op>& calls, std::size_t at) {
    for (std::size_t k = 0; k < kinds.size(); ++k) {
      if (!canBe(abilityOf(calls[at]), kinds[k])) {
        continue;
      }
      for (const Extent extent : extents) {
        if (!IsDifferent(mode, calls, at, kinds[k], extent)) {
          continue;
        }
        const std::string where = std::string(scripted::nameOf(calls[at])) + ", call " +
                                  std::to_string(countOf(calls[at], calls, at) + 1) + ", " +
                                  fault::nameOf(kinds[k]) + " " + nameOf(extent);
        Check(inOneProcess, mode, faultsAt(calls, at, kinds[k], extent), where);
        ++m_counts.byKind[k];
      }
    }
  }

  bool Check(Case& inOneProcess, Mode mode, const std::vector<Fault>& faults, const std::string& where) {
    std::string wrong;
    if (m_scenario.isFresh) {
      const ProcessEnd end = inProcess([this, mode, &faults] {
        Course course;
        Case fresh(m_scenario, course, mode);
        const std::string differences = fresh.Differences(faults);
        return fresh.Deaths() > 0 ? "died" + differences : differences;
      });
      wrong = end.said + unusualEnd(end);
      if (wrong.starts_with("died")) {
        ++m_counts.deaths;
        wrong.erase(0, 4);
      }
    } else {
      wrong = inOneProcess.Differences(faults);
    }
    constexpr std::size_t mostShown = 20000;
    if (!wrong.empty() && m_wrong.size() < mostShown) {
      m_wrong += where + (mode == Mode::Traced ? ", traced\n" : ", untraced\n") + wrong;
    }
    return wrong.empty();
  }

  const Scenario& m_scenario;
  Course m_course; // knows what the library keeps, as long as all runs are made in this process
  std::string m_wrong;
  Counts m_counts;
};

// In a line of its own.
std::string figuresOf(const Counts& counts) {
  std::string byKind;
  int sum = 0;
  for (std::size_t k = 0; k < kinds.size(); ++k) {
    sum += counts.byKind[k];
    byKind += std::string(k == 0 ? "" : ", ") + nameOf(kinds[k]) + " " + std::to_string(counts.byKind[k]);
  }
  return std::to_string(sum) + " (" + byKind + "; of them ended by the assertion " +
         std::to_string(counts.deaths) + ")\n";
}

std::string leaksOfProcess() {
  if (__lsan_do_recoverable_leak_check != nullptr) {
    script().reset();
    return __lsan_do_recoverable_leak_check() != 0 ? "  memory was lost\n" : "";
  }
  return "";
}

void report(const Scenario& scenario, const ProcessEnd& end) {
  // The figures are the first line.
  const std::size_t lineEnd = end.said.find('\n');
  const std::string figures = end.said.substr(0, lineEnd);
  std::printf("faults: %s: %s\n", scenario.name.c_str(), figures.c_str());
  const std::string wrong =
      (lineEnd == std::string::npos ? "" : end.said.substr(lineEnd + 1)) + unusualEnd(end);
  if (!wrong.empty()) {
    ADD_FAILURE() << scenario.name << "\n" << wrong;
  }
}

// ---- allocations -------------------------------------------------------------------------------

struct AllocationCase {
  std::string wrong;
  long allocations = 0; // of the run in which they may fail
  long alive = 0;       // behind it and its repetition
};

// What a run did without all the memory it needs, and the course that explains it.
class MemoryCourse {
public:
  MemoryCourse(const Scenario& scenario, Course course, const Run& run)
      : m_scenario(scenario),
        m_course(std::move(course)),
        m_run(run),
        m_steps(stepsTaken()) {
    for (std::size_t at = 0; (at = m_run.outcome.find(outOfMemory, at)) != std::string::npos; ++at) {
      ++m_failures;
    }
  }

  // The course with as many ends of the memory as operations reported; the usual one where there is none.
  Course Find() {
    const Course usual = With({});
    Course found = usual;
    return Explain({}, usual, found) ? found : usual;
  }

  std::string Differences(const Course& course) const {
    return difference("result", course.outcome, m_run.outcome) +
           difference("output", course.outputs, m_run.outputs) + difference("steps", course.log, m_steps);
  }

private:
  static constexpr const char* outOfMemory = "std::bad_alloc";

  Course With(std::vector<std::size_t> ends) const {
    Course course = m_course;
    course.EndMemoryAt(std::move(ends));
    m_scenario.course(course);
    return course;
  }

  // What is given back behind an end may be what the usual course does next. Of several places that look
  // the same the first one is it: what is kept for the next call is kept only with the memory for it.
  bool Explain(const std::vector<std::size_t>& ends, const Course& course, Course& found) const {
    if (ends.size() == m_failures) {
      found = course;
      return Differences(course).empty();
    }
    constexpr std::size_t mostGivenBack = 12;
    const auto same = static_cast<std::size_t>(
        std::mismatch(course.log.begin(), course.log.end(), m_steps.begin(), m_steps.end()).first -
        course.log.begin());
    for (std::size_t back = 0; back <= std::min(same, mostGivenBack); ++back) {
      for (std::size_t place = ends.empty() ? 0 : ends.back() + 1; place < course.stepsInFront.size();
           ++place) {
        if (course.stepsInFront[place] + back != same) {
          continue;
        }
        std::vector<std::size_t> more = ends;
        more.push_back(place);
        if (Explain(more, With(more), found)) {
          return true;
        }
      }
    }
    return false;
  }

  const Scenario& m_scenario;
  const Course m_course;
  const Run& m_run;
  const std::vector<std::string> m_steps;
  std::size_t m_failures = 0;
};

// The course of a run in which nothing fails, not yet begun; `behind` knows what the library keeps.
Course prepareRun(const Scenario& scenario, Mode mode, const Course& behind) {
  Course course = behind;
  course.kept = {};
  course.openFiles.clear();
  script().reset();
  scenario.prepare();
  if (mode == Mode::Traced) {
    script().traceOn();
    script().perfoOn();
  }
  course.Begin(script(), mode == Mode::Traced, mode == Mode::Traced);
  if (scenario.before) {
    course.Set({});
    scenario.courseBefore(course);
    scenario.before();
  }
  course.Set(scenario.given);
  script().clearLog();
  for (const Fault& fault : scenario.given) {
    inject(fault);
  }
  return course;
}

AllocationCase runAllocationCase(const Scenario& scenario, Mode mode, long nth, bool onward,
                                 const Course& behind) {
  const Course prepared = prepareRun(scenario, mode, behind);
  AllocationCase result;
  Run run(true, nth, onward);
  scenario.run(run);
  result.allocations = run.allocations;
  MemoryCourse seen(scenario, prepared, run);
  const Course course = seen.Find();
  result.wrong += seen.Differences(course);
  result.wrong += difference("living objects", course.LivingObjects(), livingObjects());
  script().endInjections();
  script().allowUnused();
  if (!course.openFiles.empty()) {
    script().allowOpenFile();
  }
  if (scenario.after) {
    scenario.after();
  }
  result.wrong += indented("left behind", script().problems());

  // A text that was kept of the failed run would be seen here.
  if (nth > 0) {
    const AllocationCase again = runAllocationCase(scenario, mode, 0, false, course);
    result.wrong += again.wrong.empty() ? "" : "  in the repetition:\n" + again.wrong;
  }
  result.alive = allocations::Watch::Alive();
  return result;
}

struct AllocationFigures {
  long faults = 0;
  std::string wrong;
};

// A run in a process of its own gives its figures in the first line.
AllocationCase inFreshProcess(const Scenario& scenario, Mode mode, long nth, bool onward) {
  const ProcessEnd end = inProcess([&] {
    const AllocationCase done = runAllocationCase(scenario, mode, nth, onward, {});
    return std::to_string(done.allocations) + " " + std::to_string(done.alive) + "\n" + done.wrong;
  });
  AllocationCase result;
  std::sscanf(end.said.c_str(), "%ld %ld", &result.allocations, &result.alive);
  result.wrong = end.said.substr(std::min(end.said.size(), end.said.find('\n') + 1)) + unusualEnd(end);
  return result;
}

AllocationFigures failAllocations(const Scenario& scenario, Mode mode) {
  AllocationFigures figures;
  Course inThisProcess;
  inThisProcess.stackSetting = "";
  const auto runCase = [&scenario, &inThisProcess](Mode in, long nth, bool onward) {
    return scenario.isFresh ? inFreshProcess(scenario, in, nth, onward)
                            : runAllocationCase(scenario, in, nth, onward, inThisProcess);
  };
  if (!scenario.isFresh) {
    runCase(mode, 0, false); // builds what is built once
  }
  const AllocationCase usual = runCase(mode, 0, false);
  figures.wrong = usual.wrong;
  for (const bool onward : {false, true}) {
    for (long nth = 1; nth <= usual.allocations; ++nth) {
      const AllocationCase failed = runCase(mode, nth, onward);
      ++figures.faults;
      std::string wrong = failed.wrong;
      if (failed.allocations < nth) {
        wrong += "  there was no such allocation\n";
      }
      wrong += difference("allocations alive", std::to_string(usual.alive), std::to_string(failed.alive));
      if (!wrong.empty()) {
        figures.wrong += "allocation " + std::to_string(nth) + (onward ? " and all further" : "") +
                         (mode == Mode::Traced ? ", traced\n" : ", untraced\n") + wrong;
      }
    }
  }
  if ((usual.allocations == 0) != scenario.allocatesNothing) {
    figures.wrong += "there were " + std::to_string(usual.allocations) + " allocations\n";
  }
  return figures;
}

} // namespace

const char* nameOf(Kind kind) {
  switch (kind) {
  case Kind::Fails:
    return "fails";
  case Kind::FailsButActs:
    return "fails but acts";
  case Kind::Empty:
    return "gives nothing";
  case Kind::Throws:
    return "raises";
  }
  return "";
}

// ---- run ---------------------------------------------------------------------------------------

long Run::FirstFailure() const {
  if (!m_failsAllocations || m_nth == 0) {
    return 0;
  }
  constexpr long atOnce = 1;
  return m_nth > allocations ? m_nth - allocations : m_onward ? atOnce : 0;
}

void Run::Returns(const std::function<long()>& operation) {
  const char* exception = nullptr;
  long result = 0;
  {
    const allocations::Watch watch(FirstFailure(), m_onward);
    try {
      result = operation();
    } catch (const ScriptedException&) {
      exception = "ScriptedException";
    } catch (const ZEPErrorNullVar&) {
      exception = "ZEPErrorNullVar";
    } catch (const std::bad_alloc&) {
      exception = "std::bad_alloc";
    }
  }
  allocations += allocations::Watch::Count();
  outcome += (exception != nullptr ? std::string(exception) : scripted::codeName(result)) + " ";
}

Scenario withoutMemory(Scenario scenario) {
  scenario.allocatesNothing = true;
  return scenario;
}

Scenario inProcessesOfItsOwn(Scenario scenario) {
  scenario.isFresh = true;
  return scenario;
}

Scenario withFault(Scenario scenario, Op operation, Kind kind) {
  scenario.given = {{operation, kind}};
  scenario.name += std::string(", where ") + scripted::nameOf(operation) + " " + nameOf(kind);
  return scenario;
}

Recording recordingOf(const std::function<void(Run&)>& run, bool traced) {
  const ProcessEnd end = inProcess([&] {
    script().reset();
    if (traced) {
      script().traceOn();
    }
    Run usual;
    run(usual);
    return usual.outcome + "\n" + std::to_string(usual.outputs.size()) + "\n" + inLines(usual.outputs) +
           inLines(stepsTaken());
  });
  const std::vector<std::string> lines = linesOf(end.said);
  if (!end.IsUsual() || lines.size() < 2) {
    throw std::runtime_error("nothing was recorded");
  }
  const auto outputs = lines.begin() + 2;
  const auto steps = outputs + std::stol(lines[1]);
  return {lines[0], {outputs, steps}, {steps, lines.end()}};
}

// ---- what is tested ----------------------------------------------------------------------------

std::string nameOfArea(const testing::TestParamInfo<Area>& info) {
  return info.param.name;
}

void PrintTo(const Area& area, std::ostream* stream) {
  *stream << area.name;
}

// The matrix of platform faults.
TEST_P(FaultTest, operations_doWhatTheyShould_whicheverCallFails) {
  for (const Scenario& scenario : GetParam().scenarios()) {
    const ProcessEnd end = inProcess([&scenario] {
      Matrix matrix(scenario);
      std::string wrong = matrix.Wrong();
      wrong += leaksOfProcess();
      return figuresOf(matrix.Figures()) + wrong;
    });
    report(scenario, end);
  }
}

// The exception passes through, or the operation does not need the memory and does all that it does
// otherwise. Nothing leaks, and the next run is the usual one.
TEST_P(FaultTest, operations_loseNothing_whicheverAllocationFails) {
  for (const Scenario& scenario : GetParam().scenarios()) {
    const ProcessEnd end = inProcess([&scenario] {
      const AllocationFigures traced = failAllocations(scenario, Mode::Traced);
      const AllocationFigures untraced = failAllocations(scenario, Mode::Untraced);
      return std::to_string(traced.faults + untraced.faults) + " allocations\n" + traced.wrong +
             untraced.wrong + leaksOfProcess();
    });
    report(scenario, end);
  }
}

} // namespace fault
