#include "Bench.h"
#include "Inputs.h"

#include "ZEPCfgXMLExpressionServices.h"
#include "ZEPHResult.h"

#include <spdlog/logger.h>
#include <spdlog/pattern_formatter.h>
#include <spdlog/sinks/basic_file_sink.h>

#include <cstdlib>
#include <memory>
#include <string>
#include <vector>

// An operation that does nothing but write its records into a file, beside the logging library writing the
// very same lines: handing each to the system at once, as ours does so that none is lost and several
// processes may share a file, and as it comes, gathered in a buffer.

namespace {

using Lines = std::vector<std::string>;

// Without the column with the time.
Lines linesWithoutTime(const std::string& path) {
  const std::string bytes = bench::readFile(path);
  Lines lines;
  for (std::size_t at = 0; at < bytes.size();) {
    const std::size_t end = bytes.find('\n', at);
    const std::size_t text = bytes.find('\t', at) + 1;
    lines.push_back(bytes.substr(text, end - text));
    at = end + 1;
  }
  return lines;
}

std::string joined(const Lines& lines) {
  std::string text;
  for (const std::string& line : lines) {
    text += line + '\n';
  }
  return text;
}

void empty(const std::string& path) {
  std::filesystem::resize_file(path, 0);
}

// A text without a quote is refused after a few searches: all that costs time is the trace.
void writeRecords(const ZEPUnicodeString& text) {
  ZEPUnicodeString cleaned;
  bench::require(ZEPFailed(ZEPCfgXMLExpressionServices::RemoveDescription(text, cleaned)),
                 "a text without a quote is cleaned");
}

class Logger {
public:
  Logger(const std::string& path, bool flushed) {
    auto sink = std::make_shared<spdlog::sinks::basic_file_sink_mt>(path, true);
    m_logger = std::make_unique<spdlog::logger>("peer", std::move(sink));
    m_logger->set_formatter(std::make_unique<spdlog::pattern_formatter>(
        "%Y-%m-%dT%H:%M:%S.%fZ\t%v", spdlog::pattern_time_type::utc, "\n"));
    if (flushed) {
      m_logger->flush_on(spdlog::level::info);
    }
  }

  void Write(const Lines& lines) {
    for (const std::string& line : lines) {
      m_logger->info(line);
    }
  }
  void Flush() { m_logger->flush(); }

private:
  std::unique_ptr<spdlog::logger> m_logger;
};

void addPeer(const std::string& work, const std::string& who, bool flushed, const Lines& lines) {
  const std::string path = bench::scratchDirectory() / who;
  const auto logger = std::make_shared<Logger>(path, flushed);
  logger->Write(lines);
  logger->Flush();
  bench::requireSame(who, joined(lines), joined(linesWithoutTime(path)));
  bench::addPrepared(work + who, [=]() -> bench::Work {
    empty(path);
    return [=] { logger->Write(lines); };
  });
}

} // namespace

int main(int argc, char** argv) {
  const std::string path = bench::scratchDirectory() / "trace";
  setenv("ZEP_TRACE", "1", 1);
  setenv("ZEP_TRACE_FILE", path.c_str(), 1);
  const ZEPUnicodeString text = "an expression without a quote";
  writeRecords(text);
  const Lines lines = linesWithoutTime(path);

  const std::string work = "tracing/to_file/" + std::to_string(lines.size()) + "records/";
  bench::addPrepared(work + "ours", [=]() -> bench::Work {
    empty(path);
    return [=] { writeRecords(text); };
  });
  addPeer(work, "spdlog_flushed", true, lines);
  addPeer(work, "spdlog_buffered", false, lines);
  return bench::run(argc, argv);
}
