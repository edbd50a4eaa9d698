#include "PLMCfgInTraceClass.h"
#include "ZEPCfgTracePerfo.h"
#include "ZEPTraceObserver.h"
#include "ZEPUnicodeString.h"
#include "session_test_support.h"

#include <algorithm>
#include <atomic>
#include <climits>
#include <clocale>
#include <locale>
#include <regex>
#include <thread>

#include <fcntl.h>
#include <gmock/gmock.h>
#include <nlohmann/json.hpp>
#include <sys/resource.h>
#include <sys/stat.h>

using session::Environment;
using session::InChild;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::SizeIs;

namespace {

enum Column { kTime, kThread, kMark, kClass, kMethod, kPlace, kText, kColumns };

void Detail(PLMCfgInTraceClass& trace, const char* text, int line = 7, const char* file = "Job.cpp") {
  trace.beginTrace(0) << text;
  trace.endTraceWithLineNumber(0, line, file);
}

void Error(PLMCfgInTraceClass& trace, const char* message) {
  Detail(trace, PLMCfgInTraceClass::GetError());
  Detail(trace, (std::string(PLMCfgInTraceClass::GetErrorIndent()) + message).c_str());
}

void Enter(PLMCfgInTraceClass& trace, std::string signature) {
  trace.SetMethod(signature.data());
  trace.beginTrace(1);
  trace.endTraceWithLineNumber(1, 3, "Job.cpp");
}

void Leave(PLMCfgInTraceClass& trace) {
  trace.beginTrace(2);
  trace.endTraceWithLineNumber(2, 3, nullptr);
  trace.RemoveMethod();
}

class TraceFile : public testing::Test {
protected:
  // What `body` writes in a process of its own, line by line.
  std::vector<std::string> LinesOf(const std::string& wanted, const std::function<void()>& body,
                                   Environment more = {}) {
    more["ZEP_TRACE"] = wanted;
    more["ZEP_TRACE_FILE"] = m_path;
    EXPECT_EQ(InChild(more,
                      [&] {
                        body();
                        return 0;
                      }),
              0);
    return session::Split(session::ContentOf(m_path), '\n');
  }

  // The same, the given column of each line.
  std::vector<std::string> ColumnOf(Column column, const std::string& wanted,
                                    const std::function<void()>& body, const Environment& more = {}) {
    std::vector<std::string> values;
    for (const std::string& line : LinesOf(wanted, body, more)) {
      const auto columns = session::Split(line, '\t');
      EXPECT_THAT(columns, SizeIs(kColumns)) << line;
      values.push_back(columns.size() == kColumns ? columns[column] : "");
    }
    return values;
  }

  std::vector<std::string> TextsOf(const std::string& wanted, const std::function<void()>& body,
                                   const Environment& more = {}) {
    return ColumnOf(kText, wanted, body, more);
  }

  session::TempDirectory m_directory;
  std::string m_path = m_directory.Path("trace.txt");
};

struct Seen {
  std::vector<ZEPTraceRecord> records;
  std::vector<std::string> texts;
  std::vector<std::string> methods;
};

void Collect(const ZEPTraceRecord& record, void* context) {
  auto* seen = static_cast<Seen*>(context);
  seen->records.push_back(record);
  seen->texts.emplace_back(record.text);
  seen->methods.emplace_back(record.method);
}

// Observes for as long as it lives.
class Observation {
public:
  explicit Observation(bool wantsDetails) { ZEPSetTraceObserver(Collect, &seen, wantsDetails); }
  ~Observation() { ZEPSetTraceObserver(nullptr, nullptr, false); }
  Observation(const Observation&) = delete;
  Observation& operator=(const Observation&) = delete;

  Seen seen;
};

} // namespace

TEST(trace_switch, selects_what_the_variable_names) {
  struct Row {
    int line;
    const char* wanted; // null: unset
    const char* className;
    const char* group;
    int activated;
    int perfo;
  };
  const Row rows[] = {
      Row{__LINE__, nullptr, "Job", "", 0, 0},     Row{__LINE__, "", "Job", "", 0, 0},
      Row{__LINE__, "0", "Job", "", 0, 0},         Row{__LINE__, "off", "Job", "", 0, 0},
      Row{__LINE__, " , ,", "Job", "", 0, 0},      Row{__LINE__, "1", "Job", "", 1, 1},
      Row{__LINE__, "all", "Job", "Web", 1, 1},    Row{__LINE__, "Job", "Job", "", 1, 0},
      Row{__LINE__, "job", "Job", "", 1, 0},       Row{__LINE__, "Jo", "Job", "", 0, 0},
      Row{__LINE__, "Jobs", "Job", "", 0, 0},      Row{__LINE__, "Other, Job ", "Job", "", 1, 0},
      Row{__LINE__, "Web", "Job", "Web", 1, 0},    Row{__LINE__, "Web", "Job", "", 0, 0},
      Row{__LINE__, "default", "Job", "", 1, 0},   Row{__LINE__, "default", "Job", "Web", 0, 0},
      Row{__LINE__, "perfo", "Job", "", 0, 1},     Row{__LINE__, "Web,perfo", "Job", "Web", 1, 1},
      Row{__LINE__, "Web,perfo", "Job", "", 0, 1}, Row{__LINE__, "Other,all", "Job", "", 1, 1},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(row.line);
    Environment environment{{"ZEP_TRACE_FILE", "/dev/null"}};
    if (row.wanted != nullptr) {
      environment["ZEP_TRACE"] = row.wanted;
    }
    const int answers = InChild(environment, [&row] {
      PLMCfgInTraceClass trace(row.className, row.group);
      return trace.IsActivated() * 2 + trace.IsPerfoActivated();
    });
    EXPECT_EQ(answers, row.activated * 2 + row.perfo);
  }
}

TEST(trace_switch, environment_is_read_at_the_first_question_and_only_then) {
  EXPECT_EQ(InChild({},
                    [] {
                      PLMCfgInTraceClass trace("Job", "");
                      setenv("ZEP_TRACE", "1", 1);
                      setenv("ZEP_TRACE_FILE", "/dev/null", 1);
                      const bool first = trace.IsActivated() == 1;
                      unsetenv("ZEP_TRACE");
                      return first && trace.IsActivated() == 1 ? 0 : 1;
                    }),
            0);
}

TEST_F(TraceFile, trace_line_has_its_columns) {
  const auto lines = LinesOf("1", [] {
    PLMCfgInTraceClass trace("Job", "Web");
    Enter(trace, "long __cdecl ns::Job::Run(const class ZEPUnicodeString &,int)");
    trace.beginTrace(0) << "name"
                        << " = " << 42;
    trace.endTraceWithLineNumber(0, 7, "Job.cpp");
  });
  ASSERT_THAT(lines, SizeIs(2));
  const std::regex shape(
      "\\d{4}-\\d\\d-\\d\\dT\\d\\d:\\d\\d:\\d\\d\\.\\d{6}Z\t\\d+\t-\tJob\tRun\tJob.cpp:7\t  name = 42");
  EXPECT_TRUE(std::regex_match(lines[1], shape)) << lines[1];
}

TEST_F(TraceFile, trace_line_empty_values_keep_their_columns) {
  const auto lines = LinesOf("1", [] {
    PLMCfgInTraceClass trace(nullptr, nullptr);
    trace.beginTrace(0);
    trace.endTraceWithLineNumber(0, 7, nullptr);
  });
  ASSERT_THAT(lines, SizeIs(1));
  EXPECT_THAT(lines[0], testing::EndsWith("\t-\t-\t-\t-:7\t"));
}

TEST_F(TraceFile, trace_line_entry_and_exit_enclose_nested_calls) {
  const auto lines = LinesOf("1", [] {
    PLMCfgInTraceClass outer("Outer", "");
    PLMCfgInTraceClass inner("Inner", "");
    Enter(outer, "long __cdecl Outer::Run(void)");
    Detail(outer, "before");
    Enter(inner, "long __cdecl Inner::Step(int)");
    Error(inner, "lost");
    Leave(inner);
    Detail(outer, "after");
    Leave(outer);
  });
  std::vector<std::string> shown;
  for (const std::string& line : lines) {
    const auto columns = session::Split(line, '\t');
    ASSERT_THAT(columns, SizeIs(kColumns));
    shown.push_back(columns[kMark] + " " + columns[kMethod] + " " + columns[kPlace] + "|" + columns[kText]);
  }
  EXPECT_THAT(shown, ElementsAre("> Run Job.cpp:3|enter",                //
                                 "- Run Job.cpp:7|  before",             //
                                 "> Step Job.cpp:3|  enter",             //
                                 "! Step Job.cpp:7|    **** ERROR ****", //
                                 "! Step Job.cpp:7|    **** lost",       //
                                 "< Step -:3|  leave",                   //
                                 "- Run Job.cpp:7|  after",              //
                                 "< Run -:3|leave"));
}

TEST_F(TraceFile, trace_line_endless_nesting_is_indented_within_bounds) {
  const auto texts = TextsOf("1", [] {
    PLMCfgInTraceClass trace("Job", "");
    for (int depth = 0; depth < 1000; ++depth) {
      Enter(trace, "long __cdecl Job::Run(void)");
    }
  });
  ASSERT_THAT(texts, SizeIs(1000));
  EXPECT_EQ(texts.back(), std::string(40, ' ') + "enter");
}

TEST_F(TraceFile, trace_line_is_one_line_whatever_the_text_holds) {
  struct Row {
    int line;
    std::string text;
    std::string shown;
  };
  const Row rows[] = {
      Row{__LINE__, "a\nb\r\nc\td", "a\\nb\\r\\nc\\td"},
      Row{__LINE__, "C:\\a\\b", "C:\\\\a\\\\b"},
      Row{__LINE__, "\x1b[31m\x7f\x01", "\\u001b[31m\\u007f\\u0001"},
      Row{__LINE__, "\xc2\x85|\xc2\x9b|\xe2\x80\xa8|\xe2\x80\xa9", "\\u0085|\\u009b|\\u2028|\\u2029"},
      Row{__LINE__, "caf\xc3\xa9 \xe6\xbc\xa2 \xf0\x9f\x9a\x80", "caf\xc3\xa9 \xe6\xbc\xa2 \xf0\x9f\x9a\x80"},
      Row{__LINE__, "\xff|\xc3", "\xef\xbf\xbd|\xef\xbf\xbd"},
      Row{__LINE__, "{} {0} %s %v", "{} {0} %s %v"},
  };
  const auto texts = TextsOf("1", [&rows] {
    PLMCfgInTraceClass trace("Job", "");
    for (const Row& row : rows) {
      Detail(trace, row.text.c_str());
    }
  });
  ASSERT_THAT(texts, SizeIs(std::size(rows)));
  for (std::size_t at = 0; at < std::size(rows); ++at) {
    SCOPED_TRACE(rows[at].line);
    EXPECT_EQ(texts[at], rows[at].shown);
  }
}

TEST_F(TraceFile, trace_line_columns_are_escaped_like_the_text) {
  const auto lines = LinesOf("1", [] {
    PLMCfgInTraceClass trace("J\tob", "");
    std::string signature = "R\nun(void)";
    trace.SetMethod(signature.data());
    Detail(trace, "x", 1, "J\tob.cpp");
  });
  ASSERT_THAT(lines, SizeIs(1));
  EXPECT_THAT(lines[0], HasSubstr("\tJ\\tob\tR\\nun\tJ\\tob.cpp:1\t"));
}

TEST_F(TraceFile, trace_text_is_joined_from_its_pieces) {
  EXPECT_THAT(TextsOf("1",
                      [] {
                        PLMCfgInTraceClass trace("Job", "");
                        const char16_t units[] = u"a\0b\xd800";
                        trace.beginTrace(0)
                            << INT_MIN << " " << LONG_MIN << " " << UINT_MAX << " "
                            << static_cast<const char*>(nullptr) << ZEPUnicodeString(" = [\xc3\xa9]")
                            << ZEPUnicodeString(units, 4);
                        trace.endTraceWithLineNumber(0, 1, nullptr);
                      }),
              ElementsAre("-2147483648 -9223372036854775808 4294967295  = [\xc3\xa9]a\\u0000b\xef\xbf\xbd"));
}

TEST_F(TraceFile, trace_long_text_is_written_whole) {
  const std::string text(3'000'000, 'x');
  EXPECT_THAT(TextsOf("1",
                      [&text] {
                        PLMCfgInTraceClass trace("Job", "");
                        Detail(trace, text.c_str());
                      }),
              ElementsAre(text));
}

TEST(trace_form, format_decides_and_else_the_name_of_the_file) {
  struct Row {
    int line;
    const char* format; // null: unset
    const char* file;
    bool isJSON;
  };
  const Row rows[] = {
      Row{__LINE__, nullptr, "a.trace", false}, Row{__LINE__, nullptr, "a.jsonl", true},
      Row{__LINE__, "", "a.jsonl", true},       Row{__LINE__, "json", "a.trace", true},
      Row{__LINE__, "text", "a.jsonl", false},  Row{__LINE__, "JSON", "a.trace", false},
      Row{__LINE__, "other", "a.jsonl", true},  Row{__LINE__, nullptr, "jsonl", false},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(row.line);
    const session::TempDirectory directory;
    Environment environment{{"ZEP_TRACE", "1"}, {"ZEP_TRACE_FILE", directory.Path(row.file)}};
    if (row.format != nullptr) {
      environment["ZEP_TRACE_FORMAT"] = row.format;
    }
    EXPECT_EQ(InChild(environment,
                      [] {
                        PLMCfgInTraceClass trace("Job", "");
                        Detail(trace, "text");
                        return 0;
                      }),
              0);
    EXPECT_EQ(nlohmann::json::accept(session::ContentOf(directory.Path(row.file))), row.isJSON);
  }
}

TEST_F(TraceFile, trace_object_has_its_members) {
  const auto lines = LinesOf("1",
                             [] {
                               PLMCfgInTraceClass trace("Job", "");
                               PLMCfgInTraceClass web("Web", "CfgWeb");
                               Enter(trace, "long __cdecl Job::Run(int)");
                               Enter(web, "long __cdecl Web::Ask(void)");
                               Detail(web, "a = [1]", 12);
                               Error(web, "no answer");
                               Detail(web, "perfo Ask: 1.000 ms", 5, nullptr);
                               Detail(web, "rc = E_FAIL");
                               Leave(web);
                               Leave(trace);
                               Detail(trace, "free");
                             },
                             {{"ZEP_TRACE_FORMAT", "json"}});
  ASSERT_THAT(lines, SizeIs(10));
  std::vector<nlohmann::json> objects;
  for (const std::string& line : lines) {
    objects.push_back(nlohmann::json::parse(line));
  }
  std::vector<std::string> kinds;
  for (const nlohmann::json& object : objects) {
    kinds.push_back(object.at("kind"));
    EXPECT_THAT(object.at("time").get<std::string>(),
                testing::MatchesRegex("[0-9-]{10}T[0-9:]{8}[.][0-9]{6}Z"));
    EXPECT_EQ(object.at("process"), object.at("thread")); // of a process with one thread
    EXPECT_EQ(object.size(), 11U);
  }
  EXPECT_THAT(kinds, ElementsAre("entry", "entry", "detail", "error", "error", "timing", "result", "exit",
                                 "exit", "detail"));
  nlohmann::json detail = objects[2];
  detail.erase("time");
  detail.erase("process");
  detail.erase("thread");
  EXPECT_EQ(detail, nlohmann::json::parse(R"({"kind": "detail", "class": "Web", "group": "CfgWeb",
      "method": "Ask", "file": "Job.cpp", "line": 12, "depth": 2, "text": "a = [1]"})"));
  EXPECT_EQ(objects[0].at("group"), "default");
  EXPECT_EQ(objects[0].at("depth"), 0);
  EXPECT_EQ(objects[0].at("text"), "");
  EXPECT_EQ(objects[5].at("file"), nullptr);
  EXPECT_EQ(objects[9].at("method"), nullptr);
}

TEST_F(TraceFile, trace_object_is_one_line_that_gives_the_text_back) {
  std::string text = "\"quoted\" back\\slash /\u00e4 \u20ac \U0001F600 \u2028 \u2029 \u0085 \x7f\t\r\n";
  for (char character = 1; character < 0x20; ++character) {
    text += character;
  }
  const auto lines = LinesOf("1",
                             [&] {
                               PLMCfgInTraceClass trace("Jo\"b", "");
                               Detail(trace, text.c_str());
                               Detail(trace, "broken \xff\xc3 end");
                             },
                             {{"ZEP_TRACE_FORMAT", "json"}});
  ASSERT_THAT(lines, SizeIs(2));
  EXPECT_EQ(nlohmann::json::parse(lines[0]).at("text"), text);
  EXPECT_EQ(nlohmann::json::parse(lines[0]).at("class"), "Jo\"b");
  EXPECT_EQ(lines[0].find("\u2028"), std::string::npos);
  EXPECT_EQ(nlohmann::json::parse(lines[1]).at("text"), "broken \uFFFD\uFFFD end");
}

TEST_F(TraceFile, trace_object_covers_the_security_context) {
  const auto lines = LinesOf("1",
                             [] {
                               PLMCfgInTraceClass trace("Job", "");
                               Detail(trace, "ustrSecurityContext = [Role.Secret]");
                             },
                             {{"ZEP_TRACE_FORMAT", "json"}});
  ASSERT_THAT(lines, SizeIs(1));
  EXPECT_EQ(nlohmann::json::parse(lines[0]).at("text"), "ustrSecurityContext = [***]");
}

TEST_F(TraceFile, trace_off_writes_nothing_and_makes_no_file) {
  EXPECT_THAT(LinesOf("",
                      [] {
                        PLMCfgInTraceClass trace("Job", "");
                        Detail(trace, "detail");
                        Error(trace, "lost");
                      }),
              IsEmpty());
  EXPECT_FALSE(std::filesystem::exists(m_path));
}

TEST_F(TraceFile, trace_of_other_classes_shows_their_errors_only) {
  EXPECT_THAT(TextsOf("Other",
                      [] {
                        PLMCfgInTraceClass trace("Job", "");
                        Detail(trace, "detail");
                        Error(trace, "lost");
                      }),
              ElementsAre("**** ERROR ****", "**** lost"));
}

TEST_F(TraceFile, trace_of_timings_alone_shows_timings_and_errors) {
  const auto texts = TextsOf("perfo", [] {
    PLMCfgInTraceClass trace("Job", "");
    ZEPCfgTracePerfo perfo("WebService");
    Detail(trace, "detail");
    Detail(trace, perfo.beginPerfo());
    Detail(trace, perfo.endPerfo());
    Error(trace, "lost");
  });
  ASSERT_THAT(texts, SizeIs(4));
  EXPECT_EQ(texts[0], "perfo WebService: begin");
  EXPECT_THAT(texts[1], testing::MatchesRegex("perfo WebService: [0-9]+\\.[0-9]+ ms"));
  EXPECT_EQ(texts[3], "**** lost");
}

TEST_F(TraceFile, trace_is_appended_and_readable_by_its_owner_alone) {
  m_directory.Write("trace.txt", "first\n");
  EXPECT_THAT(LinesOf("1",
                      [] {
                        PLMCfgInTraceClass trace("Job", "");
                        Detail(trace, "x");
                      }),
              SizeIs(2));
  std::filesystem::remove(m_path);
  LinesOf("1", [] {
    PLMCfgInTraceClass trace("Job", "");
    Detail(trace, "x");
  });
  EXPECT_EQ(std::filesystem::status(m_path).permissions(),
            std::filesystem::perms::owner_read | std::filesystem::perms::owner_write);
}

TEST_F(TraceFile, trace_security_context_is_covered) {
  const auto body = [] {
    PLMCfgInTraceClass trace("Job", "");
    trace.beginTrace(0) << "ustrSecurityContext"
                        << ZEPUnicodeString(" = [") + ZEPUnicodeString("ctx::secret") + "]";
    trace.endTraceWithLineNumber(0, 1, nullptr);
    Detail(trace, "ustrSecurityContext = []");
    Detail(trace, "ustrSecurityContext");
    Detail(trace, "other = [ctx]");
  };
  EXPECT_THAT(TextsOf("1", body), ElementsAre("ustrSecurityContext = [***]", "ustrSecurityContext = []",
                                              "ustrSecurityContext = [***]", "other = [ctx]"));
  std::filesystem::remove(m_path);
  EXPECT_THAT(TextsOf("1", body, {{"ZEP_TRACE_SECRETS", "0"}}).front(), "ustrSecurityContext = [***]");
  std::filesystem::remove(m_path);
  EXPECT_THAT(TextsOf("1", body, {{"ZEP_TRACE_SECRETS", "1"}}).front(),
              "ustrSecurityContext = [ctx::secret]");
}

TEST_F(TraceFile, trace_record_left_open_is_not_part_of_the_next) {
  EXPECT_THAT(TextsOf("1",
                      [] {
                        PLMCfgInTraceClass trace("Job", "");
                        PLMCfgInTraceClass other("Other", "");
                        trace.beginTrace(0) << "lost ";
                        Detail(trace, "one");
                        trace.beginTrace(0) << "lost ";
                        Detail(other, "two");
                        trace << "nowhere";
                        trace.endTraceWithLineNumber(0, 1, nullptr);
                        other << "nowhere";
                        other.endTraceWithLineNumber(0, 1, nullptr);
                        Detail(trace, "three");
                      }),
              ElementsAre("one", "two", "three"));
}

TEST_F(TraceFile, trace_method_of_the_outer_call_comes_back) {
  EXPECT_THAT(ColumnOf(kMethod, "1",
                       [] {
                         PLMCfgInTraceClass trace("Job", "");
                         trace.RemoveMethod();
                         Detail(trace, "x");
                         Enter(trace, "long __cdecl Job::Outer(void)");
                         Enter(trace, "long __cdecl Job::Inner(void)");
                         Leave(trace);
                         Detail(trace, "x");
                         Leave(trace);
                         Detail(trace, "x");
                       }),
              ElementsAre("-", "Outer", "Inner", "Inner", "Outer", "Outer", "-"));
}

TEST_F(TraceFile, trace_method_is_not_taken_over_by_a_later_object) {
  EXPECT_THAT(ColumnOf(kMethod, "1",
                       [] {
                         alignas(PLMCfgInTraceClass) std::byte place[sizeof(PLMCfgInTraceClass)];
                         auto* trace = new (place) PLMCfgInTraceClass("First", "");
                         Enter(*trace, "long __cdecl First::Run(void)");
                         trace->~PLMCfgInTraceClass();
                         trace = new (place) PLMCfgInTraceClass("Second", "");
                         Detail(*trace, "x");
                         trace->~PLMCfgInTraceClass();
                       }),
              ElementsAre("Run", "-"));
}

TEST_F(TraceFile, trace_threads_keep_their_records_and_methods_apart) {
  constexpr int kThreads = 8;
  constexpr int kRecords = 200;
  const auto lines = LinesOf("1", [] {
    PLMCfgInTraceClass trace("Job", "");
    std::vector<std::thread> threads;
    for (int thread = 0; thread < kThreads; ++thread) {
      threads.emplace_back([&trace, thread] {
        const std::string mine(1000, static_cast<char>('a' + thread));
        std::string signature = "Run_" + mine.substr(0, 1) + "(void)";
        trace.SetMethod(signature.data());
        for (int record = 0; record < kRecords; ++record) {
          trace.beginTrace(0) << mine.c_str() << mine.c_str();
          trace.endTraceWithLineNumber(0, record, nullptr);
        }
        trace.RemoveMethod();
      });
    }
    for (auto& thread : threads) {
      thread.join();
    }
  });
  ASSERT_THAT(lines, SizeIs(kThreads * kRecords));
  for (const std::string& line : lines) {
    const auto columns = session::Split(line, '\t');
    ASSERT_THAT(columns, SizeIs(kColumns));
    const char mine = columns[kMethod].back();
    ASSERT_EQ(columns[kText], "  " + std::string(2000, mine));
  }
}

TEST_F(TraceFile, trace_processes_that_share_a_file_keep_their_lines_whole) {
  const auto texts = TextsOf("1", [] {
    PLMCfgInTraceClass trace("Job", "");
    Detail(trace, "parent");
    std::vector<pid_t> children;
    for (int child = 0; child < 4; ++child) {
      children.push_back(fork());
      if (children.back() == 0) {
        const std::string mine(5000, static_cast<char>('a' + child));
        for (int record = 0; record < 100; ++record) {
          Detail(trace, mine.c_str());
        }
        _exit(0);
      }
    }
    for (const pid_t child : children) {
      session::WaitFor(child);
    }
  });
  ASSERT_THAT(texts, SizeIs(401));
  EXPECT_EQ(std::ranges::count(texts, "parent"), 1);
  for (char child = 'a'; child < 'e'; ++child) {
    EXPECT_EQ(std::ranges::count(texts, std::string(5000, child)), 100);
  }
}

TEST_F(TraceFile, trace_in_a_child_carries_its_own_number) {
  const auto lines = LinesOf("1", [] {
    PLMCfgInTraceClass trace("Job", "");
    Detail(trace, std::to_string(getpid()).c_str());
    const pid_t child = fork();
    if (child == 0) {
      Detail(trace, std::to_string(getpid()).c_str());
      _exit(0);
    }
    session::WaitFor(child);
    Detail(trace, std::to_string(getpid()).c_str());
  });
  ASSERT_THAT(lines, SizeIs(3));
  for (const std::string& line : lines) {
    const auto columns = session::Split(line, '\t');
    ASSERT_THAT(columns, SizeIs(kColumns));
    EXPECT_EQ(columns[kThread], columns[kText]);
  }
}

TEST_F(TraceFile, trace_in_a_child_forked_while_threads_trace_goes_on) {
#if defined(__SANITIZE_ADDRESS__)
  GTEST_SKIP() << "the sanitizer's allocator may stay locked in a child that is forked beside a busy thread";
#endif
  const auto texts = TextsOf("1", [] {
    PLMCfgInTraceClass trace("Job", "");
    std::atomic<bool> done = false;
    std::thread busy([&] {
      while (!done) {
        Detail(trace, "busy");
      }
    });
    for (int round = 0; round < 50; ++round) {
      const pid_t child = fork();
      if (child == 0) {
        alarm(20);
        Detail(trace, "child");
        _exit(0);
      }
      session::WaitFor(child);
    }
    done = true;
    busy.join();
  });
  EXPECT_EQ(std::ranges::count(texts, "child"), 50);
}

TEST_F(TraceFile, trace_numbers_do_not_depend_on_the_locale) {
  const std::string command =
      "localedef -i de_DE -f UTF-8 --no-archive " + m_directory.Path("de_DE.UTF-8") + " 2>/dev/null";
  ASSERT_EQ(std::system(command.c_str()), 0);
  const auto texts =
      TextsOf("1",
              [] {
                struct Grouping : std::numpunct<char> {
                  char do_decimal_point() const override { return ','; }
                  char do_thousands_sep() const override { return '.'; }
                  std::string do_grouping() const override { return "\3"; }
                };
                if (setlocale(LC_ALL, "de_DE.UTF-8") == nullptr || *localeconv()->decimal_point != ',') {
                  _exit(1);
                }
                std::locale::global(std::locale(std::locale(), new Grouping));
                PLMCfgInTraceClass trace("Job", "");
                ZEPCfgTracePerfo perfo("Work");
                trace.beginTrace(0) << 1234567 << " " << 1234567L << " " << 1234567U;
                trace.endTraceWithLineNumber(0, 1234, "Job.cpp");
                perfo.beginPerfo();
                Detail(trace, perfo.endPerfo());
              },
              {{"LOCPATH", m_directory.Path()}});
  ASSERT_THAT(texts, SizeIs(2));
  EXPECT_EQ(texts[0], "1234567 1234567 1234567");
  EXPECT_THAT(texts[1], testing::MatchesRegex("perfo Work: [0-9]+\\.[0-9][0-9][0-9] ms"));
  EXPECT_THAT(session::ContentOf(m_path), HasSubstr("\tJob.cpp:1234\t"));
}

TEST_F(TraceFile, trace_leaves_errno_alone) {
  LinesOf("1", [] {
    PLMCfgInTraceClass trace("Job", "");
    errno = ENOTTY;
    Enter(trace, "Run(void)");
    Detail(trace, "x");
    Leave(trace);
    if (errno != ENOTTY) {
      _exit(1);
    }
  });
}

TEST_F(TraceFile, trace_cut_off_line_is_ended_before_the_next) {
  const auto lines = LinesOf("1", [] {
    PLMCfgInTraceClass trace("Job", "");
    rlimit limit{};
    getrlimit(RLIMIT_FSIZE, &limit);
    const rlim_t before = limit.rlim_cur;
    limit.rlim_cur = 100;
    setrlimit(RLIMIT_FSIZE, &limit);
    Detail(trace, std::string(200, 'x').c_str());
    Detail(trace, "dropped");
    limit.rlim_cur = before;
    setrlimit(RLIMIT_FSIZE, &limit);
    Detail(trace, "whole");
  });
  ASSERT_THAT(lines, SizeIs(2));
  EXPECT_THAT(lines[0], SizeIs(100));
  EXPECT_THAT(lines[1], testing::EndsWith("\twhole"));
}

TEST(trace_target, that_cannot_take_records_changes_nothing) {
  const session::TempDirectory directory;
  const std::string pipe = directory.Path("pipe");
  ASSERT_EQ(mkfifo(pipe.c_str(), 0600), 0);
  struct Row {
    int line;
    std::string path;
    int activated; // a file that opens is believed
    bool reported;
  };
  const Row rows[] = {
      Row{__LINE__, directory.Path("missing/trace.txt"), 0, true},
      Row{__LINE__, directory.Path(), 0, true},
      Row{__LINE__, pipe, 0, true},
      Row{__LINE__, std::string(5000, 'x'), 0, true},
      Row{__LINE__, "/dev/full", 1, false},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(row.line);
    const std::string stderrPath = directory.Path("stderr");
    const int ended = InChild({{"ZEP_TRACE", "1"}, {"ZEP_TRACE_FILE", row.path}}, [&] {
      dup2(open(stderrPath.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0600), STDERR_FILENO);
      PLMCfgInTraceClass trace("Job", "");
      const int activated = trace.IsActivated();
      Enter(trace, "Run(void)");
      for (int record = 0; record < 100; ++record) {
        Detail(trace, "x");
      }
      Error(trace, "lost");
      Leave(trace);
      return activated;
    });
    EXPECT_EQ(ended, row.activated);
    const auto reports = session::Split(session::ContentOf(stderrPath), '\n');
    EXPECT_THAT(reports, SizeIs(row.reported ? 1 : 0));
    if (row.reported && !reports.empty()) {
      EXPECT_THAT(reports[0], testing::StartsWith("ZEP_TRACE_FILE: cannot write to " + row.path + ": "));
    }
  }
}

TEST(trace_target, is_the_standard_error_when_none_is_named) {
  const session::TempDirectory directory;
  for (const char* named : {"", "-"}) {
    SCOPED_TRACE(named);
    const std::string path = directory.Path("stderr");
    EXPECT_EQ(InChild({{"ZEP_TRACE", "1"}, {"ZEP_TRACE_FILE", named}},
                      [&path] {
                        PLMCfgInTraceClass trace("Job", "");
                        trace.IsActivated();
                        dup2(open(path.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0600), STDERR_FILENO);
                        Detail(trace, "shown");
                        return 0;
                      }),
              0);
    EXPECT_THAT(session::ContentOf(path), testing::EndsWith("\tshown\n"));
  }
}

TEST(trace_target, pipe_without_a_reader_ends_no_process) {
  EXPECT_EQ(InChild({{"ZEP_TRACE", "1"}},
                    [] {
                      signal(SIGPIPE, SIG_DFL);
                      int ends[2];
                      if (pipe(ends) != 0) {
                        return 2;
                      }
                      dup2(ends[1], STDERR_FILENO);
                      close(ends[0]);
                      PLMCfgInTraceClass trace("Job", "");
                      Detail(trace, "x");
                      sigset_t pending;
                      sigpending(&pending);
                      return sigismember(&pending, SIGPIPE);
                    }),
            0);
}

TEST(trace_target, closed_while_running_changes_nothing) {
  EXPECT_EQ(InChild({{"ZEP_TRACE", "1"}},
                    [] {
                      close(STDERR_FILENO);
                      PLMCfgInTraceClass trace("Job", "");
                      Error(trace, "lost");
                      return 0;
                    }),
            0);
}

TEST(trace_target, descriptor_is_not_handed_to_other_programs) {
  const session::TempDirectory directory;
  EXPECT_EQ(InChild({{"ZEP_TRACE", "1"}, {"ZEP_TRACE_FILE", directory.Path("trace.txt")}},
                    [] {
                      close(STDIN_FILENO);
                      PLMCfgInTraceClass trace("Job", "");
                      Detail(trace, "x");
                      int inherited = fcntl(STDIN_FILENO, F_GETFD) == -1 ? 0 : 1;
                      for (int descriptor = 3; descriptor < 50; ++descriptor) {
                        std::error_code ignored;
                        const auto target = std::filesystem::read_symlink(
                            "/proc/self/fd/" + std::to_string(descriptor), ignored);
                        if (target.filename() == "trace.txt") {
                          inherited += (fcntl(descriptor, F_GETFD) & FD_CLOEXEC) == 0 ? 1 : 0;
                        }
                      }
                      return inherited;
                    }),
            0);
}

namespace {

// The numbers that this process has the file open by.
std::vector<int> NumbersOf(const std::string& path) {
  std::vector<int> numbers;
  for (const auto& entry : std::filesystem::directory_iterator("/proc/self/fd")) {
    std::error_code ignored;
    if (std::filesystem::read_symlink(entry.path(), ignored) == path) {
      numbers.push_back(std::stoi(entry.path().filename()));
    }
  }
  return numbers;
}

// Gives the number by which this process has the trace open to another file, opened as the flags say.
int Replace(const std::string& trace, const std::string& other, int flags) {
  const auto numbers = NumbersOf(trace);
  const int opened = open(other.c_str(), flags | O_CLOEXEC, 0600);
  if (numbers.size() != 1 || dup2(opened, numbers[0]) != numbers[0]) {
    _exit(90);
  }
  close(opened);
  return numbers[0];
}

} // namespace

TEST_F(TraceFile, trace_whose_number_was_given_to_another_file_goes_on_in_its_own) {
  const std::string victim = m_directory.Path("victim");
  struct Row {
    int line;
    std::string path;
    int flags;
  };
  const Row rows[] = {
      Row{__LINE__, victim, O_WRONLY | O_CREAT | O_TRUNC},
      Row{__LINE__, victim, O_WRONLY | O_CREAT | O_TRUNC | O_APPEND},
      Row{__LINE__, m_path, O_WRONLY}, // would be overwritten from its beginning
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(row.line);
    std::filesystem::remove(m_path);
    EXPECT_THAT(TextsOf("1",
                        [&] {
                          PLMCfgInTraceClass trace("Job", "");
                          for (const char* const text : {"first", "second"}) {
                            Detail(trace, text);
                            const int theirs = Replace(m_path, row.path, row.flags);
                            Detail(trace, "behind");
                            close(theirs);
                          }
                        }),
                ElementsAre("first", "behind", "second", "behind"));
    EXPECT_EQ(session::ContentOf(victim), "");
  }
}

TEST_F(TraceFile, trace_that_cannot_be_opened_again_is_dropped_until_it_can) {
  const std::string victim = m_directory.Path("victim");
  m_path = m_directory.Path("folder/trace.txt");
  const std::string moved = m_directory.Path("moved");
  m_directory.Write("folder/trace.txt", "");
  EXPECT_THAT(TextsOf("1",
                      [&] {
                        PLMCfgInTraceClass trace("Job", "");
                        Detail(trace, "first");
                        Replace(m_path, victim, O_WRONLY | O_CREAT);
                        std::filesystem::rename(m_directory.Path("folder"), moved);
                        Error(trace, "dropped");
                        std::filesystem::rename(moved, m_directory.Path("folder"));
                        Detail(trace, "again");
                      }),
              ElementsAre("first", "again"));
  EXPECT_EQ(session::ContentOf(victim), "");
}

TEST_F(TraceFile, trace_is_opened_again_once_for_all_threads) {
  const auto lines = LinesOf("1", [this] {
    PLMCfgInTraceClass trace("Job", "");
    Detail(trace, "first");
    close(NumbersOf(m_path).at(0));
    std::vector<std::thread> threads;
    for (int thread = 0; thread < 4; ++thread) {
      threads.emplace_back([&trace] {
        for (int record = 0; record < 50; ++record) {
          Detail(trace, "x");
        }
      });
    }
    for (auto& thread : threads) {
      thread.join();
    }
    if (NumbersOf(m_path).size() != 1) {
      _exit(1);
    }
  });
  EXPECT_THAT(lines, SizeIs(201));
}

TEST_F(TraceFile, trace_closed_by_a_forked_child_goes_on_in_both) {
  EXPECT_THAT(TextsOf("1",
                      [this] {
                        PLMCfgInTraceClass trace("Job", "");
                        Detail(trace, "first");
                        const pid_t child = fork();
                        if (child == 0) {
                          close(NumbersOf(m_path).at(0));
                          Detail(trace, "child");
                          _exit(NumbersOf(m_path).size() == 1 ? 0 : 1);
                        }
                        if (session::WaitFor(child) != 0) {
                          _exit(1);
                        }
                        Detail(trace, "parent");
                      }),
              ElementsAre("first", "child", "parent"));
}

TEST(trace_observer, sees_errors_with_the_trace_off) {
  session::SetEnvironment({});
  PLMCfgInTraceClass trace("Job", "Web");
  Observation observation(false);
  EXPECT_EQ(trace.IsActivated(), 0);
  Error(trace, "lost");
  EXPECT_THAT(observation.seen.texts, ElementsAre("**** ERROR ****", "**** lost"));
}

TEST(trace_observer, is_asked_for_anew_after_the_trace_was_found_off) {
  session::SetEnvironment({});
  PLMCfgInTraceClass trace("Job", "");
  for (int round = 0; round < 2; ++round) {
    EXPECT_EQ(trace.IsActivated(), 0);
    {
      Observation observation(true);
      EXPECT_EQ(trace.IsActivated(), 1);
    }
    EXPECT_EQ(trace.IsActivated(), 0);
    Observation errorsOnly(false);
    EXPECT_EQ(trace.IsActivated(), 0);
  }
}

TEST(trace_observer, sees_every_part_of_a_record) {
  session::SetEnvironment({});
  PLMCfgInTraceClass trace("Job", "Web");
  Observation observation(true);
  EXPECT_EQ(trace.IsActivated(), 1);
  std::string signature = "long __cdecl Job::Run(void)";
  Enter(trace, signature);
  trace.beginTrace(0) << "name = " << 5;
  trace.endTraceWithLineNumber(0, 9, "Job.cpp");
  Leave(trace);
  const auto& seen = observation.seen;
  ASSERT_THAT(seen.records, SizeIs(3));
  EXPECT_STREQ(seen.records[1].className, "Job");
  EXPECT_STREQ(seen.records[1].traceGroup, "Web");
  EXPECT_STREQ(seen.records[1].file, "Job.cpp");
  EXPECT_EQ(seen.records[0].level, 1);
  EXPECT_EQ(seen.records[1].level, 0);
  EXPECT_EQ(seen.records[2].level, 2);
  EXPECT_EQ(seen.records[1].line, 9);
  EXPECT_EQ(seen.records[2].line, 3);
  EXPECT_EQ(seen.records[2].file, nullptr);
  EXPECT_THAT(seen.texts, ElementsAre("", "name = 5", ""));
  EXPECT_THAT(seen.methods, ElementsAre(signature, signature, signature));
}

TEST(trace_observer, removed_sees_nothing_more) {
  session::SetEnvironment({});
  PLMCfgInTraceClass trace("Job", "");
  Seen seen;
  ZEPSetTraceObserver(Collect, &seen, true);
  ZEPSetTraceObserver(nullptr, nullptr, true);
  EXPECT_EQ(trace.IsActivated(), 0);
  Error(trace, "lost");
  EXPECT_THAT(seen.texts, IsEmpty());
}

TEST(trace_observer, may_remove_itself) {
  session::SetEnvironment({});
  PLMCfgInTraceClass trace("Job", "");
  static int calls;
  calls = 0;
  ZEPSetTraceObserver(
      [](const ZEPTraceRecord&, void*) {
        ++calls;
        ZEPSetTraceObserver(nullptr, nullptr, false);
      },
      nullptr, true);
  Detail(trace, "one");
  Detail(trace, "two");
  EXPECT_EQ(calls, 1);
}

TEST(trace_observer, that_traces_is_not_called_for_it) {
  session::SetEnvironment({});
  static PLMCfgInTraceClass trace("Job", "");
  static int calls;
  calls = 0;
  ZEPSetTraceObserver(
      [](const ZEPTraceRecord&, void*) {
        ++calls;
        Detail(trace, "again");
      },
      nullptr, true);
  Detail(trace, "one");
  ZEPSetTraceObserver(nullptr, nullptr, false);
  EXPECT_EQ(calls, 1);
}

TEST(trace_observer, sees_no_secret) {
  session::SetEnvironment({});
  PLMCfgInTraceClass trace("Job", "");
  Observation observation(true);
  Detail(trace, "ustrSecurityContext = [ctx::secret]");
  EXPECT_THAT(observation.seen.texts, ElementsAre("ustrSecurityContext = [***]"));
}

TEST(trace_observer, is_called_by_one_thread_at_a_time) {
  session::SetEnvironment({});
  PLMCfgInTraceClass trace("Job", "");
  Observation observation(true);
  std::vector<std::thread> threads;
  for (int thread = 0; thread < 4; ++thread) {
    threads.emplace_back([&trace] {
      for (int record = 0; record < 500; ++record) {
        Detail(trace, "x");
      }
    });
  }
  for (auto& thread : threads) {
    thread.join();
  }
  EXPECT_THAT(observation.seen.texts, SizeIs(2000));
}

TEST_F(TraceFile, trace_observer_that_wants_details_does_not_widen_the_file) {
  EXPECT_THAT(TextsOf("Job",
                      [] {
                        PLMCfgInTraceClass trace("Job", "");
                        PLMCfgInTraceClass other("Other", "");
                        const Observation observation(true);
                        Detail(trace, "mine");
                        Detail(other, "theirs");
                        Error(other, "lost");
                        if (observation.seen.texts.size() != 4) {
                          _exit(1);
                        }
                      }),
              ElementsAre("mine", "**** ERROR ****", "**** lost"));
}

namespace {

// Runs the probe, whose own statics trace while it is loaded and while it ends.
int RunProbe(const Environment& environment, bool withStandardError, const std::string& victim,
             const char* daemon = nullptr) {
  return InChild(environment, [&] {
    if (!withStandardError) {
      close(STDERR_FILENO);
    }
    execl(ZEP_SESSION_PROBE, ZEP_SESSION_PROBE, victim.c_str(), daemon, nullptr);
    return 127;
  });
}

} // namespace

TEST_F(TraceFile, trace_works_before_and_behind_main) {
  EXPECT_EQ(RunProbe({{"ZEP_TRACE", "1"}, {"ZEP_TRACE_FILE", m_path}}, true, m_directory.Path("victim")), 0);
  std::vector<std::string> texts;
  for (const std::string& line : session::Split(session::ContentOf(m_path), '\n')) {
    texts.push_back(line.substr(line.rfind('\t') + 1));
  }
  EXPECT_THAT(texts, ElementsAre("load", "main", "unload"));
}

TEST_F(TraceFile, trace_of_a_daemon_goes_on_and_spares_the_files_that_take_its_number) {
  const auto here = std::filesystem::current_path();
  std::filesystem::current_path(m_directory.Path());
  const std::string victim = m_directory.Path("victim");
  for (const char* const daemon : {"main", "end"}) {
    for (const std::string& path : {m_path, std::string("trace.txt")}) {
      SCOPED_TRACE(daemon + (" " + path));
      EXPECT_EQ(RunProbe({{"ZEP_TRACE", "1"}, {"ZEP_TRACE_FILE", path}}, true, victim, daemon), 0);
      std::vector<std::string> texts;
      for (const std::string& line : session::Split(session::ContentOf(m_path), '\n')) {
        texts.push_back(line.substr(line.rfind('\t') + 1));
      }
      EXPECT_THAT(texts, ElementsAre("load", "main", "unload"));
      EXPECT_EQ(session::Split(session::ContentOf(victim), '\n'), std::vector<std::string>(61, "mine"));
      std::filesystem::remove(m_path);
      std::filesystem::remove(victim);
    }
  }
  std::filesystem::current_path(here);
}

TEST_F(TraceFile, trace_off_works_before_and_behind_main) {
  EXPECT_EQ(RunProbe({}, true, m_directory.Path("victim")), 0);
}

TEST_F(TraceFile, trace_without_a_standard_error_spares_the_file_that_takes_its_number) {
  const std::string victim = m_directory.Path("victim");
  EXPECT_EQ(RunProbe({{"ZEP_TRACE", "1"}}, false, victim), 0);
  EXPECT_EQ(session::ContentOf(victim), "mine\n");
  std::filesystem::remove(victim);
  EXPECT_EQ(RunProbe({{"ZEP_TRACE", "1"}, {"ZEP_TRACE_FILE", m_path}}, false, victim), 0);
  EXPECT_EQ(session::ContentOf(victim), "mine\n");
  EXPECT_THAT(session::Split(session::ContentOf(m_path), '\n'), SizeIs(3));
}
