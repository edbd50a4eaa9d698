// Web-service calls to servers that answer in every wrong way.
#include "HostileAnswers.h"
#include "HostileServer.h"
#include "HttpCalls.h"
#include "ZEPCfgWebServices.h"
#include "ZEPError.h"
#include "ZEPHResult.h"
#include "ZEPOmxAny.h"
#include "ZEPOmxJson.h"
#include "ZEPOmxUTF8String.h"

#include <gmock/gmock-matchers.h>
#include <gtest/gtest.h>

#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <cctype>
#include <chrono>
#include <clocale>
#include <csignal>
#include <cstdlib>
#include <filesystem>
#include <list>
#include <locale>
#include <map>
#include <string>
#include <thread>
#include <utility>
#include <vector>

namespace {

using std::chrono::milliseconds;
using Clock = std::chrono::steady_clock;

constexpr int kLimitBytes = 1 << 20;
constexpr milliseconds kLongTimeout(20000);
constexpr milliseconds kStallTimeout(1000);
constexpr milliseconds kTotalTimeout(3000);
// With a slow machine.
constexpr milliseconds kLongestCall(15000);
constexpr milliseconds kLongestHeldCall = 2 * kTotalTimeout + milliseconds(3000);

long ResultOf(const std::string& name) {
  static const std::map<std::string, long> results = {
      {"S_OK", S_OK},
      {"E_FAIL", E_FAIL},
      {"0x80090136", ZEP_E_HTTP_STATUS},
      {"0x80090137", ZEP_E_HTTP_NOT_FOUND},
  };
  return results.at(name);
}

// The way that the call takes to the answer. Fallback: through the current stack, which gets a 503.
enum class Way { Current, Legacy, Fallback };

std::string NameOf(Way way) {
  return way == Way::Current ? "current stack" : way == Way::Legacy ? "legacy stack" : "fallback";
}

struct Called {
  long result = 0;
  std::string body;
  std::string message;
};

Called Call(Way way, int port, const char* verb) {
  const ZEPUnicodeString url = Text(std::to_string(port) + "/service");
  const ZEPUnicodeString json = "{\"question\":1}";
  ZEPUnicodeString answer = "what was there before";
  ZEPError::ZEPCleanLastError();
  const long result = way == Way::Legacy ? ZEPCfgWebServices::OldCallWebService(verb, url, json, answer)
                                         : ZEPCfgWebServices::NewCallWebService(verb, url, json, answer);
  return {result, Bytes(answer), LastError(result)};
}

std::string Shortened(const std::string& text) {
  return text.size() <= 200 ? text : text.substr(0, 200) + "... (" + std::to_string(text.size()) + " bytes)";
}

bool ContainsIgnoringCase(const std::string& text, const std::string& part) {
  return std::search(text.begin(), text.end(), part.begin(), part.end(), [](char a, char b) {
           return std::tolower(static_cast<unsigned char>(a)) == std::tolower(static_cast<unsigned char>(b));
         }) != text.end();
}

void ExpectOutcome(const HostileAnswer& answer, const Called& called) {
  const long expected = ResultOf(answer.result);
  EXPECT_EQ(called.result, expected) << Shortened(called.message);
  EXPECT_TRUE(called.body == answer.body) << "body: " << Shortened(called.body);
  if (expected == E_FAIL) {
    EXPECT_FALSE(called.message.empty());
    EXPECT_TRUE(ContainsIgnoringCase(called.message, answer.says)) << Shortened(called.message);
  }
}

void TryBadAnswer(const HostileServer& server, const HostileAnswer& answer, Way way, milliseconds longest) {
  SCOPED_TRACE(answer.name + " (" + NameOf(way) + ")");
  const Clock::time_point start = Clock::now();
  // What may not be repeated goes the one way, what may be the others.
  ExpectOutcome(answer, Call(way, server.Port(), way == Way::Fallback ? "POST" : "GET"));
  EXPECT_LT(Clock::now() - start, longest);
}

void TryNextCalls(HostileServer& server, const HostileAnswer& answer, Way way) {
  SCOPED_TRACE(answer.name + " (" + NameOf(way) + ")");
  server.Behave();
  for (const char* const verb : {"PUT", "GET"}) {
    const Called next = Call(way, server.Port(), verb);
    EXPECT_EQ(next.result, S_OK) << "the next call: " << Shortened(next.message);
    EXPECT_EQ(next.body, "fine") << "the next call";
  }
}

int BusyCount(Way way) {
  return way == Way::Fallback ? 1 : 0;
}

void Try(const HostileAnswer& answer, Way way) {
  HostileServer server(answer, BusyCount(way));
  TryBadAnswer(server, answer, way, kLongestCall);
  if (answer.HasPauses()) {
    std::this_thread::sleep_for(milliseconds(100)); // until what comes late has come
  }
  TryNextCalls(server, answer, way);
}

class HttpHostile : public testing::Test {
protected:
  HttpHostile() {
    setenv("ZEP_URL", "http://127.0.0.1:", 1); // the port stands in front of the path
    setenv("ZEP_CONTEXT", "Design lead.Kestrel.Shared workshop", 1);
    setenv("ZEP_HTTP_CONNECT_TIMEOUT_MS", "5000", 1);
    SetTimeouts(kLongTimeout, kLongTimeout);
    setenv("ZEP_HTTP_MAX_BODY_BYTES", std::to_string(kLimitBytes).c_str(), 1);
  }

  // REQUIRES: no other thread makes a call.
  static void SetTimeouts(milliseconds stall, milliseconds total) {
    setenv("ZEP_HTTP_STALL_TIMEOUT_MS", std::to_string(stall.count()).c_str(), 1);
    setenv("ZEP_HTTP_TOTAL_TIMEOUT_MS", std::to_string(total.count()).c_str(), 1);
  }

  const std::vector<HostileAnswer> answers = ReadHostileAnswers(ZEP_HOSTILE_ANSWERS);
};

class HttpHostileWay : public HttpHostile, public testing::WithParamInterface<Way> {};

INSTANTIATE_TEST_SUITE_P(Ways, HttpHostileWay, testing::Values(Way::Current, Way::Legacy, Way::Fallback),
                         [](const auto& row) {
                           return row.param == Way::Current  ? "Current"
                                  : row.param == Way::Legacy ? "Legacy"
                                                             : "Fallback";
                         });

// One after the other, so that each finds the connection that the one before has left.
TEST_P(HttpHostileWay, Answers_GiveTheirResultAndLeaveNothingBehind_AnsweredAtOnce) {
  int count = 0;
  for (const HostileAnswer& answer : answers) {
    if (!answer.TakesLong()) {
      Try(answer, GetParam());
      ++count;
    }
  }
  EXPECT_GT(count, 100);
}

TEST_P(HttpHostileWay, Answers_GiveTheirResultWithinTheTimeouts_HeldBack) {
  SetTimeouts(kStallTimeout, kTotalTimeout);
  std::list<HostileServer> servers;
  std::vector<std::pair<HostileServer*, const HostileAnswer*>> held;
  for (const HostileAnswer& answer : answers) {
    if (answer.TakesLong()) {
      held.emplace_back(&servers.emplace_back(answer, BusyCount(GetParam())), &answer);
    }
  }
  EXPECT_GT(held.size(), 30U);
  std::atomic<std::size_t> next = 0;
  std::vector<std::thread> threads;
  for (int i = 0; i < 16; ++i) {
    threads.emplace_back([&] {
      for (std::size_t at = next++; at < held.size(); at = next++) {
        TryBadAnswer(*held[at].first, *held[at].second, GetParam(), kLongestHeldCall);
      }
    });
  }
  for (std::thread& thread : threads) {
    thread.join();
  }
  SetTimeouts(kLongTimeout, kLongTimeout);
  for (const auto& [server, answer] : held) {
    TryNextCalls(*server, *answer, GetParam());
  }
}

// The rest of the request is written when nobody is there any more.
TEST_F(HttpHostile, BrokenPipe_RaisesNoSignal_LargeBodyToAServerThatGoes) {
  const auto former = signal(SIGPIPE, SIG_DFL);
  const ZEPUnicodeString body = Text(std::string(std::size_t{1} << 20, 'x'));
  for (const auto ending : {HostileAnswer::Ending::Reset, HostileAnswer::Ending::Close}) {
    HostileAnswer gone;
    gone.ending = ending;
    gone.listening = HostileAnswer::Listening::Deaf;
    const HostileServer server(gone);
    const ZEPUnicodeString url = Text(std::to_string(server.Port()) + "/service");
    for (int round = 0; round < 4; ++round) {
      ZEPUnicodeString answer;
      EXPECT_EQ(ZEPCfgWebServices::NewCallWebService("PUT", url, body, answer), E_FAIL);
    }
  }
  sigset_t pending;
  EXPECT_EQ(sigpending(&pending), 0);
  EXPECT_EQ(sigismember(&pending, SIGPIPE), 0);
  signal(SIGPIPE, former);
}

// A locale of the machine's own, made for the test. REQUIRES: the process has nothing else to do.
bool UseLocale(const std::string& language) {
  const std::filesystem::path folder =
      std::filesystem::path(testing::TempDir()) / ("locale-" + language + std::to_string(getpid()));
  std::filesystem::create_directories(folder);
  const std::string name = language + ".UTF-8";
  const std::string command = "localedef -i " + language + " -f UTF-8 --no-archive '" +
                              (folder / name).string() + "' >/dev/null 2>&1";
  setenv("LOCPATH", folder.c_str(), 1);
  const bool isUsed = std::system(command.c_str()) == 0 && setlocale(LC_ALL, name.c_str()) != nullptr;
  if (isUsed) {
    std::locale::global(std::locale(name.c_str()));
  }
  std::filesystem::remove_all(folder);
  return isUsed;
}

class HttpHostileLocale : public HttpHostile, public testing::WithParamInterface<const char*> {};

INSTANTIATE_TEST_SUITE_P(Languages, HttpHostileLocale, testing::Values("de_DE", "tr_TR"),
                         [](const auto& row) { return std::string(row.param); });

TEST_P(HttpHostileLocale, Answers_GiveTheSameResult_OtherCommaOtherLetters) {
  // In a child, because the C library keeps what it has read of LOCPATH, which looks like a leak.
  const pid_t child = fork();
  if (child == 0) {
    EXPECT_TRUE(UseLocale(GetParam()));
    for (const char* const name : {"HOME", "XDG_CONFIG_HOME", "XDG_CONFIG_DIRS", "XDG_RUNTIME_DIR"}) {
      unsetenv(name);
    }
    for (const HostileAnswer& answer : answers) {
      if (!answer.TakesLong() && !answer.HasPauses()) {
        Try(answer, Way::Current);
      }
    }
    ZEPOmxAny value;
    EXPECT_EQ(ZEPOmxJson::parse(ZEPOmxUTF8String("[1.5]", 5), value), S_OK);
    EXPECT_TRUE(ZEPFailed(ZEPOmxJson::parse(ZEPOmxUTF8String("[1,5.]", 6), value)));
    _exit(HasFailure() ? 1 : 0);
  }
  int status = -1;
  ASSERT_EQ(waitpid(child, &status, 0), child);
  EXPECT_EQ(status, 0);
}

} // namespace
