// Web-service calls that run out of memory at each point in turn.
#include "FailingMemory.h"
#include "HostileServer.h"
#include "HttpCalls.h"
#include "ZEPCfgWebServices.h"
#include "ZEPError.h"
#include "ZEPHResult.h"
#include "ZEPTraceObserver.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <iostream>
#include <new>
#include <string>

namespace {

using memory::Course;
using memory::Source;

const std::string kOk = "HTTP/1.1 200 OK\r\n";

std::string Chunked(const std::string& body) {
  std::string chunks;
  for (std::size_t at = 0; at < body.size(); at += 7) {
    const std::string piece = body.substr(at, 7);
    chunks += std::to_string(piece.size()) + "\r\n" + piece + "\r\n";
  }
  return kOk + "Transfer-Encoding: chunked\r\n\r\n" + chunks + "0\r\n\r\n";
}

std::string Whole(const std::string& statusLine, const std::string& body) {
  return statusLine + "\r\nContent-Length: " + std::to_string(body.size()) + "\r\n\r\n" + body;
}

struct Scenario {
  const char* name;
  const char* verb;
  bool isLegacy;
  std::string answer;
  long result;
  std::string body;
};

// Longer than the pieces in which the legacy stack reads it.
const std::string kLong = [] {
  std::string text;
  for (int i = 0; i < 3000; ++i) {
    text += "a\u00e9\u20ac";
  }
  return text;
}();

const Scenario kScenarios[] = {
    {"get", "GET", false, Whole("HTTP/1.1 200 OK", kLong), S_OK, kLong},
    {"get in chunks", "GET", false, Chunked(kLong), S_OK, kLong},
    {"post", "POST", false, Whole("HTTP/1.1 200 OK", "short"), S_OK, "short"},
    {"put", "PUT", false, Whole("HTTP/1.1 201 Created", "short"), S_OK, "short"},
    {"no content", "POST", false, "HTTP/1.1 204 No Content\r\n\r\n", S_OK, ""},
    {"forbidden", "POST", false, Whole("HTTP/1.1 403 Forbidden", "no"), ZEP_E_HTTP_STATUS, "no"},
    {"not found", "GET", false, Whole("HTTP/1.1 404 Not Found", "no"), ZEP_E_HTTP_NOT_FOUND, ""},
    {"fallback", "POST", false, Whole("HTTP/1.1 503 Busy", "busy"), ZEP_E_HTTP_STATUS, "busy"},
    {"truncated", "GET", false, kOk + "Content-Length: x\r\n\r\nab", E_FAIL, ""},
    {"legacy get", "GET", true, Whole("HTTP/1.1 200 OK", kLong), S_OK, kLong},
    {"legacy get in chunks", "GET", true, Chunked(kLong), S_OK, kLong},
    {"legacy post", "POST", true, Whole("HTTP/1.1 200 OK", "short"), S_OK, "short"},
    {"legacy delete", "DELETE", true, Whole("HTTP/1.1 200 OK", ""), S_OK, ""},
    {"legacy forbidden", "PUT", true, Whole("HTTP/1.1 403 Forbidden", "no"), ZEP_E_HTTP_STATUS, "no"},
    {"legacy not found", "GET", true, Whole("HTTP/1.1 404 Not Found", "no"), ZEP_E_HTTP_NOT_FOUND, ""},
    {"legacy truncated", "GET", true, kOk + "Content-Length: x\r\n\r\nab", E_FAIL, ""},
};

struct Outcome {
  bool isThrown = false;
  long result = 0;
  std::string body;
};

class HttpMemory : public testing::Test {
protected:
  HttpMemory() {
    memory::ServeCurl();
    setenv("ZEP_URL", "http://127.0.0.1:", 1); // the port stands in front of the path
    setenv("ZEP_CONTEXT", "Design lead.Kestrel.Shared workshop", 1);
    // So that what is traced takes memory too.
    ZEPSetTraceObserver([](const ZEPTraceRecord& /*record*/, void* /*context*/) {}, nullptr, true);
  }
  ~HttpMemory() override { ZEPSetTraceObserver(nullptr, nullptr, false); }

  // Memory fails during the call alone.
  static Outcome Call(const Scenario& scenario, int port, long failsAt, Source source, Course course,
                      long& oFailures) {
    const ZEPUnicodeString verb = scenario.verb;
    const ZEPUnicodeString url = Text(std::to_string(port) + "/service");
    const ZEPUnicodeString json =
        "{\"question\": \"how long may a text be that is no longer kept in place?\"}";
    ZEPUnicodeString answer = "before";
    Outcome outcome;
    memory::FailAt(failsAt, source, course);
    try {
      outcome.result = scenario.isLegacy ? ZEPCfgWebServices::OldCallWebService(verb, url, json, answer)
                                         : ZEPCfgWebServices::NewCallWebService(verb, url, json, answer);
    } catch (const std::bad_alloc&) {
      outcome.isThrown = true;
    }
    oFailures = memory::StopFailing();
    ZEPError::ZEPCleanLastError();
    outcome.body = Bytes(answer);
    return outcome;
  }

  static void ExpectClean(const Scenario& scenario, const Outcome& outcome) {
    if (outcome.isThrown || outcome.result != scenario.result) {
      EXPECT_TRUE(outcome.isThrown || ZEPFailed(outcome.result)) << outcome.result;
      EXPECT_TRUE(outcome.body == "before" || outcome.body.empty() || outcome.body == scenario.body)
          << outcome.body.size() << " bytes: " << outcome.body.substr(0, 100);
    } else {
      EXPECT_TRUE(outcome.body == scenario.body)
          << outcome.body.size() << " bytes: " << outcome.body.substr(0, 100);
    }
  }

  // Returns the number of failures.
  static long TryAll(const Scenario& scenario, Source source, Course course) {
    HostileAnswer answer;
    answer.pieces = {{scenario.answer}};
    HostileServer server(answer);
    long failures = 0;
    const auto callClean = [&] {
      long none = 0;
      const Outcome outcome = Call(scenario, server.Port(), 0, source, course, none);
      EXPECT_FALSE(outcome.isThrown);
      EXPECT_EQ(outcome.result, scenario.result);
      EXPECT_TRUE(outcome.body == scenario.body);
    };
    callClean();
    callClean();
    for (long nth = 1;; ++nth) {
      SCOPED_TRACE(std::string(scenario.name) + ", allocation " + std::to_string(nth));
      long growth = 1;
      // What is made at its first use, and kept, grows once; a leak each time.
      for (int round = 0; round < 3 && growth > 0; ++round) {
        const long held = memory::BlocksHeld(Source::Both);
        ExpectClean(scenario, Call(scenario, server.Port(), nth, source, course, failures));
        if (failures == 0) {
          return nth - 1;
        }
        callClean();
        growth = memory::BlocksHeld(Source::Both) - held;
      }
      EXPECT_LE(growth, 0) << "something is kept";
      if (HasFailure()) {
        return nth;
      }
    }
  }

  static void TryScenarios(Source source) {
    long faults = 0;
    for (const Course course : {Course::Once, Course::FromThenOn}) {
      for (const Scenario& scenario : kScenarios) {
        if (HasFailure()) {
          return;
        }
        const long tried = TryAll(scenario, source, course);
        EXPECT_GT(tried, 20) << scenario.name;
        faults += tried;
      }
    }
    RecordProperty("faults", std::to_string(faults));
    std::cout << faults << " allocations failed\n";
  }
};

TEST_F(HttpMemory, Calls_FailCleanlyOrGiveTheirResult_NoMemoryForObjects) {
  TryScenarios(Source::New);
}

TEST_F(HttpMemory, Calls_FailCleanlyOrGiveTheirResult_NoMemoryForTheTransfer) {
  TryScenarios(Source::Curl);
}

TEST_F(HttpMemory, Calls_FailCleanlyOrGiveTheirResult_NoMemoryAtAll) {
  TryScenarios(Source::Both);
}

} // namespace
