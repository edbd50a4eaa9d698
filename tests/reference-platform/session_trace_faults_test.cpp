// What a trace that cannot be written, or that would tell too much, does to web-service calls: nothing.
#include "HostileServer.h"
#include "HttpCalls.h"
#include "ZEPCfgWebServices.h"
#include "ZEPCfgXMLExpressionServices.h"
#include "ZEPError.h"
#include "ZEPHResult.h"
#include "ZEPTraceObserver.h"
#include "session_test_support.h"

#include <algorithm>
#include <csignal>

#include <fcntl.h>
#include <gmock/gmock.h>
#include <sys/stat.h>

using session::Environment;
using testing::HasSubstr;
using testing::Not;

namespace {

const std::string kContext = "Design lead.Kestrel.Shared workshop";

HostileAnswer Whole(const std::string& statusLine, const std::string& body) {
  HostileAnswer answer;
  answer.pieces = {{statusLine + "\r\nContent-Length: " + std::to_string(body.size()) + "\r\n\r\n" + body}};
  return answer;
}

struct Called {
  long result;
  std::string body;
};

Called Call(bool isLegacy, int port) {
  const ZEPUnicodeString url = Text(std::to_string(port) + "/service");
  ZEPUnicodeString body = "before";
  const long result = isLegacy ? ZEPCfgWebServices::OldCallWebService("POST", url, "{}", body)
                               : ZEPCfgWebServices::NewCallWebService("POST", url, "{}", body);
  return {result, Bytes(body)};
}

Environment SessionWith(Environment more) {
  more.insert({"ZEP_URL", "http://127.0.0.1:"}); // the port stands in front of the path
  more.insert({"ZEP_CONTEXT", kContext});
  return more;
}

// Runs calls on both stacks; 0 where all of them gave what they should.
int CallsIn(const Environment& environment, int port, const Called& expected,
            const std::function<void()>& before) {
  return session::InChild(SessionWith(environment), [&] {
    signal(SIGPIPE, SIG_DFL);
    before();
    for (const bool isLegacy : {false, true, false, true}) {
      const Called called = Call(isLegacy, port);
      if (called.result != expected.result || called.body != expected.body) {
        return 1;
      }
    }
    return 0;
  });
}

void PipeWithoutReader(int descriptor) {
  int ends[2];
  if (pipe(ends) != 0) {
    _exit(99);
  }
  dup2(ends[1], descriptor);
  close(ends[0]);
  close(ends[1]);
}

// Whatever is traced, in the file and for the observer, one after the other.
std::string Traced(const Environment& environment, const std::string& path, int port) {
  std::filesystem::remove(path);
  Environment more = environment;
  more["ZEP_TRACE_FILE"] = path;
  const int ended = session::InChild(SessionWith(more), [&] {
    std::string observed;
    ZEPSetTraceObserver(
        [](const ZEPTraceRecord& record, void* context) {
          *static_cast<std::string*>(context) += std::string(record.text) + "\n";
        },
        &observed, true);
    for (const bool isLegacy : {false, true}) {
      const long result = Call(isLegacy, port).result;
      observed += LastError(result) + "\n";
    }
    ZEPSetTraceObserver(nullptr, nullptr, false);
    std::ofstream(path + ".observed", std::ios::binary) << observed;
    return 0;
  });
  EXPECT_EQ(ended, 0);
  return session::ContentOf(path) + session::ContentOf(path + ".observed");
}

} // namespace

TEST(trace_faults, never_change_the_result_of_a_call) {
  const session::TempDirectory directory;
  const std::string fifo = directory.Path("fifo");
  ASSERT_EQ(mkfifo(fifo.c_str(), 0600), 0);
  const std::string readOnly = directory.Write("read-only", "");
  using std::filesystem::perms;
  std::filesystem::permissions(readOnly, perms::owner_read | perms::group_read | perms::others_read);
  // The file alone is to refuse.
  std::filesystem::permissions(directory.Path(), perms::owner_all | perms::group_exec | perms::others_exec);
  const std::string loop = directory.Path("loop");
  std::filesystem::create_symlink(loop, loop);
  const auto nothing = [] {};
  struct Row {
    int line;
    std::string path;
    std::function<void()> before;
  };
  const Row rows[] = {
      Row{__LINE__, "/dev/full", nothing},
      Row{__LINE__, directory.Path("missing/trace"), nothing},
      Row{__LINE__, directory.Path(), nothing},
      Row{__LINE__, fifo, nothing},
      Row{__LINE__, loop, nothing},
      Row{__LINE__, "/proc/self/nothing", nothing},
      Row{__LINE__, readOnly,
          [&] {
            // Nothing is refused to root.
            if (geteuid() == 0 && seteuid(65534) != 0) {
              _exit(98);
            }
            if (faccessat(AT_FDCWD, readOnly.c_str(), R_OK, AT_EACCESS) != 0 ||
                faccessat(AT_FDCWD, readOnly.c_str(), W_OK, AT_EACCESS) == 0) {
              _exit(97);
            }
          }},
      Row{__LINE__, "trace",
          [&] {
            std::filesystem::create_directory(directory.Path("gone"));
            std::filesystem::current_path(directory.Path("gone"));
            std::filesystem::remove(directory.Path("gone"));
          }},
      Row{__LINE__, "-", [] { close(STDERR_FILENO); }},
      Row{__LINE__, "-", [] { PipeWithoutReader(STDERR_FILENO); }},
      Row{__LINE__, "-", [] { dup2(open("/dev/full", O_WRONLY | O_CLOEXEC), STDERR_FILENO); }},
      Row{__LINE__, "-", [] { dup2(open("/dev/null", O_RDONLY | O_CLOEXEC), STDERR_FILENO); }},
  };
  struct Answered {
    HostileAnswer answer;
    Called expected;
  };
  const Answered answers[] = {
      {Whole("HTTP/1.1 200 OK", "fine"), {S_OK, "fine"}},
      {Whole("HTTP/1.1 403 Forbidden", "no"), {ZEP_E_HTTP_STATUS, "no"}},
      {Whole("HTTP/1.1 200 OK\r\nContent-Length: 1", "torn"), {E_FAIL, ""}},
  };
  for (const Answered& answered : answers) {
    const HostileServer server(answered.answer);
    for (const Row& row : rows) {
      SCOPED_TRACE(row.line);
      EXPECT_EQ(CallsIn({{"ZEP_TRACE", "1"}, {"ZEP_TRACE_FILE", row.path}}, server.Port(), answered.expected,
                        [&] {
                          dup2(open("/dev/null", O_WRONLY | O_CLOEXEC), STDERR_FILENO);
                          row.before();
                        }),
                0);
    }
  }
}

TEST(trace_faults, closing_all_descriptors_changes_no_result_and_no_file_that_is_opened_then) {
  const session::TempDirectory directory;
  const std::string path = directory.Path("trace");
  const std::string victim = directory.Path("victim");
  const ZEPUnicodeString expression = "<a/>";
  std::size_t records[2] = {};
  for (const bool isClosed : {false, true}) {
    std::filesystem::remove(path);
    EXPECT_EQ(session::InChild({{"ZEP_TRACE", "1"}, {"ZEP_TRACE_FILE", path}},
                               [&] {
                                 ZEPUnicodeString before;
                                 ZEPUnicodeString after;
                                 const long expected =
                                     ZEPCfgXMLExpressionServices::RemoveDescription(expression, before);
                                 if (isClosed) {
                                   for (int descriptor = 3; descriptor < 64; ++descriptor) {
                                     close(descriptor);
                                   }
                                   while (open(victim.c_str(), O_WRONLY | O_CREAT, 0600) < 63) {}
                                 }
                                 const long result =
                                     ZEPCfgXMLExpressionServices::RemoveDescription(expression, after);
                                 return result == expected && Bytes(after) == Bytes(before) ? 0 : 1;
                               }),
              0);
    records[isClosed ? 1 : 0] = session::Split(session::ContentOf(path), '\n').size();
  }
  EXPECT_GT(records[0], 0U);
  EXPECT_EQ(records[0], records[1]);
  EXPECT_TRUE(std::filesystem::exists(victim));
  EXPECT_EQ(session::ContentOf(victim), "");
}

TEST(trace_faults, security_context_is_covered_wherever_it_comes_up) {
  const session::TempDirectory directory;
  const std::string path = directory.Path("trace");
  struct Row {
    int line;
    HostileAnswer answer;
  };
  const std::string echo =
      "{\"headers\":{\"SecurityContext\":\"" + kContext + "\"},\"again\":\"" + kContext + "\"}";
  const Row rows[] = {
      Row{__LINE__, Whole("HTTP/1.1 200 OK", echo)},
      Row{__LINE__, Whole("HTTP/1.1 403 Forbidden", echo)},
      Row{__LINE__, Whole("HTTP/1.1 500 " + kContext, echo)},
      Row{__LINE__, Whole("HTTP/1.1 404 " + kContext, echo)},
      Row{__LINE__, Whole("HTTP/1.1 200 OK\r\nContent-Length: 1", echo)},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(row.line);
    const HostileServer server(row.answer);
    for (const char* const wanted : {"1", "CfgWeb", "Other"}) {
      EXPECT_THAT(Traced({{"ZEP_TRACE", wanted}}, path, server.Port()), Not(HasSubstr(kContext))) << wanted;
    }
    EXPECT_THAT(Traced({{"ZEP_TRACE", "1"}, {"ZEP_TRACE_SECRETS", "1"}}, path, server.Port()),
                HasSubstr(kContext));
  }
}

TEST(trace_faults, security_context_is_not_told_by_the_failure_to_send_it) {
  const session::TempDirectory directory;
  for (const char* const context : {"Design lead.Kestrel\x01.Shared", "Design lead.Kestrel\r\nEvil: 1"}) {
    const HostileServer server(Whole("HTTP/1.1 200 OK", "fine"));
    const std::string traced =
        Traced({{"ZEP_TRACE", "1"}, {"ZEP_CONTEXT", context}}, directory.Path("trace"), server.Port());
    EXPECT_THAT(traced, HasSubstr("the value of the header SecurityContext holds a control character"));
    EXPECT_THAT(traced, Not(HasSubstr("Kestrel")));
    EXPECT_EQ(server.RequestCount(), 0);
  }
}

TEST(trace_faults, answer_of_line_ends_and_control_characters_stays_one_line) {
  const session::TempDirectory directory;
  const std::string path = directory.Path("trace");
  const std::string body = std::string("a\nb\r\nc\td\0e\x1b[2J\x7f\xff\xc2\x85\xe2\x80\xa8\xe2\x80\xa9", 24) +
                           "2024-05-01T12:00:00.123456Z\t1\t!\tForged\tRun\tx:1\tforged\n";
  for (const char* const status : {"HTTP/1.1 200 OK", "HTTP/1.1 403 Forbidden"}) {
    const HostileServer server(Whole(status, body));
    Traced({{"ZEP_TRACE", "1"}}, path, server.Port());
    const std::string content = session::ContentOf(path);
    EXPECT_THAT(content, HasSubstr("a\\nb\\r\\nc\\td"));
    for (const std::string& line : session::Split(content, '\n')) {
      EXPECT_EQ(std::count(line.begin(), line.end(), '\t'), 6) << line;
      EXPECT_EQ(line.find("\tForged\t"), std::string::npos) << line;
      EXPECT_TRUE(std::none_of(line.begin(), line.end(), [](unsigned char c) {
        return c < 0x20 && c != '\t';
      })) << line;
    }
  }
}
