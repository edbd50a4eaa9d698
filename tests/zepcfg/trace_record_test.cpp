#include "TraceRecord.h"

#include <gmock/gmock.h>

using testing::DoubleNear;
using testing::Optional;
using zep::cli::millisecondsBetween;
using zep::cli::readTraceRecord;
using zep::cli::TraceKind;
using zep::cli::TraceRecord;

namespace {

const std::string noon = "2024-05-01T12:00:00.123456Z";

std::string columns(const std::string& mark, const std::string& text,
                    const std::string& place = "Job.cpp:12") {
  return noon + "\t42\t" + mark + "\tJob\tRun\t" + place + "\t" + text;
}

} // namespace

TEST(TraceRecord, columns_are_read) {
  const auto record = readTraceRecord(columns("-", "    a = [\\\"\\n\\t\\\\\\u2028\\u001b]"));
  ASSERT_TRUE(record);
  EXPECT_EQ(record->time, noon);
  EXPECT_EQ(record->process, 0);
  EXPECT_EQ(record->thread, 42);
  EXPECT_EQ(record->kind, TraceKind::detail);
  EXPECT_EQ(record->className, "Job");
  EXPECT_EQ(record->operation, "Run");
  EXPECT_EQ(record->file, "Job.cpp");
  EXPECT_EQ(record->line, 12);
  EXPECT_EQ(record->depth, 2U);
}

TEST(TraceRecord, escapes_of_columns_are_taken_back) {
  const auto record = readTraceRecord(columns("-", R"(a "quoted" \n\r\t\\ \u2028\u001b é)"));
  ASSERT_TRUE(record);
  EXPECT_EQ(record->text, "a \"quoted\" \n\r\t\\ \u2028\x1B é");
}

TEST(TraceRecord, object_is_read) {
  const auto record = readTraceRecord(
      R"({"time":"2024-05-01T12:00:00.123456Z","process":7,"thread":42,"kind":"entry","class":"Job",)"
      R"("group":"default","method":"Run","file":null,"line":12,"depth":3,"text":"a\nb"})");
  ASSERT_TRUE(record);
  EXPECT_EQ(record->process, 7);
  EXPECT_EQ(record->thread, 42);
  EXPECT_EQ(record->kind, TraceKind::entry);
  EXPECT_EQ(record->operation, "Run");
  EXPECT_EQ(record->file, "");
  EXPECT_EQ(record->line, 12);
  EXPECT_EQ(record->depth, 3U);
  EXPECT_EQ(record->text, "a\nb");
}

TEST(TraceRecord, kind_is_told_from_mark_and_text) {
  struct Row {
    std::string mark;
    std::string text;
    TraceKind kind;
    int line = __builtin_LINE();
  };
  const Row rows[] = {
      Row{">", "enter", TraceKind::entry},
      Row{"<", "leave", TraceKind::exit},
      Row{"!", "**** it failed", TraceKind::error},
      Row{"-", "  perfo Ask: 1.000 ms", TraceKind::timing},
      Row{"-", "  rc = S_OK", TraceKind::result},
      Row{"-", "  src = S_OK", TraceKind::detail},
      Row{"-", "", TraceKind::detail},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(row.line);
    const auto record = readTraceRecord(columns(row.mark, row.text));
    ASSERT_TRUE(record);
    EXPECT_EQ(record->kind, row.kind);
  }
}

TEST(TraceRecord, depth_beyond_the_deepest_indent_is_not_known) {
  EXPECT_EQ(readTraceRecord(columns(">", std::string(38, ' ') + "enter"))->depth, 19U);
  EXPECT_EQ(readTraceRecord(columns(">", std::string(40, ' ') + "enter"))->depth, std::nullopt);
}

TEST(TraceRecord, foreign_and_torn_lines_are_none) {
  const std::string whole = columns("-", "text");
  const std::string object = R"({"time":"2024-05-01T12:00:00.123456Z","thread":42,"kind":"exit","text":""})";
  ASSERT_TRUE(readTraceRecord(whole));
  ASSERT_TRUE(readTraceRecord(object));
  for (std::size_t length = 0; length < whole.rfind('\t'); ++length) {
    EXPECT_FALSE(readTraceRecord(whole.substr(0, length))) << length;
  }
  for (std::size_t length = 0; length < object.size(); ++length) {
    EXPECT_FALSE(readTraceRecord(object.substr(0, length))) << length;
  }
  const std::string others[] = {
      "hello",
      whole + "\tmore",
      columns("x", "text"),
      columns("--", "text"),
      columns("-", "text", "Job.cpp"),
      columns("-", "text", "Job.cpp:x"),
      "x" + whole.substr(1),
      noon + "\tx\t-\tJob\tRun\tJob.cpp:1\ttext",
      "{}",
      "[1]",
      R"({"time":"yesterday","thread":42,"kind":"exit","text":""})",
      R"({"time":"2024-05-01T12:00:00.123456Z","thread":"a","kind":"exit","text":""})",
      R"({"time":"2024-05-01T12:00:00.123456Z","thread":42,"kind":"party","text":""})",
      std::string("{\xFF}"),
      std::string(1 << 20, '{'),
      "{\"a\":" + std::string(1 << 20, '['),
  };
  for (const std::string& other : others) {
    EXPECT_FALSE(readTraceRecord(other)) << other.substr(0, 100);
  }
}

TEST(TraceRecord, time_between_records_passes_midnight) {
  EXPECT_THAT(millisecondsBetween("2024-02-29T23:59:59.999500Z", "2024-03-01T00:00:00.000750Z"),
              Optional(DoubleNear(1.25, 1e-6)));
  EXPECT_EQ(millisecondsBetween("", noon), std::nullopt);
  EXPECT_EQ(millisecondsBetween(noon, "later"), std::nullopt);
}
