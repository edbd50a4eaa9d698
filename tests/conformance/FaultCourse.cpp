#include "FaultAbilities.h"

#include <algorithm>

namespace fault {

void Course::Begin(const scripted::Inputs& inputs, bool traced, bool timed) {
  world = inputs;
  m_traced = traced;
  m_timed = timed;
}

void Course::Set(std::vector<Fault> faults) {
  m_faults = std::move(faults);
  m_counts.clear();
  m_ends.clear();
  m_isDead = false;
  log.clear();
  called.clear();
  outcome.clear();
  outputs.clear();
  stepsInFront.clear();
}

void Course::MayEnd() {
  stepsInFront.push_back(log.size());
  if (std::find(m_ends.begin(), m_ends.end(), stepsInFront.size() - 1) != m_ends.end()) {
    throw Exception{"std::bad_alloc"};
  }
}

void Course::Die() {
  m_isDead = true;
  throw Death{};
}

Answer Course::Call(Op operation, const std::string& arguments, long usual) {
  if (!givesBack(operation)) {
    MayEnd();
  }
  log.push_back(std::string(scripted::nameOf(operation)) + "(" + arguments + ")");
  called.push_back(operation);
  const int nth = ++m_counts[operation];
  const Fault* applying = nullptr;
  for (const Fault& fault : m_faults) {
    if (fault.operation == operation && nth >= fault.first && (fault.last == 0 || nth <= fault.last)) {
      applying = &fault;
    }
  }
  if (applying == nullptr) {
    return {usual, true, false};
  }
  switch (applying->kind) {
  case Kind::Fails:
    return {*abilityOf(operation).code, false, false};
  case Kind::FailsButActs:
    return {*abilityOf(operation).code, true, false};
  case Kind::Empty:
    return {usual, true, true};
  case Kind::Throws:
    break;
  }
  throw Exception{"ScriptedException"};
}

void Course::Trace(const std::string& className, const std::string& line) {
  if (!m_isDead) {
    log.push_back(className + " " + line);
  }
}

void Course::Label(const std::string& text) {
  MayEnd();
  if (m_traced) {
    Trace(classes.back(), "| " + text);
  }
}

long Course::Error(const std::string& message, long result) {
  Error(message);
  return result;
}

void Course::Error(const std::string& message) {
  MayEnd();
  Trace(classes.back(), "| <ERROR>");
  Trace(classes.back(), "| <INDENT> " + message);
}

void Course::Notice(const std::string& text) {
  MayEnd();
  Trace(classes.back(), "| " + text);
}

void Course::Timing(Op operation, const char* text) {
  if (m_timed) {
    Call(operation);
    Notice(text);
  }
}

void Course::Gives(std::string& output, const std::string& text) {
  MayEnd();
  output = text;
}

void Course::Repeat(const Recording& recording, const std::vector<std::string>& outputsOnTheWay) {
  outputs = recording.outputs;
  const auto mayEnd = [&] {
    for (const std::string& text : outputsOnTheWay) {
      outputs = {text};
      MayEnd();
    }
    outputs = recording.outputs;
    MayEnd();
  };
  const bool hasFrame = !recording.steps.empty() && recording.steps.back().ends_with(" <");
  const auto end = recording.steps.end() - (hasFrame ? 2 : 0); // without exit and the end of the method
  try {
    for (auto step = recording.steps.begin(); step != end; ++step) {
      mayEnd();
      log.push_back(*step);
    }
    mayEnd();
    outcome = recording.outcome;
  } catch (const Exception& exception) {
    Outcome(exception.name);
  }
  log.insert(log.end(), end, recording.steps.end());
}

std::vector<std::string> Course::LivingObjects() const {
  std::vector<std::string> alive;
  const auto add = [&alive](bool isAlive, const char* name) {
    if (isAlive) {
      alive.emplace_back(name);
    }
  };
  add(kept.heldInput, "inputSourceId1");
  add(kept.heldOutput, "outputSource");
  add(kept.ppFactory, "ppFactory");
  add(kept.sax2Factory, "sax2Factory");
  add(kept.transformer, "transformer");
  add(kept.xslFactory, "xslFactory");
  add(kept.xslSource, "xslSourceId1");
  return alive;
}

Frame::Frame(Course& course, const std::string& className, const std::string& signature) : m_course(course) {
  m_course.MayEnd();
  m_course.classes.push_back(className);
  if (m_course.IsTraced()) {
    m_course.Trace(className, "> long __cdecl " + className + "::" + signature);
    m_course.Trace(className, "entry");
  }
}

Frame::~Frame() {
  if (m_course.IsTraced()) {
    m_course.Trace(m_course.classes.back(), "exit");
    m_course.Trace(m_course.classes.back(), "<");
  }
  m_course.classes.pop_back();
}

long Frame::Result(long code) {
  m_course.Label("rc = " + scripted::codeName(code));
  return code;
}

} // namespace fault
