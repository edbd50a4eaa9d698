#include "PLMCfgInTraceClass.h"

#include "ZEPEnvironment.h"
#include "ZEPTraceObserver.h"
#include "ZEPTraceSink_spdlog.h"
#include "ZEPTraceSwitch.h"
#include "ZEPTraceText.h"
#include "ZEPUTF8Conversion.h"
#include "ZEPUnicodeString.h"

#include <atomic>
#include <cerrno>
#include <charconv>
#include <cstdint>
#include <cstdlib>
#include <exception>
#include <mutex>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include <pthread.h>
#include <unistd.h>

namespace {

using ObjectId = std::uint64_t;

constexpr std::size_t kDeepestCall = 256;
constexpr std::size_t kLongestKeptText = std::size_t{64} << 10;

// What the environment asks for, and where the records go.
struct TraceSession {
  zep::TraceSwitch wanted;
  bool showsSecrets = false;
  zep::TraceForm form = zep::TraceForm::Columns;
  std::shared_ptr<zep::TraceSink> sink; // null where nothing is wanted or can be written

  bool Writes() const { return sink != nullptr; }
};

// A record or a call belongs to the object that it was made on, told by a number and not by its
// address: another object may come to live there.
struct OpenRecord {
  bool open = false;
  ObjectId owner = 0;
  std::string text;
};

struct Call {
  ObjectId owner;
  std::string signature;
};

struct ThreadState {
  OpenRecord record;
  std::vector<Call> calls;
  std::string line; // of a record that is written; here for its memory alone
  pid_t number = 0; // the system's, 0 until it was asked
  bool observing = false;
};

// All of these can be used before this file's own initialisation and after its destruction, since
// trace objects of other files live that long.
constinit std::once_flag sessionOnce;
constinit std::atomic<const TraceSession*> session = nullptr;
constinit std::atomic<bool> sessionGone = false;
constinit std::once_flag forkHandlersOnce;
constinit std::mutex observerMutex;
constinit std::atomic<ZEPTraceObserver> observer = nullptr;
constinit void* observerContext = nullptr;           // under observerMutex
constinit zep::TraceSink* sinkHeldForFork = nullptr; // under observerMutex
constinit std::atomic<bool> observerWantsDetails = false;
constinit std::atomic<bool> anyWanted = true; // or not known yet
constinit thread_local ThreadState* threadState = nullptr;

const struct SessionRelease {
  ~SessionRelease() {
    sessionGone = true;
    delete session.exchange(nullptr);
  }
} sessionRelease;

struct ThreadStateRelease {
  ~ThreadStateRelease() { delete std::exchange(threadState, nullptr); }
};

// A trace that lacks memory, or whatever else, is a trace that is dropped.
template <typename Action>
void Quietly(Action action) {
  const int error = errno;
  try {
    action();
  } catch (const std::exception&) {}
  errno = error;
}

const char* TextOf(const char* text) {
  return text != nullptr ? text : "";
}

// Around a fork, so that no child inherits a mutex that a thread of its parent held.
void HoldForFork() {
  observerMutex.lock();
  if (const TraceSession* current = session.load(); current != nullptr && current->sink) {
    sinkHeldForFork = current->sink.get();
    sinkHeldForFork->HoldForFork();
  }
}

void ReleaseAfterFork() {
  if (zep::TraceSink* held = std::exchange(sinkHeldForFork, nullptr)) {
    held->ReleaseAfterFork();
  }
  observerMutex.unlock();
}

void ReleaseInChild() {
  if (threadState != nullptr) {
    threadState->number = 0; // the child's thread has another
  }
  ReleaseAfterFork();
}

void RegisterForkHandlers() {
  std::call_once(forkHandlersOnce, [] { pthread_atfork(HoldForFork, ReleaseAfterFork, ReleaseInChild); });
}

std::unique_ptr<TraceSession> MakeSession() {
  auto made = std::make_unique<TraceSession>();
  made->wanted = zep::ParseTraceSwitch(TextOf(std::getenv("ZEP_TRACE")));
  made->showsSecrets = std::string_view(TextOf(std::getenv("ZEP_TRACE_SECRETS"))) == "1";
  if (made->wanted.on) {
    const char* const path = TextOf(std::getenv("ZEP_TRACE_FILE"));
    made->form = zep::TraceFormFor(TextOf(std::getenv("ZEP_TRACE_FORMAT")), path);
    made->sink = zep::OpenTraceSink(path, made->form);
  }
  return made;
}

// Whoever finds that no records are wanted looks again behind that: an observer that comes at the
// same time either sees what was set here, or is seen here.
void NoteWhetherAnyAreWanted(const TraceSession* made) {
  const auto areWanted = [made] { return observerWantsDetails.load() || made == nullptr || made->Writes(); };
  anyWanted = areWanted();
  if (areWanted()) {
    anyWanted = true;
  }
}

// Null where the process is about to end, or where there was no memory for it.
const TraceSession* Session() {
  const TraceSession* current = session.load(std::memory_order_acquire);
  if (current == nullptr && !sessionGone) {
    Quietly([] {
      std::call_once(sessionOnce, [] {
        RegisterForkHandlers();
        session.store(MakeSession().release(), std::memory_order_release);
        NoteWhetherAnyAreWanted(session.load());
      });
    });
    current = session.load(std::memory_order_acquire);
  }
  return current;
}

ThreadState& State() {
  if (threadState == nullptr) {
    threadState = new ThreadState;
    static thread_local const ThreadStateRelease release;
    static_cast<void>(release);
  }
  return *threadState;
}

OpenRecord* RecordOf(ObjectId owner) {
  return threadState != nullptr && threadState->record.open && threadState->record.owner == owner
             ? &threadState->record
             : nullptr;
}

// The state's call that this object's method name comes from, or the end.
auto FindCall(std::vector<Call>& calls, ObjectId owner) {
  auto at = calls.end();
  while (at != calls.begin()) {
    if ((--at)->owner == owner) {
      return at;
    }
  }
  return calls.end();
}

// Forgets the text, but keeps its memory for the next one unless that is much.
void Clear(std::string& text) {
  if (text.capacity() > kLongestKeptText) {
    std::string().swap(text);
  } else {
    text.clear();
  }
}

void Close(OpenRecord& record) {
  record.open = false;
  Clear(record.text);
}

// The text of a record that is closed with it. Until it is given back, the record is a new one: the observer
// may write others.
class ClosedText {
public:
  explicit ClosedText(OpenRecord& record) : m_record(record), text(std::exchange(record.text, {})) {
    record.open = false;
  }
  ~ClosedText() {
    if (!m_record.open) {
      text.swap(m_record.text);
      Close(m_record);
    }
  }
  ClosedText(const ClosedText&) = delete;
  ClosedText& operator=(const ClosedText&) = delete;

private:
  OpenRecord& m_record;

public:
  std::string text;
};

bool ShowsSecrets() {
  const TraceSession* current = Session();
  return current != nullptr && current->showsSecrets;
}

// Hands the record to the observer, unless it comes from the observer itself.
void Observe(ThreadState& state, const ZEPTraceRecord& record) {
  if (observer.load() == nullptr || state.observing) {
    return;
  }
  const std::lock_guard lock(observerMutex);
  if (const ZEPTraceObserver current = observer.load()) {
    state.observing = true;
    current(record, observerContext);
    state.observing = false;
  }
}

// The entry and the exit of a call stand one step further left than what happens inside it.
std::size_t NestingOf(const ThreadState& state, int level) {
  const std::size_t depth = state.calls.size();
  return level != 0 && depth > 0 ? depth - 1 : depth;
}

bool IsWritten(const TraceSession& current, const ZEPTraceRecord& record, std::string_view text) {
  return current.wanted.Selects(record.className, record.traceGroup) || zep::IsErrorText(text) ||
         (current.wanted.performance && zep::IsPerfoText(text));
}

pid_t NumberOf(ThreadState& state) {
  if (state.number == 0) {
    state.number = ::gettid();
  }
  return state.number;
}

void Emit(ThreadState& state, const ZEPTraceRecord& record, std::string_view text) {
  Observe(state, record);
  const TraceSession* current = Session();
  if (current != nullptr && current->Writes() && IsWritten(*current, record, text)) {
    const long process = current->form == zep::TraceForm::JSON ? ::getpid() : 0; // no column shows it
    const zep::TraceOrigin origin{process, NumberOf(state), NestingOf(state, record.level)};
    Clear(state.line);
    zep::AppendTraceRecord(state.line, current->form, record, text, origin);
    current->sink->log({"zep", spdlog::level::info, state.line});
  }
}

} // namespace

struct PLMCfgInTraceClass::Implementation {
  const std::string className;
  const std::string traceGroup;
  const ObjectId id;

  template <typename Number>
  void AppendNumber(Number number);
  void AppendText(std::string_view text);
};

void PLMCfgInTraceClass::Implementation::AppendText(std::string_view text) {
  if (OpenRecord* record = RecordOf(id)) {
    Quietly([&] { record->text.append(text); });
  }
}

template <typename Number>
void PLMCfgInTraceClass::Implementation::AppendNumber(Number number) {
  char digits[24];
  const auto end = std::to_chars(std::begin(digits), std::end(digits), number).ptr;
  AppendText(std::string_view(digits, static_cast<std::size_t>(end - digits)));
}

PLMCfgInTraceClass::PLMCfgInTraceClass(const char* iClassName, const char* iTraceGroup) {
  static constinit std::atomic<ObjectId> lastId = 0;
  m_implementation = new Implementation{TextOf(iClassName), TextOf(iTraceGroup), ++lastId};
  m_anyWanted = &anyWanted;
}

PLMCfgInTraceClass::~PLMCfgInTraceClass() {
  if (threadState != nullptr) {
    std::erase_if(threadState->calls,
                  [this](const Call& call) { return call.owner == m_implementation->id; });
  }
  delete m_implementation;
}

unsigned char PLMCfgInTraceClass::IsThisActivated() {
  if (observerWantsDetails.load(std::memory_order_relaxed)) {
    return 1;
  }
  const TraceSession* current = Session();
  return current != nullptr && current->Writes() &&
                 current->wanted.Selects(m_implementation->className, m_implementation->traceGroup)
             ? 1
             : 0;
}

unsigned char PLMCfgInTraceClass::IsPerfoActivated() {
  const TraceSession* current = Session();
  return current != nullptr && current->Writes() && current->wanted.performance ? 1 : 0;
}

void PLMCfgInTraceClass::SetMethod(char* iSignature) {
  Quietly([&] {
    auto& calls = State().calls;
    if (calls.size() == kDeepestCall) {
      calls.erase(calls.begin());
    }
    calls.push_back({m_implementation->id, TextOf(iSignature)});
  });
}

void PLMCfgInTraceClass::RemoveMethod() {
  if (threadState == nullptr) {
    return;
  }
  auto& calls = threadState->calls;
  if (const auto call = FindCall(calls, m_implementation->id); call != calls.end()) {
    calls.erase(call, calls.end());
  }
}

PLMCfgInTraceClass& PLMCfgInTraceClass::beginTrace(int /*iLevel*/) {
  Quietly([this] {
    if (threadState != nullptr) {
      Close(threadState->record);
    }
    const TraceSession* current = Session();
    if (observer.load() != nullptr || (current != nullptr && current->Writes())) {
      State().record.open = true;
      State().record.owner = m_implementation->id;
    }
  });
  return *this;
}

PLMCfgInTraceClass& PLMCfgInTraceClass::operator<<(const char* iText) {
  m_implementation->AppendText(TextOf(iText));
  return *this;
}

PLMCfgInTraceClass& PLMCfgInTraceClass::operator<<(int iNumber) {
  m_implementation->AppendNumber(iNumber);
  return *this;
}

PLMCfgInTraceClass& PLMCfgInTraceClass::operator<<(long iNumber) {
  m_implementation->AppendNumber(iNumber);
  return *this;
}

PLMCfgInTraceClass& PLMCfgInTraceClass::operator<<(unsigned int iNumber) {
  m_implementation->AppendNumber(iNumber);
  return *this;
}

PLMCfgInTraceClass& PLMCfgInTraceClass::operator<<(const ZEPUnicodeString& iText) {
  if (RecordOf(m_implementation->id) != nullptr) {
    Quietly([&] {
      const ZEPUTF8Conversion utf8(iText);
      m_implementation->AppendText(std::string_view(utf8.Bytes(), utf8.ByteCount()));
    });
  }
  return *this;
}

PLMCfgInTraceClass& PLMCfgInTraceClass::endTraceWithLineNumber(int iLevel, int iLine, const char* iFile) {
  if (RecordOf(m_implementation->id) == nullptr) {
    return *this;
  }
  Quietly([&] {
    ThreadState& state = State();
    ClosedText closed(state.record);
    std::string& text = closed.text;
    if (!ShowsSecrets()) {
      zep::CoverSecrets(text, TextOf(ZEPGetEnv("ZEP_CONTEXT")));
    }
    const auto call = FindCall(state.calls, m_implementation->id);
    Emit(state,
         {.className = m_implementation->className.c_str(),
          .traceGroup = m_implementation->traceGroup.c_str(),
          .method = call != state.calls.end() ? call->signature.c_str() : "",
          .level = iLevel,
          .line = iLine,
          .file = iFile,
          .text = text.c_str()},
         text);
  });
  return *this;
}

const char* PLMCfgInTraceClass::GetError() {
  return zep::kTraceError;
}

const char* PLMCfgInTraceClass::GetErrorIndent() {
  return zep::kTraceErrorIndent;
}

void ZEPSetTraceObserver(ZEPTraceObserver newObserver, void* context, bool wantsDetails) {
  RegisterForkHandlers();
  std::unique_lock lock(observerMutex, std::defer_lock);
  // The observer itself may be the one who replaces it; its thread holds the mutex already.
  if (threadState == nullptr || !threadState->observing) {
    lock.lock();
  }
  observer = newObserver;
  observerContext = context;
  observerWantsDetails = newObserver != nullptr && wantsDetails;
  NoteWhetherAnyAreWanted(session.load());
}
