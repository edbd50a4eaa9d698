#include "PLMCfgInTraceClass.h"
#include "ScriptedState.h"

#include <atomic>
#include <map>
#include <thread>

using namespace scripted;

namespace {

const char errorPrefix[] = "<ERROR>";
const char errorIndent[] = "<INDENT> ";

constexpr int detailLevel = 0;
constexpr int entryLevel = 1;
constexpr int exitLevel = 2;

// Each query is to be seen here.
constinit const std::atomic<bool> alwaysAsk = true;

// What became of the trace objects outlives every reset.
std::vector<std::string>& traceObjectEvents() {
  static auto* const events = new std::vector<std::string>;
  return *events;
}

std::string shownKind(const TraceRecord& record) {
  if (record.level == entryLevel && record.text.empty()) {
    return "entry";
  }
  if (record.level == exitLevel && record.text.empty()) {
    return "exit";
  }
  const std::string level = record.level == detailLevel ? "" : "level " + std::to_string(record.level) + " ";
  return level + "| " + escaped(record.text);
}

std::string shownDeviations(const TraceRecord& record) {
  std::optional<std::string> usualFile;
  if (record.level != exitLevel) {
    usualFile = record.className + ".cpp";
  }
  std::string deviations;
  if (record.file != usualFile) {
    deviations += " {file " + record.file.value_or("null") + "}";
  }
  if (record.endLevel != record.level) {
    deviations += " {ended with level " + std::to_string(record.endLevel) + "}";
  }
  if (record.line <= 0) {
    deviations += " {line " + std::to_string(record.line) + "}";
  }
  return deviations;
}

std::string described(const TraceRecord& record) {
  return record.className + " " + shownKind(record) + " at line " + std::to_string(record.line);
}

} // namespace

namespace scripted {

std::string ScriptedPlatform::traceObjects() const {
  const Lock lock(m_state->mutex);
  std::string lines;
  for (const std::string& event : traceObjectEvents()) {
    lines += event + "\n";
  }
  return lines;
}

void ScriptedPlatform::forgetTraceObjects() {
  const Lock lock(m_state->mutex);
  traceObjectEvents().clear();
}

std::string entryProblems(const std::vector<TraceRecord>& records) {
  std::map<std::pair<std::string, std::thread::id>, std::vector<int>> entered;
  std::string problems;
  for (const TraceRecord& record : records) {
    std::vector<int>& lines = entered[{record.className, record.thread}];
    if (record.level == entryLevel) {
      lines.push_back(record.line);
    } else if (record.level == exitLevel) {
      if (lines.empty()) {
        problems += described(record) + " without an entry\n";
        continue;
      }
      if (lines.back() != record.line) {
        problems += described(record) + " for an entry at line " + std::to_string(lines.back()) + "\n";
      }
      lines.pop_back();
    }
  }
  for (const auto& [key, lines] : entered) {
    for (const int line : lines) {
      problems += key.first + " entry at line " + std::to_string(line) + " without an exit\n";
    }
  }
  return problems;
}

std::string errorProblems(const std::vector<TraceRecord>& records) {
  std::map<std::thread::id, const TraceRecord*> prefixes;
  std::string problems;
  for (const TraceRecord& record : records) {
    const TraceRecord*& prefix = prefixes[record.thread];
    const bool isMessage = record.text.starts_with(errorIndent);
    if (prefix != nullptr) {
      if (!isMessage) {
        problems += described(*prefix) + " without a message behind it\n";
      } else if (prefix->className != record.className || prefix->line != record.line ||
                 prefix->level != record.level || prefix->file != record.file) {
        problems += described(record) + " does not belong to the prefix at line " +
                    std::to_string(prefix->line) + "\n";
      }
    } else if (isMessage) {
      problems += described(record) + " without the prefix before it\n";
    }
    prefix = record.text == errorPrefix ? &record : nullptr;
  }
  for (const auto& [thread, prefix] : prefixes) {
    if (prefix != nullptr) {
      problems += described(*prefix) + " without a message behind it\n";
    }
  }
  return problems;
}

} // namespace scripted

struct PLMCfgInTraceClass::Implementation {
  std::string className;
  std::string traceGroup;
  std::string method;
  int asked = 0;
  int perfoAsked = 0;
  std::map<std::thread::id, TraceRecord> open;

  void NoteEvent(char sign) const {
    traceObjectEvents().push_back(sign + className + "(" + traceGroup + ")");
  }

  void ForgetQueries() {
    asked = 0;
    perfoAsked = 0;
  }

  void Append(const std::string& text) {
    const Lock lock(State::Get().mutex);
    const auto record = open.find(std::this_thread::get_id());
    if (record == open.end()) {
      reportMisuse(className + ": text without an open record: " + text);
      return;
    }
    record->second.text += text;
  }
};

PLMCfgInTraceClass::PLMCfgInTraceClass(const char* iClassName, const char* iTraceGroup)
    : m_implementation(new Implementation),
      m_anyWanted(&alwaysAsk) {
  const Lock lock(State::Get().mutex);
  m_implementation->className = iClassName;
  m_implementation->traceGroup = iTraceGroup;
  m_implementation->NoteEvent('+');
}

PLMCfgInTraceClass::~PLMCfgInTraceClass() {
  const Lock lock(State::Get().mutex);
  m_implementation->NoteEvent('-');
  for (const auto& [thread, record] : m_implementation->open) {
    std::erase(State::Get().openRecords, &record);
    reportMisuse(record.className + ": destroyed with an open record: " + record.text);
  }
  delete m_implementation;
}

unsigned char PLMCfgInTraceClass::IsThisActivated() {
  const Bookkeeping bookkeeping;
  State& state = State::Get();
  std::function<bool(int)> wanted;
  int query = 0;
  bool isOn = false;
  {
    const Lock lock(state.mutex);
    ++m_implementation->asked;
    query = ++state.activatedQueries;
    wanted = state.traceWanted;
    isOn = state.traceIsOn;
  }
  return (wanted ? wanted(query) : isOn) ? 1 : 0;
}

unsigned char PLMCfgInTraceClass::IsPerfoActivated() {
  const Bookkeeping bookkeeping;
  State& state = State::Get();
  const Lock lock(state.mutex);
  ++m_implementation->perfoAsked;
  return state.perfoIsOn ? 1 : 0;
}

void PLMCfgInTraceClass::SetMethod(char* iSignature) {
  const Bookkeeping bookkeeping;
  State& state = State::Get();
  const Lock lock(state.mutex);
  m_implementation->method = iSignature;
  m_implementation->ForgetQueries();
  ++state.openMethods[m_implementation->className];
  logTraceLine(m_implementation->className, "> " + m_implementation->method);
}

void PLMCfgInTraceClass::RemoveMethod() {
  const Bookkeeping bookkeeping;
  State& state = State::Get();
  const Lock lock(state.mutex);
  m_implementation->method.clear();
  m_implementation->ForgetQueries();
  --state.openMethods[m_implementation->className];
  logTraceLine(m_implementation->className, "<");
}

PLMCfgInTraceClass& PLMCfgInTraceClass::beginTrace(int iLevel) {
  const Bookkeeping bookkeeping;
  State& state = State::Get();
  const Lock lock(state.mutex);
  TraceRecord record;
  record.className = m_implementation->className;
  record.level = iLevel;
  record.method = m_implementation->method;
  record.asked = m_implementation->asked;
  record.perfoAsked = m_implementation->perfoAsked;
  record.thread = std::this_thread::get_id();
  m_implementation->ForgetQueries();
  const auto [open, isNew] = m_implementation->open.insert_or_assign(record.thread, record);
  if (isNew) {
    state.openRecords.push_back(&open->second);
  } else {
    reportMisuse(record.className + ": a record begun before the last one was ended");
  }
  return *this;
}

PLMCfgInTraceClass& PLMCfgInTraceClass::operator<<(const char* iText) {
  const Bookkeeping bookkeeping;
  m_implementation->Append(iText == nullptr ? "(null)" : iText);
  return *this;
}

PLMCfgInTraceClass& PLMCfgInTraceClass::operator<<(int iNumber) {
  const Bookkeeping bookkeeping;
  m_implementation->Append(std::to_string(iNumber));
  return *this;
}

PLMCfgInTraceClass& PLMCfgInTraceClass::operator<<(long iNumber) {
  const Bookkeeping bookkeeping;
  m_implementation->Append(std::to_string(iNumber));
  return *this;
}

PLMCfgInTraceClass& PLMCfgInTraceClass::operator<<(unsigned int iNumber) {
  const Bookkeeping bookkeeping;
  m_implementation->Append(std::to_string(iNumber));
  return *this;
}

PLMCfgInTraceClass& PLMCfgInTraceClass::operator<<(const ZEPUnicodeString& iText) {
  const Bookkeeping bookkeeping;
  m_implementation->Append(utf8Of(iText));
  return *this;
}

PLMCfgInTraceClass& PLMCfgInTraceClass::endTraceWithLineNumber(int iLevel, int iLine, const char* iFile) {
  const Bookkeeping bookkeeping;
  State& state = State::Get();
  const Lock lock(state.mutex);
  const auto open = m_implementation->open.find(std::this_thread::get_id());
  if (open == m_implementation->open.end()) {
    reportMisuse(m_implementation->className + ": a record ended that was not begun");
    return *this;
  }
  std::erase(state.openRecords, &open->second);
  TraceRecord record = open->second;
  m_implementation->open.erase(open);
  record.endLevel = iLevel;
  record.line = iLine;
  if (iFile != nullptr) {
    record.file = iFile;
  }
  logTraceLine(record.className, shownKind(record) + shownDeviations(record));
  state.records.push_back(std::move(record));
  return *this;
}

const char* PLMCfgInTraceClass::GetError() {
  return errorPrefix;
}

const char* PLMCfgInTraceClass::GetErrorIndent() {
  return errorIndent;
}
