#pragma once

#include "ZEPHResult.h"
#include "ZEPOmxAny.h"
#include "ZEPPlatformExport.h"

#include <deque>
#include <exception>
#include <functional>
#include <initializer_list>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#if defined(__SANITIZE_ADDRESS__)
#define SCRIPTED_UNDER_ASAN 1
#elif defined(__has_feature)
#if __has_feature(address_sanitizer)
#define SCRIPTED_UNDER_ASAN 1
#endif
#endif

// The scripted platform: an implementation of the platform's declarations for tests. A test sets
// what the platform holds and answers, runs an operation of the library, and reads back what the
// library did. A test program that is linked with it (zep_add_test(... SCRIPTED)) looks like this:
//
//   #include "ConformanceTest.h"
//   using namespace scripted;
//
//   TEST_F(ConformanceTest, webCall_givesExecutesCode_whenExecuteFails) {
//     script().traceOn();
//     script().fail(Op::Execute, E_ABORT);
//     ZEPUnicodeString answer;
//     EXPECT_EQ(ZEPCfgWebServices::NewCallWebService("GET", "/path", "", answer), E_ABORT);
//     EXPECT_EQ(script().count(Op::Execute), 1);
//     EXPECT_EQ(script().linesWith("Execute failed"),
//               "ZEPCfgWebServices | <INDENT> ERROR: Execute failed\n");
//   }
//
// ConformanceTest resets the script before each test and fails a test that leaves something behind:
// an injection that no call consumed, a queued answer that was not fetched, a live object or
// buffer, an open file, an open trace record, an unbalanced method name.
//
// Calls are text, one line each: the operation and its inputs in order, then objects as they die.
//   CreateTransformer(xslSourceId1)
//   AddRequestHeaders("Accept: application/json\r\n", 0x40000000)
//   ~transformer
// A text argument stands as it is, or in quotes with escapes where it is empty, looks like
// something else, or holds a comma, a quote, outer blanks or control characters.
//
// Trace lines are exact and short, because what a record has to be is left out and only what
// deviates from it is shown, in braces behind the line:
//   ZEPCfgWebServices > long __cdecl ...    SetMethod
//   ZEPCfgWebServices entry                 level 1, no text, file ZEPCfgWebServices.cpp
//   ZEPCfgWebServices | rc = S_OK           level 0, that file
//   ZEPCfgWebServices exit                  level 2, no text, null file
//   ZEPCfgWebServices <                     RemoveMethod
//   ZEPCfgWebServices | text {file null} {ended with level 1} {line 0}
// Control characters in a text are shown as \n, \r, \xNN; records() has the text itself.
namespace scripted {

struct State; // the platform's own

// Every operation of the platform, and how it is named in the calls.
#define SCRIPTED_OPERATIONS(X)                                                                               \
  X(ZEPGetFileInfo, "ZEPGetFileInfo")                                                                        \
  X(ZEPFileStat, "ZEPFileStat")                                                                              \
  X(ZEPFOpen, "ZEPFOpen")                                                                                    \
  X(ZEPFEof, "ZEPFEof")                                                                                      \
  X(ZEPFGets, "ZEPFGets")                                                                                    \
  X(ZEPFClose, "ZEPFClose")                                                                                  \
  X(ZEPGetEnv, "ZEPGetEnv")                                                                                  \
  X(ZEPExpandString, "ZEPExpandString")                                                                      \
  X(QRLSysTSGetArg, "QRLSysTSGetArg")                                                                        \
  X(GetRepository, "GetRepository")                                                                          \
  X(ReadAttr, "ReadAttr")                                                                                    \
  X(ReleaseRepository, "ReleaseRepository")                                                                  \
  X(ZEPGetLastError, "ZEPGetLastError")                                                                      \
  X(GetMessageText, "GetMessageText")                                                                        \
  X(ReleaseError, "ReleaseError")                                                                            \
  X(ZEPCleanLastError, "ZEPCleanLastError")                                                                  \
  X(GetCurrentContext, "GetCurrentContext")                                                                  \
  X(GetBranchingVar, "GetBranchingVar")                                                                      \
  X(IsATSTProvider, "IsATSTProvider")                                                                        \
  X(ZEPCfgTracePerfo, "ZEPCfgTracePerfo")                                                                    \
  X(beginPerfo, "beginPerfo")                                                                                \
  X(endPerfo, "endPerfo")                                                                                    \
  X(CreateZEPIXMLSAX2Factory, "CreateZEPIXMLSAX2Factory")                                                    \
  X(CreateInputSourceFromFile, "CreateInputSourceFromFile")                                                  \
  X(CreateInputSourceFromMemoryBuffer, "CreateInputSourceFromMemoryBuffer")                                  \
  X(CreateZEPIXMLXSLFactory, "CreateZEPIXMLXSLFactory")                                                      \
  X(CreateTransformer, "CreateTransformer")                                                                  \
  X(CreateZEPIXMLPPFactory, "CreateZEPIXMLPPFactory")                                                        \
  X(CreateOutputSource, "CreateOutputSource")                                                                \
  X(SetInputSource, "SetInputSource")                                                                        \
  X(SetOption, "SetOption")                                                                                  \
  X(SetOutputSource, "SetOutputSource")                                                                      \
  X(SetParameter, "SetParameter")                                                                            \
  X(Transform, "Transform")                                                                                  \
  X(ZEPXMLPPMemoryBuffer, "ZEPXMLPPMemoryBuffer")                                                            \
  X(GetBuffer, "GetBuffer")                                                                                  \
  X(ZEPHttpClient, "ZEPHttpClient")                                                                          \
  X(OpenRequest, "OpenRequest")                                                                              \
  X(AddRequestHeaders, "AddRequestHeaders")                                                                  \
  X(SendRequest, "SendRequest")                                                                              \
  X(CloseRequest, "CloseRequest")                                                                            \
  X(GetResponseHeaders, "GetResponseHeaders")                                                                \
  X(Download, "Download")                                                                                    \
  X(DownloadEx, "DownloadEx")                                                                                \
  X(CreateStringEntity, "ZEPOmxHttpStringEntity::Create")                                                    \
  X(CreateHttpGet, "ZEPOmxHttpGet::Create")                                                                  \
  X(CreateHttpPut, "ZEPOmxHttpPut::Create")                                                                  \
  X(CreateHttpPost, "ZEPOmxHttpPost::Create")                                                                \
  X(AddHeader, "AddHeader")                                                                                  \
  X(SetServiceName, "SetServiceName")                                                                        \
  X(SetEntity, "SetEntity")                                                                                  \
  X(CreateHttpClient, "ZEPOmxDefaultHttpClient::Create")                                                     \
  X(Execute, "Execute")                                                                                      \
  X(GetStatusLine, "GetStatusLine")                                                                          \
  X(GetStatusCode, "GetStatusCode")                                                                          \
  X(StatusLineToString, "ZEPOmxHttpStatusLine::ToString")                                                    \
  X(GetEntity, "GetEntity")                                                                                  \
  X(GetContent, "GetContent")                                                                                \
  X(Read, "Read")                                                                                            \
  X(IOUtilsToString, "ZEPOmxIOUtils::ToString")                                                              \
  X(JsonParse, "ZEPOmxJson::parse")                                                                          \
  X(Extract, "Extract")                                                                                      \
  X(GetValue, "GetValue")                                                                                    \
  X(ZEPCfgXMLWriter, "ZEPCfgXMLWriter")                                                                      \
  X(WriteStartDocument, "WriteStartDocument")                                                                \
  X(WriteStartElement, "WriteStartElement")                                                                  \
  X(WriteCharacters, "WriteCharacters")                                                                      \
  X(WriteEndElement, "WriteEndElement")                                                                      \
  X(WriteEndDocument, "WriteEndDocument")                                                                    \
  X(GetGeneratedXML, "GetGeneratedXML")                                                                      \
  X(IsIncluding, "IsIncluding")                                                                              \
  X(IsPLMIDOfType, "IsPLMIDOfType")                                                                          \
  X(GetLogicalID, "GetLogicalID")                                                                            \
  X(GetPhysicalID, "GetPhysicalID")                                                                          \
  X(PLMIDToString, "ZEPPLMID::ToString")

enum class Op : int {
#define SCRIPTED_ENUMERATOR(name, text) name,
  SCRIPTED_OPERATIONS(SCRIPTED_ENUMERATOR)
#undef SCRIPTED_ENUMERATOR
};

ZEP_PLATFORM_API const char* nameOf(Op operation);

// What throwIn() raises.
class ZEP_PLATFORM_API ScriptedException : public std::exception {
public:
  explicit ScriptedException(std::string text);
  ScriptedException(const ScriptedException&) = default;
  ScriptedException& operator=(const ScriptedException&) = default;
  ~ScriptedException() override;
  const char* what() const noexcept override;

private:
  std::string m_text;
};

// When an injected behaviour applies. Without a condition: to every call from now on.
class ZEP_PLATFORM_API Injection {
public:
  bool WasConsumed() const { return m_consumed > 0; }
  Injection& once() { return at(1); }
  Injection& at(int nth);   // the nth call alone, counted from the injection
  Injection& from(int nth); // the nth call and all that follow

private:
  friend class ScriptedPlatform;
  friend class Call;

  enum class Kind { Fail, Return, Empty, Throw };

  Op m_operation{};
  Kind m_kind{};
  long m_code = 0;
  std::exception_ptr m_exception;
  int m_first = 1;
  int m_last = 0; // 0: no last
  int m_seen = 0;
  int m_consumed = 0;
};

struct TraceRecord {
  std::string className;
  int level = 0;    // of beginTrace
  int endLevel = 0; // of endTraceWithLineNumber
  std::string text; // UTF-8
  int line = 0;
  std::optional<std::string> file;
  std::string method; // the object's current method
  int asked = 0;      // IsActivated() calls on this object since its record, or method name, before
  int perfoAsked = 0; // the same of IsPerfoActivated()
  std::thread::id thread;
};

// A JSON value for script().json.
using Members = std::vector<std::pair<std::string, ZEPOmxAny>>;
ZEP_PLATFORM_API ZEPOmxAny jsonObject(const Members& members);
ZEP_PLATFORM_API ZEPOmxAny jsonText(const std::string& utf8);
ZEP_PLATFORM_API ZEPOmxAny jsonOther(); // neither an object nor a text

// UTF-8 text as UTF-16 bytes in the machine's order, behind a byte-order mark.
ZEP_PLATFORM_API std::string utf16WithMark(const std::string& utf8);

// What the legacy HTTP client answers. Buffers have exactly the size that they need.
struct LegacyAnswer {
  std::string status = "200";
  std::string headerText;          // stands behind the status in the header buffer
  bool nullHeader = false;         // the header query succeeds without a buffer
  std::string body;                // of Download; an empty one is a buffer with a length of 0
  bool nullBody = false;           // Download hands out null, with the length of `body`
  std::vector<std::string> pieces; // of DownloadEx; an empty one is a null pointer
  std::string lastPiece;           // handed out together with the finished flag; empty: null
};

// What the platform says of an identifier.
struct PLMObject {
  unsigned char isOfType = 0; // whatever the type
  std::string logicalId;
  std::string physicalId;
};

// What the platform holds and answers; all of it is at these values again after reset().
struct ZEP_PLATFORM_API Inputs {
  Inputs();
  Inputs(const Inputs&);
  Inputs& operator=(const Inputs&);
  ~Inputs();

  std::map<std::string, std::string> files; // content by path, found under exactly that path
  std::map<std::string, std::string> environment;
  std::map<std::string, std::string> expansions; // what ZEPExpandString makes of a whole text
  std::map<std::string, std::map<std::string, std::string>> settings; // by repository and key
  std::optional<std::string> lastError; // message of the last error; none: no error object
  std::string argUrl = "http://server"; // the argument "Url"
  std::string context = "ctx";          // the security context
  bool branching = false;
  bool atstProvider = false;

  // What Transform() writes: none: nothing at all; empty: an empty result.
  std::optional<std::string> transformBytes = utf16WithMark("formatted");

  std::string generatedXML = "<generated/>"; // what the XML writer gives at the end

  std::vector<unsigned char> inclusions = {1}; // what IsIncluding gives, whatever the candidates

  // By the text of their identifier; one that is not here is of no type and has empty identifiers.
  std::map<std::string, PLMObject> objects;

  LegacyAnswer legacy;
  // The answer that the object client gives when none is queued.
  int defaultStatus = 200;
  std::string defaultBody = R"({"xslt":{"content":"server stylesheet"}})";
  ZEPOmxAny json; // what a parse yields, whatever the text: {"xslt":{"content":"server stylesheet"}}
};

class ZEP_PLATFORM_API ScriptedPlatform : public Inputs {
public:
  // Forgets everything but the trace objects and what is switched per process.
  void reset();
  // What a test left behind or broke, one line each; empty when nothing.
  std::string problems() const;

  // Injected behaviour; the last one injected that applies to a call is the one used.
  Injection& fail(Op operation, long code);    // answers the code and does nothing
  Injection& returns(Op operation, long code); // acts as ever, but answers the code
  Injection& giveEmpty(Op operation);          // success without an object
  Injection& throwIn(Op operation);            // raises ScriptedException, and does nothing
  Injection& throwIn(Op operation, std::exception_ptr exception);
  // Takes back all of them, and says which of them no call consumed, one line each.
  std::string endInjections();
  // Called at each call of the operation, once it is recorded and before it acts.
  void onCall(Op operation, std::function<void()> callback);

  // Answers of the object HTTP client, in order. Without a status line of its own it is
  // "HTTP/1.1 <status> Scripted".
  void answer(int status, std::string body, std::string statusLine = "");
  void answerWithoutBody(int status, std::string statusLine = "");

  // Tracing and performance timing, off after a reset.
  void traceOn();
  void traceOff();
  // Asked at each IsActivated(), with the number of the query, from 1.
  void traceWhen(std::function<bool(int query)> wanted);
  void perfoOn();

  // What happened: calls, trace lines, and both in one sequence; each line ends with a line feed.
  std::string calls() const;
  std::string trace() const;
  std::string log() const;
  // The trace lines of one class, without its name at their start.
  std::string traceOf(const std::string& className) const;
  std::string linesWith(const std::string& part) const; // of log()
  int count(Op operation) const;
  const std::vector<TraceRecord>& records() const;
  int activatedQueries() const;
  // Forgets what happened so far, counts included, and keeps inputs, injections and objects.
  void clearLog();

  // Names of the objects that are alive, in the order of their making, one line each.
  std::string liveObjects() const;
  void allowOpenFile();          // a file left open is wanted
  void allowUnbalancedMethods(); // tracing is switched inside an operation
  void allowLiveObjects();       // what is kept between calls lives on
  void allowUnused();            // injections and answers that no call comes for are in order

  // Trace objects since the process started, resets notwithstanding: "+ZEPCfgWebServices(CfgWeb)"
  // when built, "-ZEPCfgWebServices(CfgWeb)" when destroyed, one line each.
  std::string traceObjects() const;
  void forgetTraceObjects();

  ScriptedPlatform(const ScriptedPlatform&) = delete;
  ScriptedPlatform& operator=(const ScriptedPlatform&) = delete;

private:
  friend ScriptedPlatform& script();
  friend struct State;
  ScriptedPlatform();
  ~ScriptedPlatform();
  Injection& Inject(Op operation, Injection::Kind kind, long code);
  std::string Unconsumed() const;

  std::unique_ptr<State> m_state;
};

// The one script of the process.
ZEP_PLATFORM_API ScriptedPlatform& script();

// Buffers are then watched by valgrind, and no problem of the script.
ZEP_PLATFORM_API bool runsUnderValgrind();

// Whether the platform is at work on this thread. What is allocated then is not the library's: a test
// that lets allocations fail leaves these alone.
ZEP_PLATFORM_API bool isBookkeeping();

// Asked and told of the memory that the value types take with malloc() and realloc() and give back.
struct MemoryWatch {
  bool (*mayTake)(); // false: null is the answer
  void (*taken)(const void* block);
  void (*givenBack)(const void* block);
};
ZEP_PLATFORM_API void watchMemory(const MemoryWatch* watch); // null: nobody

// "E_FAIL" for a code that has a name, else the number.
ZEP_PLATFORM_API std::string codeName(long code);

} // namespace scripted
