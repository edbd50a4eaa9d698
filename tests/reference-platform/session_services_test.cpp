#include "QRLSysTSGetArg.h"
#include "ZEPCfgInfraServices.h"
#include "ZEPCfgTracePerfo.h"
#include "ZEPError.h"
#include "ZEPHResult.h"
#include "ZEPLastError.h"
#include "ZEPUnicodeString.h"
#include "session_test_support.h"
#include "valueToMacro.h"

#include <chrono>
#include <memory>
#include <optional>
#include <thread>

#include <gmock/gmock.h>

namespace {

struct Releases {
  void operator()(ZEPError* error) const { error->Release(); }
};

// The message of this thread's last error, or nothing.
std::optional<std::string> LastMessage(long code) {
  const std::unique_ptr<ZEPError, Releases> error(ZEPError::ZEPGetLastError(code, nullptr));
  return error ? std::optional<std::string>(error->GetMessageText().ConvertToChar()) : std::nullopt;
}

} // namespace

TEST(result_names, are_the_standard_ones) {
  struct Row {
    int line;
    long code;
    const char* name;
  };
  const Row rows[] = {
      Row{__LINE__, 0, "S_OK"},
      Row{__LINE__, 1, "S_FALSE"},
      Row{__LINE__, ZEPHResultFromBits(0x80004001U), "E_NOTIMPL"},
      Row{__LINE__, ZEPHResultFromBits(0x80004002U), "E_NOINTERFACE"},
      Row{__LINE__, ZEPHResultFromBits(0x80004003U), "E_POINTER"},
      Row{__LINE__, ZEPHResultFromBits(0x80004004U), "E_ABORT"},
      Row{__LINE__, ZEPHResultFromBits(0x80004005U), "E_FAIL"},
      Row{__LINE__, ZEPHResultFromBits(0x8000FFFFU), "E_UNEXPECTED"},
      Row{__LINE__, ZEPHResultFromBits(0x80040154U), "REGDB_E_CLASSNOTREG"},
      Row{__LINE__, ZEPHResultFromBits(0x80070005U), "E_ACCESSDENIED"},
      Row{__LINE__, ZEPHResultFromBits(0x80070006U), "E_HANDLE"},
      Row{__LINE__, ZEPHResultFromBits(0x8007000EU), "E_OUTOFMEMORY"},
      Row{__LINE__, ZEPHResultFromBits(0x80070057U), "E_INVALIDARG"},
  };
  EXPECT_EQ(valueToMacro.size(), std::size(rows));
  for (const Row& row : rows) {
    SCOPED_TRACE(row.line);
    const auto found = valueToMacro.find(row.code);
    ASSERT_NE(found, valueToMacro.end());
    EXPECT_STREQ(found->second, row.name);
  }
}

TEST(result_names, http_codes_have_none) {
  EXPECT_FALSE(valueToMacro.contains(ZEP_E_HTTP_STATUS));
  EXPECT_FALSE(valueToMacro.contains(ZEP_E_HTTP_NOT_FOUND));
}

TEST(last_error, none_recorded_gives_null) {
  EXPECT_EQ(LastMessage(E_FAIL), std::nullopt);
  ZEPError::ZEPCleanLastError();
  EXPECT_EQ(LastMessage(S_OK), std::nullopt);
}

TEST(last_error, is_given_out_for_its_own_code_alone) {
  ZEPSetLastError(E_FAIL, "caf\xc3\xa9 \xf0\x9f\x9a\x80");
  EXPECT_EQ(LastMessage(E_FAIL), "caf\xc3\xa9 \xf0\x9f\x9a\x80");
  EXPECT_EQ(LastMessage(E_INVALIDARG), std::nullopt);
  EXPECT_EQ(LastMessage(E_FAIL), "caf\xc3\xa9 \xf0\x9f\x9a\x80");
}

TEST(last_error, is_replaced_by_the_next_and_cleaned) {
  ZEPSetLastError(E_FAIL, "one");
  ZEPSetLastError(E_INVALIDARG, "two");
  EXPECT_EQ(LastMessage(E_FAIL), std::nullopt);
  EXPECT_EQ(LastMessage(E_INVALIDARG), "two");
  ZEPError::ZEPCleanLastError();
  EXPECT_EQ(LastMessage(E_INVALIDARG), std::nullopt);
}

TEST(last_error, given_out_stays_what_it_is) {
  ZEPSetLastError(E_FAIL, "one");
  const std::unique_ptr<ZEPError, Releases> error(ZEPError::ZEPGetLastError(E_FAIL, nullptr));
  ASSERT_NE(error, nullptr);
  ZEPSetLastError(E_FAIL, "two");
  ZEPError::ZEPCleanLastError();
  EXPECT_TRUE(error->GetMessageText() == "one");
}

TEST(last_error, belongs_to_its_thread) {
  ZEPSetLastError(E_FAIL, "mine");
  std::optional<std::string> before;
  std::thread([&before] {
    before = LastMessage(E_FAIL);
    ZEPSetLastError(E_FAIL, "theirs");
  }).join();
  EXPECT_EQ(before, std::nullopt);
  EXPECT_EQ(LastMessage(E_FAIL), "mine");
}

TEST(last_error, malformed_message_is_repaired) {
  ZEPSetLastError(E_FAIL, "a\xff");
  EXPECT_EQ(LastMessage(E_FAIL), "a\xef\xbf\xbd");
}

TEST(performance_timer, gives_label_and_milliseconds) {
  ZEPCfgTracePerfo perfo(std::string("WebService").c_str());
  const std::string begin = perfo.beginPerfo();
  EXPECT_EQ(begin, "perfo WebService: begin");
  std::this_thread::sleep_for(std::chrono::milliseconds(20));
  const std::string end = perfo.endPerfo();
  ASSERT_THAT(end, testing::MatchesRegex("perfo WebService: [0-9]+\\.[0-9][0-9][0-9] ms"));
  const double elapsed_ms = std::stod(end.substr(end.find(": ") + 2));
  EXPECT_GE(elapsed_ms, 20.0);
  EXPECT_LT(elapsed_ms, 10'000.0);
}

TEST(performance_timer, not_begun_says_so) {
  ZEPCfgTracePerfo perfo(nullptr);
  EXPECT_STREQ(perfo.endPerfo(), "perfo : not begun");
}

TEST(performance_timer, begins_anew) {
  ZEPCfgTracePerfo perfo("Work");
  perfo.beginPerfo();
  std::this_thread::sleep_for(std::chrono::milliseconds(300));
  perfo.beginPerfo();
  const std::string end = perfo.endPerfo();
  EXPECT_LT(std::stod(end.substr(end.find(": ") + 2)), 250.0);
}

TEST(named_argument, url_comes_from_the_environment) {
  struct Row {
    int line;
    const char* variable; // null: unset
    const char* value;
    bool hasServer;
  };
  const Row rows[] = {
      Row{__LINE__, nullptr, "", false},
      Row{__LINE__, "", "", false},
      Row{__LINE__, " \t\r\n", "", false},
      Row{__LINE__, "http://host:1/x", "http://host:1/x", true},
      Row{__LINE__, "http://host:1/x/ \r\n\t\v\f", "http://host:1/x/", true},
      Row{__LINE__, " http://host", " http://host", true},
      Row{__LINE__, "http://h\xc3\xb6st", "http://h\xc3\xb6st", true},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(row.line);
    session::SetEnvironment({});
    if (row.variable != nullptr) {
      setenv("ZEP_URL", row.variable, 1);
    }
    int kind = 5;
    int rank = 5;
    ZEPUnicodeString value("before");
    EXPECT_EQ(QRLSysTSGetArg("Url", kind, rank, value), S_OK);
    EXPECT_STREQ(value.ConvertToChar(), row.value);
    EXPECT_EQ(ZEPCfgInfraServices::IsATSTProvider(), !row.hasServer);
  }
}

TEST(named_argument, unknown_name_fails_and_leaves_the_value) {
  session::SetEnvironment({{"ZEP_URL", "http://host"}});
  for (const char* name : {"url", "URL", "Urls", "Ur", "", static_cast<const char*>(nullptr)}) {
    SCOPED_TRACE(name != nullptr ? name : "(null)");
    int kind = 5;
    int rank = 6;
    ZEPUnicodeString value("before");
    EXPECT_EQ(QRLSysTSGetArg(name, kind, rank, value), E_INVALIDARG);
    EXPECT_STREQ(value.ConvertToChar(), "before");
    EXPECT_EQ(kind, 5);
    EXPECT_EQ(rank, 6);
  }
}

TEST(security_context, comes_from_the_environment) {
  session::SetEnvironment({{"ZEP_CONTEXT", "ctx::Role.Org.Space.\xc3\xa9"}});
  ZEPUnicodeString context("before");
  EXPECT_EQ(ZEPCfgInfraServices::GetCurrentContext(context), S_OK);
  EXPECT_STREQ(context.ConvertToChar(), "ctx::Role.Org.Space.\xc3\xa9");
  session::SetEnvironment({});
  EXPECT_EQ(ZEPCfgInfraServices::GetCurrentContext(context), S_OK);
  EXPECT_TRUE(context.IsEmpty());
}

TEST(branching_switch, is_on_for_exactly_one) {
  struct Row {
    int line;
    const char* value;
    int branching;
  };
  const Row rows[] = {
      Row{__LINE__, "1", 1}, Row{__LINE__, "0", 0},    Row{__LINE__, "", 0},
      Row{__LINE__, "2", 0}, Row{__LINE__, "true", 0}, Row{__LINE__, "11", 0},
  };
  session::SetEnvironment({});
  EXPECT_EQ(ZEPCfgInfraServices::GetBranchingVar(), 0);
  for (const Row& row : rows) {
    SCOPED_TRACE(row.line);
    setenv("ZEP_BRANCHING", row.value, 1);
    EXPECT_EQ(ZEPCfgInfraServices::GetBranchingVar(), row.branching);
  }
}
