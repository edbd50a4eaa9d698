#include "ScriptedPlatform.h"

#include "ScriptedState.h"
#include "ZEPOmxAnyValue.h"
#include "ZEPTranscoding.h"
#include "valueToMacro.h"

#include <algorithm>
#include <array>
#include <cstdio>
#include <cstring>

namespace scripted {

// ---- names and texts ----

const char* nameOf(Op operation) {
  static constexpr const char* names[] = {
#define SCRIPTED_NAME(name, text) text,
      SCRIPTED_OPERATIONS(SCRIPTED_NAME)
#undef SCRIPTED_NAME
  };
  return names[static_cast<int>(operation)];
}

std::string codeName(long code) {
  const auto name = valueToMacro.find(code);
  return name == valueToMacro.end() ? std::to_string(code) : name->second;
}

namespace {

bool isControl(char character) {
  return static_cast<unsigned char>(character) < 0x20 || character == 0x7F;
}

std::string escapedControl(char character) {
  switch (character) {
  case '\n':
    return "\\n";
  case '\r':
    return "\\r";
  case '\t':
    return "\\t";
  default: {
    std::array<char, 8> text{};
    std::snprintf(text.data(), text.size(), "\\x%02X", static_cast<unsigned char>(character));
    return text.data();
  }
  }
}

bool standsAsItIs(const std::string& text) {
  return !text.empty() && text != "null" && text.front() != ' ' && text.back() != ' ' &&
         text.find_first_of(",\"") == std::string::npos && std::none_of(text.begin(), text.end(), isControl);
}

} // namespace

std::string escaped(const std::string& text) {
  std::string result;
  for (const char character : text) {
    result += isControl(character) ? escapedControl(character) : std::string(1, character);
  }
  return result;
}

std::string shown(const std::string& text) {
  if (standsAsItIs(text)) {
    return text;
  }
  std::string result = "\"";
  for (const char character : text) {
    if (character == '"' || character == '\\') {
      result += '\\';
    }
    result += isControl(character) ? escapedControl(character) : std::string(1, character);
  }
  return result + "\"";
}

std::string shown(const ZEPUnicodeString& text) {
  return shown(utf8Of(text));
}

std::string shown(const char* text) {
  return text == nullptr ? "null" : shown(std::string(text));
}

std::string hex(unsigned long number) {
  std::array<char, 24> text{};
  std::snprintf(text.data(), text.size(), "0x%lX", number);
  return text.data();
}

std::string utf8Of(const ZEPUnicodeString& text) {
  return zep::UTF8FromUTF16(text.CastToUnitPtr(), static_cast<std::size_t>(text.GetLengthInChar()));
}

ZEPUnicodeString textOf(const std::string& utf8) {
  ZEPUnicodeString text;
  text.BuildFromUTF8(utf8.data(), utf8.size());
  return text;
}

// ---- builders ----

ZEPOmxAny jsonObject(const Members& members) {
  ZEPOmxAny::Value::Object object;
  for (const auto& [key, value] : members) {
    object.emplace_back(ZEPOmxKeyString(key.data(), key.size()), value);
  }
  return ZEPMakeOmxAny(std::move(object));
}

ZEPOmxAny jsonText(const std::string& utf8) {
  return ZEPMakeOmxText(utf8);
}

ZEPOmxAny jsonOther() {
  return ZEPMakeOmxAny(true);
}

std::string utf16WithMark(const std::string& utf8) {
  const std::u16string units = u"\uFEFF" + zep::UTF16FromUTF8(utf8.data(), utf8.size());
  std::string bytes(units.size() * sizeof(char16_t), '\0');
  std::memcpy(bytes.data(), units.data(), bytes.size());
  return bytes;
}

// ---- injections ----

ScriptedException::ScriptedException(std::string text) : m_text(std::move(text)) {}
ScriptedException::~ScriptedException() = default;

const char* ScriptedException::what() const noexcept {
  return m_text.c_str();
}

Injection& Injection::at(int nth) {
  m_first = nth;
  m_last = nth;
  return *this;
}

Injection& Injection::from(int nth) {
  m_first = nth;
  m_last = 0;
  return *this;
}

// ---- calls ----

namespace {

constinit thread_local int bookkeepingDepth = 0;

} // namespace

Bookkeeping::Bookkeeping() {
  ++bookkeepingDepth;
}

Bookkeeping::~Bookkeeping() {
  --bookkeepingDepth;
}

bool isBookkeeping() {
  return bookkeepingDepth > 0;
}

State& State::Get() {
  return *script().m_state;
}

void Call::Begin(Op operation, const std::string& arguments) {
  State& state = State::Get();
  std::vector<std::function<void()>> callbacks;
  {
    const Lock lock(state.mutex);
    ++state.counts[operation];
    logLine(std::string(nameOf(operation)) + "(" + arguments + ")");
    callbacks = state.callbacks[operation];
  }
  for (const auto& callback : callbacks) {
    callback();
  }

  const Lock lock(state.mutex);
  Injection* applying = nullptr;
  for (Injection& injection : state.injections) {
    if (injection.m_operation != operation) {
      continue;
    }
    ++injection.m_seen;
    if (injection.m_seen >= injection.m_first &&
        (injection.m_last == 0 || injection.m_seen <= injection.m_last)) {
      applying = &injection;
    }
  }
  if (applying == nullptr) {
    return;
  }
  ++applying->m_consumed;
  switch (applying->m_kind) {
  case Injection::Kind::Throw:
    std::rethrow_exception(applying->m_exception);
  case Injection::Kind::Fail:
    m_kind = Kind::Fail;
    break;
  case Injection::Kind::Return:
    m_kind = Kind::Return;
    break;
  case Injection::Kind::Empty:
    m_kind = Kind::Empty;
    break;
  }
  m_code = applying->m_code;
}

void logLine(std::string text) {
  State& state = State::Get();
  const Lock lock(state.mutex);
  state.log.push_back({std::move(text), false, {}});
}

void logTraceLine(const std::string& className, const std::string& text) {
  State& state = State::Get();
  const Lock lock(state.mutex);
  state.log.push_back({text, true, className});
}

void reportMisuse(std::string what) {
  State& state = State::Get();
  const Lock lock(state.mutex);
  state.misuse.push_back(std::move(what));
}

LiveObject::LiveObject(std::string name) : m_name(std::move(name)) {
  State& state = State::Get();
  const Lock lock(state.mutex);
  state.alive.push_back(this);
}

LiveObject::~LiveObject() {
  const Bookkeeping bookkeeping;
  State& state = State::Get();
  const Lock lock(state.mutex);
  // An object that an earlier test left behind is no longer in the list, nor in the log.
  const auto at = std::find(state.alive.begin(), state.alive.end(), this);
  if (at != state.alive.end()) {
    state.alive.erase(at);
    logLine("~" + m_name);
  }
}

// ---- the script ----

Inputs::Inputs() : json(jsonObject({{"xslt", jsonObject({{"content", jsonText("server stylesheet")}})}})) {}
Inputs::Inputs(const Inputs&) = default;
Inputs& Inputs::operator=(const Inputs&) = default;
Inputs::~Inputs() = default;

ScriptedPlatform::ScriptedPlatform() : m_state(std::make_unique<State>()) {}
ScriptedPlatform::~ScriptedPlatform() = default;

ScriptedPlatform& script() {
  // Never destroyed: trace objects write to it while the process ends.
  static ScriptedPlatform* const theScript = new ScriptedPlatform;
  return *theScript;
}

void ScriptedPlatform::reset() {
  const Lock lock(m_state->mutex);
  static_cast<Inputs&>(*this) = Inputs();
  m_state->injections.clear();
  m_state->callbacks.clear();
  m_state->answers.clear();
  clearLog();
  traceOff();
  m_state->perfoIsOn = false;
  m_state->alive.clear();
  m_state->openFiles.clear();
  m_state->openRecords.clear();
  m_state->openMethods.clear();
  m_state->misuse.clear();
  m_state->openFileAllowed = false;
  m_state->unbalancedMethodsAllowed = false;
  m_state->liveObjectsAllowed = false;
  m_state->unusedAllowed = false;
  forgetBuffers();
}

namespace {

const char* const kindNames[] = {"fail", "returns", "giveEmpty", "throwIn"};

template <class Range, class Text>
std::string linesOf(const Range& range, Text text) {
  std::string lines;
  for (const auto& element : range) {
    lines += text(element) + "\n";
  }
  return lines;
}

std::string lineText(const LogLine& line) {
  return line.isTrace ? line.className + " " + line.text : line.text;
}

} // namespace

std::string ScriptedPlatform::Unconsumed() const {
  std::string found;
  for (const Injection& injection : m_state->injections) {
    if (injection.m_consumed == 0) {
      found += std::string("no call consumed ") + kindNames[static_cast<int>(injection.m_kind)] + "(" +
               nameOf(injection.m_operation) + ")\n";
    }
  }
  return found;
}

std::string ScriptedPlatform::endInjections() {
  const Lock lock(m_state->mutex);
  std::string unconsumed = Unconsumed();
  m_state->injections.clear();
  return unconsumed;
}

std::string ScriptedPlatform::problems() const {
  const Lock lock(m_state->mutex);
  std::string found = m_state->unusedAllowed ? "" : Unconsumed();
  for (const QueuedAnswer& answer : m_state->answers) {
    if (!m_state->unusedAllowed) {
      found += "no request fetched the answer " + std::to_string(answer.status) + "\n";
    }
  }
  if (!m_state->liveObjectsAllowed) {
    found += linesOf(m_state->alive, [](const LiveObject* object) { return "alive: " + object->Name(); });
  }
  if (!m_state->openFileAllowed) {
    found += linesOf(m_state->openFiles,
                     [](unsigned int descriptor) { return "open file: " + std::to_string(descriptor); });
  }
  found += bufferProblems();
  found += linesOf(m_state->openRecords, [](const TraceRecord* record) {
    return record->className + ": a record left open: " + record->text;
  });
  for (const auto& [className, open] : m_state->openMethods) {
    if (open != 0 && !m_state->unbalancedMethodsAllowed) {
      found += className + ": SetMethod less RemoveMethod is " + std::to_string(open) + "\n";
    }
  }
  found += linesOf(m_state->misuse, [](const std::string& what) { return what; });
  if (!m_state->unbalancedMethodsAllowed) {
    found += entryProblems(m_state->records);
  }
  return found + errorProblems(m_state->records);
}

Injection& ScriptedPlatform::Inject(Op operation, Injection::Kind kind, long code) {
  const Lock lock(m_state->mutex);
  Injection& injection = m_state->injections.emplace_back();
  injection.m_operation = operation;
  injection.m_kind = kind;
  injection.m_code = code;
  return injection;
}

Injection& ScriptedPlatform::fail(Op operation, long code) {
  return Inject(operation, Injection::Kind::Fail, code);
}

Injection& ScriptedPlatform::returns(Op operation, long code) {
  return Inject(operation, Injection::Kind::Return, code);
}

Injection& ScriptedPlatform::giveEmpty(Op operation) {
  return Inject(operation, Injection::Kind::Empty, S_OK);
}

Injection& ScriptedPlatform::throwIn(Op operation) {
  return throwIn(operation, std::make_exception_ptr(ScriptedException(nameOf(operation))));
}

Injection& ScriptedPlatform::throwIn(Op operation, std::exception_ptr exception) {
  Injection& injection = Inject(operation, Injection::Kind::Throw, S_OK);
  injection.m_exception = std::move(exception);
  return injection;
}

void ScriptedPlatform::onCall(Op operation, std::function<void()> callback) {
  const Lock lock(m_state->mutex);
  m_state->callbacks[operation].push_back(std::move(callback));
}

namespace {

std::string statusLineOf(int status, std::string given) {
  return given.empty() ? "HTTP/1.1 " + std::to_string(status) + " Scripted" : std::move(given);
}

} // namespace

void ScriptedPlatform::answer(int status, std::string body, std::string statusLine) {
  const Lock lock(m_state->mutex);
  m_state->answers.push_back({status, statusLineOf(status, std::move(statusLine)), std::move(body)});
}

void ScriptedPlatform::answerWithoutBody(int status, std::string statusLine) {
  const Lock lock(m_state->mutex);
  m_state->answers.push_back({status, statusLineOf(status, std::move(statusLine)), std::nullopt});
}

void ScriptedPlatform::traceOn() {
  const Lock lock(m_state->mutex);
  m_state->traceIsOn = true;
  m_state->traceWanted = nullptr;
}

void ScriptedPlatform::traceOff() {
  const Lock lock(m_state->mutex);
  m_state->traceIsOn = false;
  m_state->traceWanted = nullptr;
}

void ScriptedPlatform::traceWhen(std::function<bool(int)> wanted) {
  const Lock lock(m_state->mutex);
  m_state->traceWanted = std::move(wanted);
}

void ScriptedPlatform::perfoOn() {
  const Lock lock(m_state->mutex);
  m_state->perfoIsOn = true;
}

std::string ScriptedPlatform::calls() const {
  const Lock lock(m_state->mutex);
  std::string lines;
  for (const LogLine& line : m_state->log) {
    lines += line.isTrace ? "" : line.text + "\n";
  }
  return lines;
}

std::string ScriptedPlatform::trace() const {
  const Lock lock(m_state->mutex);
  std::string lines;
  for (const LogLine& line : m_state->log) {
    lines += line.isTrace ? lineText(line) + "\n" : "";
  }
  return lines;
}

std::string ScriptedPlatform::log() const {
  const Lock lock(m_state->mutex);
  return linesOf(m_state->log, lineText);
}

std::string ScriptedPlatform::traceOf(const std::string& className) const {
  const Lock lock(m_state->mutex);
  std::string lines;
  for (const LogLine& line : m_state->log) {
    lines += line.isTrace && line.className == className ? line.text + "\n" : "";
  }
  return lines;
}

std::string ScriptedPlatform::linesWith(const std::string& part) const {
  const Lock lock(m_state->mutex);
  std::string lines;
  for (const LogLine& line : m_state->log) {
    const std::string text = lineText(line);
    lines += text.find(part) != std::string::npos ? text + "\n" : "";
  }
  return lines;
}

int ScriptedPlatform::count(Op operation) const {
  const Lock lock(m_state->mutex);
  const auto counted = m_state->counts.find(operation);
  return counted == m_state->counts.end() ? 0 : counted->second;
}

const std::vector<TraceRecord>& ScriptedPlatform::records() const {
  return m_state->records;
}

int ScriptedPlatform::activatedQueries() const {
  const Lock lock(m_state->mutex);
  return m_state->activatedQueries;
}

void ScriptedPlatform::clearLog() {
  const Lock lock(m_state->mutex);
  std::string broken = errorProblems(m_state->records);
  if (!m_state->unbalancedMethodsAllowed) {
    broken += entryProblems(m_state->records);
  }
  if (!broken.empty()) {
    m_state->misuse.push_back(std::move(broken));
  }
  m_state->log.clear();
  m_state->counts.clear();
  m_state->records.clear();
  m_state->activatedQueries = 0;
}

std::string ScriptedPlatform::liveObjects() const {
  const Lock lock(m_state->mutex);
  return linesOf(m_state->alive, [](const LiveObject* object) { return object->Name(); });
}

void ScriptedPlatform::allowOpenFile() {
  m_state->openFileAllowed = true;
}

void ScriptedPlatform::allowUnbalancedMethods() {
  m_state->unbalancedMethodsAllowed = true;
}

void ScriptedPlatform::allowLiveObjects() {
  m_state->liveObjectsAllowed = true;
}

void ScriptedPlatform::allowUnused() {
  m_state->unusedAllowed = true;
}

} // namespace scripted
