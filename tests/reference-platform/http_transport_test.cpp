// What holds for both clients, because one transport lies below them.
#include "HttpCalls.h"
#include "RawServer.h"
#include "ZEPHResult.h"
#include "ZEPTraceObserver.h"

#include <gmock/gmock-matchers.h>
#include <gtest/gtest.h>

#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <chrono>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <thread>
#include <vector>

namespace {

using testing::HasSubstr;
using Afterwards = RawServer::Afterwards;
using std::chrono::milliseconds;

std::chrono::milliseconds Since(std::chrono::steady_clock::time_point start) {
  return std::chrono::duration_cast<milliseconds>(std::chrono::steady_clock::now() - start);
}

constexpr const char* kLimits[] = {"ZEP_HTTP_CONNECT_TIMEOUT_MS", "ZEP_HTTP_STALL_TIMEOUT_MS",
                                   "ZEP_HTTP_TOTAL_TIMEOUT_MS", "ZEP_HTTP_MAX_BODY_BYTES"};

class HttpTransport : public testing::TestWithParam<HttpStack> {
protected:
  HttpTransport() {
    for (const char* const name : kLimits) {
      unsetenv(name);
    }
  }

  HttpOutcome SendOver(const HttpCall& call) const { return Send(GetParam(), call); }
  HttpOutcome Get(const std::string& path = "/") const { return SendOver({.url = server.Url(path)}); }
  HttpOutcome SendWithBody(const std::string& verb, const std::string& body) const {
    return SendOver({.verb = verb, .url = server.Url(), .body = body});
  }

  RawServer server;
};

INSTANTIATE_TEST_SUITE_P(BothClients, HttpTransport, testing::Values(HttpStack::Object, HttpStack::Legacy),
                         [](const auto& row) {
                           return std::string(row.param == HttpStack::Object ? "Object" : "Legacy");
                         });

TEST_P(HttpTransport, Request_HasNothingUnasked_Get) {
  SendOver({.url = server.Url("/a/b?c=d"),
            .headers = {{"Accept", "application/json\r\n"}, {"SecurityContext", "ctx::A.B\r\n"}}});
  ASSERT_EQ(server.Requests().size(), 1U);
  const RawServer::Request request = server.Requests().front();
  EXPECT_EQ(request.head, "GET /a/b?c=d HTTP/1.1\r\nHost: " + server.Url("").substr(7) +
                              "\r\nUser-Agent: ZEPPlatform/1.0\r\nAccept: application/json\r\n"
                              "SecurityContext: ctx::A.B\r\n\r\n");
  EXPECT_EQ(request.body, "");
}

TEST_P(HttpTransport, Request_CarriesTheBytesAtOnce_Body) {
  const std::string small = "{\"a\":\"\u00e9\U0001F600\"}";
  const std::string large(3 << 20, 'x');
  for (const char* const verb : {"PUT", "POST"}) {
    for (const std::string& body : {small, large, std::string()}) {
      EXPECT_EQ(SendWithBody(verb, body).body, "ok");
      const RawServer::Request request = server.Requests().back();
      EXPECT_TRUE(request.head.starts_with(verb)) << request.head;
      EXPECT_EQ(request.Line("Content-Length"), "Content-Length: " + std::to_string(body.size()));
      EXPECT_EQ(request.Line("Expect"), "");
      EXPECT_EQ(request.Line("Content-Type"), "");
      EXPECT_EQ(request.Line("Transfer-Encoding"), "");
      EXPECT_EQ(request.body, body);
    }
  }
}

TEST_P(HttpTransport, Headers_AreSentOrRefused_TableOfValues) {
  struct Row {
    int line;
    std::string name;
    std::string value;
    std::string sent; // empty: refused
  };
  const Row rows[] = {
      Row{__LINE__, "X-A", "v", "X-A: v"},
      Row{__LINE__, "X-A", "v\r\n", "X-A: v"},
      Row{__LINE__, "X-A", "", "X-A:"},
      Row{__LINE__, "X-A", "\r\n", "X-A:"},
      Row{__LINE__, "X-A", "  \r\n", "X-A:"},
      Row{__LINE__, "X-A", " a b ", "X-A: a b"},
      Row{__LINE__, "X-A", "a\tb", "X-A: a\tb"},
      Row{__LINE__, "X-A", "a; b: c", "X-A: a; b: c"},
      Row{__LINE__, "X-A", "\u00e9\U0001F600", "X-A: \u00e9\U0001F600"},
      Row{__LINE__, "X-!#$%&'*+.^_`|~9z", "v", "X-!#$%&'*+.^_`|~9z: v"},
      Row{__LINE__, "X-A", "v\r", ""},
      Row{__LINE__, "X-A", "v\n", ""},
      Row{__LINE__, "X-A", "v\n\r", ""},
      Row{__LINE__, "X-A", "v\r\n\r\n", ""},
      Row{__LINE__, "X-A", "v\r\r\n", ""},
      Row{__LINE__, "X-A", "\r\nX-B: w", ""},
      Row{__LINE__, "X-A", "v\r\nX-B: w\r\n", ""},
      Row{__LINE__, "X-A", "v\nX-B: w", ""},
      Row{__LINE__, "X-A", "v\r\n w", ""},
      Row{__LINE__, "X-A", "a\x01", ""},
      Row{__LINE__, "X-A", "a\x7F", ""},
      Row{__LINE__, "", "v", ""},
      Row{__LINE__, "X A", "v", ""},
      Row{__LINE__, "X-A ", "v", ""},
      Row{__LINE__, "X-A;", "v", ""},
      Row{__LINE__, "X-A\r\nX-B", "v", ""},
      Row{__LINE__, "X-\u00e9", "v", ""},
      Row{__LINE__, "Content-Length", "3", ""},
      Row{__LINE__, "transfer-encoding", "chunked", ""},
      Row{__LINE__, "Host", "other.example", ""},
      Row{__LINE__, "Connection", "close", ""},
      Row{__LINE__, "Expect", "100-continue", ""},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(row.line);
    const std::size_t before = server.Requests().size();
    const HttpOutcome outcome = SendOver({.url = server.Url(), .headers = {{row.name, row.value}}});
    if (row.sent.empty()) {
      EXPECT_EQ(outcome.code, E_INVALIDARG);
      EXPECT_THAT(outcome.error, HasSubstr("the request is not sent: "));
      EXPECT_EQ(server.Requests().size(), before);
    } else {
      EXPECT_EQ(outcome.code, S_OK);
      ASSERT_EQ(server.Requests().size(), before + 1);
      EXPECT_EQ(server.Requests().back().Line(row.name + ":"), row.sent);
    }
  }
}

TEST_P(HttpTransport, Url_IsSentAsItStands_TableOfPaths) {
  struct Row {
    int line;
    std::string path;
    std::string sent;
  };
  const Row rows[] = {
      Row{__LINE__, "/a/b/", "/a/b/"},
      Row{__LINE__, "", "/"},
      Row{__LINE__, "/a/../b/./c//d", "/a/../b/./c//d"},
      Row{__LINE__, "/a?x=1&y=[2]", "/a?x=1&y=[2]"},
      Row{__LINE__, "?x", "/?x"},
      Row{__LINE__, "/a b", "/a%20b"},
      Row{__LINE__, "/a%20b%2Fc", "/a%20b%2Fc"},
      Row{__LINE__, "/\u00e9?q=\u65e5 x", "/%C3%A9?q=%E6%97%A5%20x"},
      Row{__LINE__, "/a#part", "/a"},
      Row{__LINE__, "/mail@host", "/mail@host"},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(row.line);
    EXPECT_EQ(Get(row.path).code, S_OK);
    ASSERT_FALSE(server.Requests().empty());
    const std::string head = server.Requests().back().head;
    EXPECT_EQ(head.substr(0, head.find("\r\n")), "GET " + row.sent + " HTTP/1.1");
  }
}

TEST_P(HttpTransport, Url_IsRefused_TableOfUrls) {
  struct Row {
    int line;
    std::string url;
    const char* error;
  };
  const std::string base = server.Url("");
  const Row rows[] = {
      Row{__LINE__, "", "not absolute"},
      Row{__LINE__, base.substr(7), "not absolute"},
      Row{__LINE__, "127.0.0.1/", "not absolute"},
      Row{__LINE__, "file:///etc/passwd", "neither http nor https"},
      Row{__LINE__, "ftp://127.0.0.1/", "neither http nor https"},
      Row{__LINE__, "gopher://127.0.0.1/", "neither http nor https"},
      Row{__LINE__, " " + base + "/", "neither http nor https"},
      Row{__LINE__, "http://", "names no host"},
      Row{__LINE__, "http:///path", "names no host"},
      Row{__LINE__, "http://plm.example@" + base.substr(7) + "/", "user name"},
      Row{__LINE__, "http://user:secret@" + base.substr(7) + "/", "user name"},
      Row{__LINE__, base + "/a\r\nX-B: c", "control character"},
      Row{__LINE__, base + "/a HTTP/1.1\r\n\r\nGET /b", "control character"},
      Row{__LINE__, base + "/a\nb", "control character"},
      Row{__LINE__, base + "/a\tb", "control character"},
      Row{__LINE__, base + "/a\x7F", "control character"},
      Row{__LINE__, "http://127.0.0.1:99999/", "URL"},
      Row{__LINE__, "http://127.0.0.1 x/", "URL"},
      Row{__LINE__, "http://[::1/", "URL"},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(row.line);
    const HttpOutcome outcome = SendOver({.url = row.url});
    EXPECT_EQ(outcome.code, E_INVALIDARG);
    EXPECT_THAT(outcome.error, HasSubstr(row.error));
  }
  EXPECT_EQ(server.Requests().size(), 0U);
}

TEST_P(HttpTransport, Answer_IsTaken_TableOfAnswers) {
  struct Row {
    int line;
    RawServer::Answer answer;
    int status;
    std::string statusLine;
    bool hasEntity;
    std::string body;
  };
  const std::string ok = "HTTP/1.1 200 OK\r\n";
  const std::string chunked = ok + "Transfer-Encoding: chunked\r\n\r\n";
  const Row rows[] = {
      Row{__LINE__, {{ok + "Content-Length: 2\r\n\r\nab"}}, 200, "HTTP/1.1 200 OK", true, "ab"},
      Row{__LINE__, {{ok + "Content-Length: 0\r\n\r\n"}}, 200, "HTTP/1.1 200 OK", true, ""},
      Row{__LINE__, {{ok + "\r\nto the end"}, Afterwards::Close}, 200, "HTTP/1.1 200 OK", true, "to the end"},
      Row{__LINE__, {{ok + "\r\n"}, Afterwards::Close}, 200, "HTTP/1.1 200 OK", true, ""},
      Row{__LINE__, {{"HTTP/1.0 200 OK\r\n\r\nold"}, Afterwards::Close}, 200, "HTTP/1.0 200 OK", true, "old"},
      Row{__LINE__, {{"HTTP/1.1 200\r\nContent-Length: 1\r\n\r\nx"}}, 200, "HTTP/1.1 200", true, "x"},
      Row{__LINE__,
          {{"HTTP/1.1 404 Pas trouv\u00e9\r\nContent-Length: 1\r\n\r\nx"}},
          404,
          "HTTP/1.1 404 Pas trouv\u00e9",
          true,
          "x"},
      Row{__LINE__,
          {{ok + "Content-Length: 4\r\n\r\n", "a", "b", "c", "d"}, Afterwards::Keep, milliseconds(5)},
          200,
          "HTTP/1.1 200 OK",
          true,
          "abcd"},
      Row{__LINE__,
          {{chunked + "2\r\nab\r\n3;ext=1\r\ncde\r\n0\r\n\r\n"}},
          200,
          "HTTP/1.1 200 OK",
          true,
          "abcde"},
      Row{__LINE__,
          {{chunked + "1\r\n\xC3\r\n", "1\r\n\xA9\r\n0\r\n\r\n"}, Afterwards::Keep, milliseconds(5)},
          200,
          "HTTP/1.1 200 OK",
          true,
          "\u00e9"},
      Row{__LINE__,
          {{chunked + "2\r\nab\r\n0\r\nX-Status: HTTP/1.1 500 X\r\n\r\n"}},
          200,
          "HTTP/1.1 200 OK",
          true,
          "ab"},
      Row{__LINE__, {{chunked + "0\r\n\r\n"}}, 200, "HTTP/1.1 200 OK", true, ""},
      Row{__LINE__, {{"HTTP/1.1 204 No Content\r\n\r\n"}}, 204, "HTTP/1.1 204 No Content", false, ""},
      Row{__LINE__,
          {{"HTTP/1.1 304 Not Modified\r\nContent-Length: 9\r\n\r\n"}},
          304,
          "HTTP/1.1 304 Not Modified",
          false,
          ""},
      Row{__LINE__,
          {{"HTTP/1.1 100 Continue\r\n\r\nHTTP/1.1 103 Early Hints\r\nLink: x\r\n\r\n" +
            RawServer::Whole("HTTP/1.1 201 Created", "c")}},
          201,
          "HTTP/1.1 201 Created",
          true,
          "c"},
      Row{__LINE__,
          {{"HTTP/1.1 302 Found\r\nLocation: /elsewhere\r\nContent-Length: 5\r\n\r\nmoved"}},
          302,
          "HTTP/1.1 302 Found",
          true,
          "moved"},
      Row{__LINE__,
          {{"HTTP/1.1 401 Unauthorized\r\nWWW-Authenticate: Basic realm=\"x\"\r\nContent-Length: 2\r\n\r\nno"}},
          401,
          "HTTP/1.1 401 Unauthorized",
          true,
          "no"},
      Row{__LINE__,
          {{"HTTP/1.1 503 Busy\r\nRetry-After: 0\r\nContent-Length: 4\r\n\r\nbusy"}},
          503,
          "HTTP/1.1 503 Busy",
          true,
          "busy"},
      Row{__LINE__,
          {{ok + "Content-Encoding: gzip\r\nContent-Length: 4\r\n\r\n\x1F\x8B\x08z"}},
          200,
          "HTTP/1.1 200 OK",
          true,
          "\x1F\x8B\x08z"},
      Row{__LINE__,
          {{RawServer::Whole("HTTP/1.1 200 OK", std::string("a\0\xFFz", 4))}},
          200,
          "HTTP/1.1 200 OK",
          true,
          std::string("a\0\xFFz", 4)},
  };
  std::size_t sent = 0;
  for (const Row& row : rows) {
    SCOPED_TRACE(row.line);
    server.Enqueue(row.answer);
    const HttpOutcome outcome = Get();
    EXPECT_EQ(outcome.code, S_OK) << outcome.error;
    EXPECT_EQ(outcome.status, row.status);
    EXPECT_EQ(outcome.body, row.body);
    if (GetParam() == HttpStack::Object) {
      EXPECT_EQ(outcome.statusLine, row.statusLine);
      EXPECT_EQ(outcome.hasEntity, row.hasEntity);
    }
    EXPECT_EQ(server.Requests().size(), ++sent);
  }
}

TEST_P(HttpTransport, Answer_IsAFailure_TableOfBrokenAnswers) {
  struct Row {
    int line;
    std::string answer;
  };
  const std::string ok = "HTTP/1.1 200 OK\r\n";
  const std::string chunked = ok + "Transfer-Encoding: chunked\r\n\r\n";
  const Row rows[] = {
      Row{__LINE__, ""},
      Row{__LINE__, "HTTP"},
      Row{__LINE__, "HTTP/1.1 200 OK\r\nContent-Len"},
      Row{__LINE__, ok + "Content-Length: 10\r\n\r\nshort"},
      Row{__LINE__, ok + "Content-Length: 10\r\n\r\n"},
      Row{__LINE__, ok + "Content-Length: -1\r\n\r\nx"},
      Row{__LINE__, ok + "Content-Length: x\r\n\r\nx"},
      Row{__LINE__, ok + "Content-Length: 99999999999999999999\r\n\r\nx"},
      Row{__LINE__, chunked},
      Row{__LINE__, chunked + "5\r\nab"},
      Row{__LINE__, chunked + "2\r\nab\r\n"},
      Row{__LINE__, chunked + "2\r\nab\r\n0\r\n"},
      Row{__LINE__, chunked + "2\r\nab\r\n0\r\nHTTP/1.1 500 X: trailer\r\n\r\n"},
      Row{__LINE__, chunked + "x\r\nab\r\n"},
      Row{__LINE__, chunked + "fffffffffffffffffff\r\nab"},
      Row{__LINE__, "<html>a body without a head</html>"},
      Row{__LINE__, "HTTP/0.9 200 OK\r\n\r\nx"},
      Row{__LINE__, "HTTP/1.1 abc OK\r\n\r\nx"},
      Row{__LINE__, "SSH-2.0-OpenSSH\r\n"},
      Row{__LINE__, "HTTP/1.1 100 Continue\r\n\r\n"},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(row.line);
    server.Enqueue(row.answer, Afterwards::Close);
    const HttpOutcome outcome = Get();
    EXPECT_EQ(outcome.code, E_FAIL) << "body: " << outcome.body;
    EXPECT_THAT(outcome.error, HasSubstr("GET " + server.Url() + ": "));
  }
}

TEST_P(HttpTransport, Answer_IsAFailure_HeadWithoutEnd) {
  const std::string line = "X-Filler: " + std::string(1000, 'x') + "\r\n";
  std::string head = "HTTP/1.1 200 OK\r\n";
  for (int i = 0; i < 300; ++i) {
    head += line;
  }
  server.Enqueue(head, Afterwards::Hold);
  const HttpOutcome outcome = Get();
  EXPECT_EQ(outcome.code, E_FAIL);
  EXPECT_THAT(outcome.error, HasSubstr("the head of the answer is longer than 256 KiB"));
}

TEST_P(HttpTransport, Answer_IsAFailure_InterimAnswersWithoutEnd) {
  std::string interim;
  for (int i = 0; i < 12000; ++i) {
    interim += "HTTP/1.1 100 Continue\r\n\r\n";
  }
  server.Enqueue(interim, Afterwards::Hold);
  const HttpOutcome outcome = Get();
  EXPECT_EQ(outcome.code, E_FAIL);
  EXPECT_THAT(outcome.error, HasSubstr("the head of the answer is longer than 256 KiB"));
}

TEST_P(HttpTransport, Body_IsLimitedWhileReceived_TableOfLengths) {
  setenv("ZEP_HTTP_MAX_BODY_BYTES", "1000", 1);
  struct Row {
    int line;
    std::string answer;
    long code;
  };
  const std::string ok = "HTTP/1.1 200 OK\r\n";
  const std::string chunk = "1f4\r\n" + std::string(500, 'x') + "\r\n";
  const Row rows[] = {
      Row{__LINE__, RawServer::Whole("HTTP/1.1 200 OK", std::string(1000, 'x')), S_OK},
      Row{__LINE__, ok + "Content-Length: 1001\r\n\r\nx", E_FAIL},
      Row{__LINE__, ok + "\r\n" + std::string(1001, 'x'), E_FAIL},
      Row{__LINE__, ok + "Transfer-Encoding: chunked\r\n\r\n" + chunk + chunk + "0\r\n\r\n", S_OK},
      Row{__LINE__, ok + "Transfer-Encoding: chunked\r\n\r\n" + chunk + chunk + "1\r\nx\r\n", E_FAIL},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(row.line);
    // The server never ends a body that is too long: only a cap enforced on the way ends the call.
    server.Enqueue(row.answer, row.code == S_OK ? Afterwards::Keep : Afterwards::Hold);
    const HttpOutcome outcome = Get();
    EXPECT_EQ(outcome.code, row.code) << outcome.error;
    if (row.code != S_OK) {
      EXPECT_THAT(outcome.error, HasSubstr("ZEP_HTTP_MAX_BODY_BYTES"));
    } else {
      EXPECT_EQ(outcome.body, std::string(1000, 'x'));
    }
  }
}

TEST_P(HttpTransport, Body_IsReceivedWhole_FiveMegabytes) {
  const std::string body(5 << 20, 'b');
  server.Enqueue(RawServer::Whole("HTTP/1.1 200 OK", body));
  EXPECT_TRUE(Get().body == body);
}

TEST_P(HttpTransport, Timeout_EndsTheCall_StalledServer) {
  setenv("ZEP_HTTP_STALL_TIMEOUT_MS", "200", 1);
  for (const char* const answer :
       {"", "HTTP/1.1 200 OK\r\n", "HTTP/1.1 200 OK\r\nContent-Length: 9\r\n\r\nabc"}) {
    SCOPED_TRACE(answer);
    server.Enqueue(answer, Afterwards::Hold);
    const auto start = std::chrono::steady_clock::now();
    const HttpOutcome outcome = Get();
    EXPECT_EQ(outcome.code, E_FAIL);
    EXPECT_THAT(outcome.error, HasSubstr("ZEP_HTTP_STALL_TIMEOUT_MS"));
    EXPECT_GE(Since(start), milliseconds(200));
    EXPECT_LT(Since(start), milliseconds(2000));
  }
}

TEST_P(HttpTransport, Timeout_LeavesASlowAnswerAlone_BytesKeepComing) {
  setenv("ZEP_HTTP_STALL_TIMEOUT_MS", "400", 1);
  server.Enqueue({{"HTTP/1.1 200 OK\r\nContent-Length: 6\r\n\r\n", "a", "b", "c", "d", "e", "f"},
                  Afterwards::Keep,
                  milliseconds(100)});
  EXPECT_EQ(Get().body, "abcdef");
}

TEST_P(HttpTransport, Timeout_EndsTheCall_TotalTime) {
  setenv("ZEP_HTTP_TOTAL_TIMEOUT_MS", "300", 1);
  std::vector<std::string> pieces = {"HTTP/1.1 200 OK\r\n\r\n"};
  pieces.resize(40, "x");
  server.Enqueue({pieces, Afterwards::Close, milliseconds(50)});
  const auto start = std::chrono::steady_clock::now();
  const HttpOutcome outcome = Get();
  EXPECT_EQ(outcome.code, E_FAIL);
  EXPECT_THAT(outcome.error, HasSubstr("timed out"));
  EXPECT_LT(Since(start), milliseconds(1800));
}

TEST_P(HttpTransport, Environment_CountsAsUnset_MalformedValues) {
  for (const char* const value : {"", "0", "-1", "1x", " 1", "1.5", "99999999999999999999"}) {
    for (const char* const name : kLimits) {
      setenv(name, value, 1);
    }
    server.Enqueue(
        {{"HTTP/1.1 200 OK\r\nContent-Length: 2\r\n\r\n", "ok"}, Afterwards::Keep, milliseconds(20)});
    EXPECT_EQ(Get().body, "ok") << value;
  }
}

TEST_P(HttpTransport, Failure_NamesTheCause_UnreachableServer) {
  std::string url;
  {
    const RawServer gone;
    url = gone.Url("/x");
  }
  const HttpOutcome refused = SendOver({.url = url});
  EXPECT_EQ(refused.code, E_FAIL);
  EXPECT_THAT(refused.error, HasSubstr("GET " + url + ": Failed to connect"));
  const HttpOutcome unknown = SendOver({.url = "http://no-such-host.invalid/"});
  EXPECT_EQ(unknown.code, E_FAIL);
  EXPECT_THAT(unknown.error, HasSubstr("Could not resolve host: no-such-host.invalid"));
}

TEST_P(HttpTransport, Failure_IsTraced_TwoErrorRecords) {
  std::string records;
  ZEPSetTraceObserver(
      [](const ZEPTraceRecord& record, void* context) {
        *static_cast<std::string*>(context) +=
            std::string(record.className) + "|" + record.traceGroup + "|" + record.text + "\n";
      },
      &records, false);
  SendOver({.url = "ftp://127.0.0.1/"});
  ZEPSetTraceObserver(nullptr, nullptr, false);
  EXPECT_THAT(records, HasSubstr("ZEPHttpTransport|CfgWeb|"));
  EXPECT_EQ(std::count(records.begin(), records.end(), '\n'), 2) << records;
  EXPECT_THAT(records, HasSubstr("the request is not sent: the URL is neither http nor https\n"));
}

TEST_P(HttpTransport, Environment_DoesNotRedirectTheCall_ProxyAndNetrc) {
  const std::filesystem::path home =
      std::filesystem::path(testing::TempDir()) / ("home-" + std::to_string(getpid()));
  std::filesystem::create_directories(home);
  std::ofstream(home / ".netrc") << "machine 127.0.0.1 login someone password secret\n";
  setenv("HOME", home.c_str(), 1);
  for (const char* const name : {"http_proxy", "HTTP_PROXY", "all_proxy", "ALL_PROXY"}) {
    setenv(name, "http://127.0.0.1:1/", 1);
  }
  EXPECT_EQ(Get().body, "ok");
  EXPECT_EQ(server.Requests().back().Line("Authorization"), "");
  std::filesystem::remove_all(home);
}

TEST_P(HttpTransport, Cookies_AreForgotten_SecondRequest) {
  server.Enqueue("HTTP/1.1 200 OK\r\nSet-Cookie: a=b; Path=/\r\nContent-Length: 0\r\n\r\n");
  Get();
  Get();
  ASSERT_EQ(server.Requests().size(), 2U);
  EXPECT_EQ(server.Requests().back().Line("Cookie"), "");
}

TEST_P(HttpTransport, Connection_IsUsedAgain_CallsInARow) {
  for (int i = 0; i < 5; ++i) {
    EXPECT_EQ(Get().body, "ok");
    EXPECT_EQ(SendWithBody("PUT", "x").body, "ok");
  }
  EXPECT_EQ(server.Requests().size(), 10U);
  EXPECT_EQ(server.ConnectionCount(), 1);
}

TEST_P(HttpTransport, Connection_IsNotUsedAgain_AfterAFailure) {
  setenv("ZEP_HTTP_STALL_TIMEOUT_MS", "100", 1);
  server.Enqueue("HTTP/1.1 200 OK\r\nContent-Length: 9\r\n\r\nabc", Afterwards::Hold);
  EXPECT_EQ(Get().code, E_FAIL);
  EXPECT_EQ(Get().body, "ok");
  EXPECT_EQ(server.ConnectionCount(), 2);
}

TEST_P(HttpTransport, StaleConnection_SendsAChangeOnce_ServerClosesOnTheRequest) {
  for (const char* const verb : {"PUT", "POST"}) {
    for (const char* const body : {"{\"change\":1}", ""}) {
      SCOPED_TRACE(std::string(verb) + " " + body);
      ASSERT_EQ(Get().body, "ok"); // leaves a connection open
      const std::size_t requestsBefore = server.Requests().size();
      const int connectionOfGet = server.Requests().back().connection;
      server.Enqueue("", Afterwards::Close);
      const HttpOutcome outcome = SendWithBody(verb, body);
      EXPECT_EQ(outcome.code, E_FAIL);
      EXPECT_THAT(outcome.error, HasSubstr("cannot be repeated"));
      ASSERT_EQ(server.Requests().size(), requestsBefore + 1);
      EXPECT_EQ(server.Requests().back().connection, connectionOfGet) << "the connection was not used again";
    }
  }
}

TEST_P(HttpTransport, StaleConnection_IsNoticed_ServerClosedBefore) {
  server.Enqueue(RawServer::Whole("HTTP/1.1 200 OK", "first"), Afterwards::Close);
  EXPECT_EQ(Get().body, "first");
  std::this_thread::sleep_for(milliseconds(50)); // until the end of the connection has arrived
  EXPECT_EQ(SendWithBody("POST", "x").body, "ok");
  EXPECT_EQ(server.Requests().size(), 2U);
}

TEST_P(HttpTransport, StaleConnection_RepeatsAGet_ServerClosesOnTheRequest) {
  ASSERT_EQ(Get().body, "ok");
  server.Enqueue("", Afterwards::Close);
  EXPECT_EQ(Get().body, "ok");
  EXPECT_EQ(server.Requests().size(), 3U);
}

TEST_P(HttpTransport, Threads_GetTheirOwnAnswers_ManyAtOnce) {
  constexpr int threadCount = 8;
  constexpr int callCount = 25;
  std::vector<std::thread> threads;
  std::atomic<int> answers = 0;
  for (int thread = 0; thread < threadCount; ++thread) {
    threads.emplace_back([&] {
      for (int call = 0; call < callCount; ++call) {
        answers += Get().body == "ok" ? 1 : 0;
      }
    });
  }
  for (std::thread& thread : threads) {
    thread.join();
  }
  EXPECT_EQ(answers, threadCount * callCount);
  EXPECT_LE(server.ConnectionCount(), threadCount);
}

TEST_P(HttpTransport, Fork_LeavesTheParentsConnectionAlone_ChildSends) {
  ASSERT_EQ(Get().body, "ok");
  const pid_t child = fork();
  if (child == 0) {
    // Replaced, not ended: what the threads of the parent own would look like leaks of the child.
    execl("/bin/sh", "sh", "-c", Get().body == "ok" ? "exit 0" : "exit 1", nullptr);
    _exit(127);
  }
  int status = -1;
  ASSERT_EQ(waitpid(child, &status, 0), child);
  EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0) << status;
  EXPECT_EQ(Get().body, "ok");
  const std::vector<RawServer::Request> requests = server.Requests();
  ASSERT_EQ(requests.size(), 3U);
  EXPECT_NE(requests[1].connection, requests[0].connection);
  EXPECT_EQ(requests[2].connection, requests[0].connection);
}

// Takes all numbers up to 63 for connections of the host, and gives them.
std::vector<int> ReplaceAllDescriptors() {
  for (int descriptor = 3; descriptor < 64; ++descriptor) {
    close(descriptor);
  }
  std::vector<int> mine;
  int ends[2] = {};
  while (ends[1] < 63 && socketpair(AF_UNIX, SOCK_STREAM, 0, ends) == 0) {
    mine.insert(mine.end(), std::begin(ends), std::end(ends));
  }
  return mine;
}

// Neither written to nor closed, nor is the other end.
bool IsUntouched(int connection) {
  char byte;
  return recv(connection, &byte, 1, MSG_DONTWAIT) == -1 && errno == EAGAIN;
}

TEST_P(HttpTransport, DescriptorsClosedByTheHost_WhatItOpensThenIsSpared_AnswerArrives) {
#if defined(__SANITIZE_ADDRESS__)
  GTEST_SKIP()
      << "the address sanitizer's allocator may be held by the server's thread when the process forks";
#endif
  const pid_t child = fork();
  if (child == 0) {
    alarm(20);
    bool isRight = Get().body == "ok";
    const std::vector<int> mine = ReplaceAllDescriptors();
    isRight = isRight && mine.size() >= 60 && Get().body == "ok" && Get().body == "ok" &&
              std::all_of(mine.begin(), mine.end(), IsUntouched);
    execl("/bin/sh", "sh", "-c", isRight ? "exit 0" : "exit 1", nullptr);
    _exit(127);
  }
  int status = -1;
  ASSERT_EQ(waitpid(child, &status, 0), child);
  EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0) << status;
  EXPECT_EQ(server.Requests().size(), 3U);
  EXPECT_EQ(server.ConnectionCount(), 2);
}

} // namespace
