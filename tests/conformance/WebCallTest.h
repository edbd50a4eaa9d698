#pragma once

#include "ConformanceTest.h"
#include "ZEPCfgWebServices.h"

#include <functional>
#include <string>
#include <vector>

// Tests of the web-service operations compare everything that an operation did, in order, with a
// text of one line for each step:
//   > long __cdecl ...     the method is named       } with the trace on
//   entry                  the entry record          }
//   | text                 a detail                  }
//   exit                   the exit record           }
//   <                      the method is forgotten   }
//   ! text                 a record that is written with the trace off too
//   % step                 a call or record ("| text") that comes with performance timing on
//   @ step                 a call made for the detail behind it, and only if that is written
//   Execute(...)           a call of the platform, as ScriptedPlatform.h shows it
// The end of objects is left out of it: its order is free, but for what is looked at by itself.

// ---- texts of steps ----

std::string webSignature(const std::string& operation);
std::string entered(const std::string& operation);
std::string detail(const std::string& text);
std::string error(const std::string& message); // both records
std::string left(const std::string& result);   // result, exit, method forgotten
extern const char chunkedText[];               // in a header, says that the body comes in pieces
extern const char exitAlone[];                 // what an exception leaves of left()

// A step sequence from its start to the end of the first line `last`; from that line on. It has to
// be there.
std::string upTo(const std::string& steps, const std::string& last);
std::string behind(const std::string& steps, const std::string& line);
std::string replaced(std::string steps, const std::string& part, const std::string& by);

// What a call with the fixture's own inputs does when nothing fails.
std::string currentSteps(const std::string& verb); // GET, PUT or POST
std::string legacySteps(const std::string& verb);

// How a call ends.
std::string succeeded(const std::string& answer);
std::string refusedByLegacy(const std::string& verb, const std::string& status, const std::string& answer);

extern const char queryForUrl[];
// The two codes have no name.
extern const char httpStatusCode[];
extern const char notFoundCode[];

// ---- calls ----

using WebOperation = long (*)(const ZEPUnicodeString&, const ZEPUnicodeString&, const ZEPUnicodeString&,
                              ZEPUnicodeString&);

// The texts are UTF-8 and may hold NUL.
struct WebCall {
  WebOperation operation = nullptr;
  std::string verb = "GET";
  std::string url = "/path";
  std::string json = "{}";
};

struct WebOutcome {
  long result = S_OK;
  std::string answer;
  std::string steps;
};

// Server "http://server", context "ctx", and "answer" as the body of either stack.
class WebCallTest : public ConformanceTest {
protected:
  using Preparation = std::function<void()>;

  void SetUp() override;

  // A fresh script with these inputs.
  static void Prepare();
  // What the low-level client answers, whole or chunked.
  static void AnswerAtOnce(const std::string& status, const std::string& body);
  static void AnswerInPieces(const std::string& status, const std::vector<std::string>& pieces);
  static ZEPUnicodeString Text(const std::string& utf8);
  static long Run(const WebCall& call, ZEPUnicodeString& answer);

  // Makes the call with trace and timing on and off, in each combination, and compares all of it.
  void ExpectInEveryMode(const WebCall& call, const Preparation& prepare, const WebOutcome& expected);
  void ExpectExceptionInEveryMode(const WebCall& call, const Preparation& prepare,
                                  const WebOutcome& expected);
  // Makes the call with the trace on for one question only, for all up to it, and from it on.
  void ExpectRecordsOfQuestions(const WebCall& call, const Preparation& prepare, const std::string& steps);

  // The same of any operation.
  void InEveryMode(const Preparation& prepare, const std::string& steps, const std::function<void()>& run);
  void InEveryQuestion(const Preparation& prepare, const std::string& steps,
                       const std::function<void()>& run);

  // What was done so far, and what of `steps` shows in a mode.
  static std::string StepsTaken();
  using TraceQuestion = std::function<bool(int query)>;
  static std::string Shown(const std::string& steps, const TraceQuestion& traceIsOn, bool perfoIsOn);
  static std::string ShownWithTrace(const std::string& steps);
  static int QuestionsIn(const std::string& steps);
};
