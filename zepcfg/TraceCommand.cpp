#include "Commands.h"

#include "Failure.h"
#include "LineReader.h"
#include "Output.h"
#include "Progress.h"
#include "Text.h"
#include "TraceTree.h"
#include "ZEPHResult.h"

#include <algorithm>
#include <array>
#include <cstdio>
#include <optional>
#include <utility>

namespace zep::cli {
namespace {

constexpr std::size_t longestText = 120; // bytes, in a tree that is not asked for in full
constexpr std::size_t deepestIndent = 60;
constexpr std::size_t mostReported = 10; // lines that are no records

struct Palette {
  const char* failure = "";
  const char* call = "";
  const char* quiet = "";
  const char* end = "";
};

Palette paletteFor(const std::string& file) {
  return wantsColours(file) ? Palette{"\x1B[31m", "\x1B[1m", "\x1B[2m", "\x1B[0m"} : Palette{};
}

std::string withDecimals(double milliseconds) {
  std::array<char, 64> text{};
  const int length = std::snprintf(text.data(), text.size(), "%.3f", milliseconds);
  return {text.data(), static_cast<std::size_t>(length)};
}

std::optional<double> durationOf(const TraceNode& call) {
  return millisecondsBetween(call.record.time, call.end);
}

// ---- a tree for a person -----------------------------------------------------------------------

class TreeWriter {
public:
  TreeWriter(ResultStream& result, const TraceOptions& options)
      : m_result(result),
        m_palette(paletteFor(options.output.file)),
        m_isOfFailures(options.isOfFailures),
        m_isFull(options.isFull) {}

  void write(const TraceNode& node) {
    if (m_isOfFailures && !node.holdsFailure) {
      return;
    }
    writeThread(node.record);
    writeBranch(node, 1);
  }

private:
  void writeThread(const TraceRecord& record) {
    const std::pair thread(record.process, record.thread);
    if (m_thread == thread) {
      return;
    }
    m_thread = thread;
    const std::string process = record.process == 0 ? "" : "process " + std::to_string(record.process) + ", ";
    m_result.write(process + "thread " + std::to_string(record.thread) + "\n");
  }

  void writeBranch(const TraceNode& node, std::size_t depth) {
    m_result.write(std::string(2 * std::min(depth, deepestIndent), ' ') +
                   (node.isCall ? inWords(node) : detailInWords(node)) + "\n");
    for (const TraceNode& child : node.children) {
      // Inside what failed everything may say why; elsewhere only what leads there does.
      if (!m_isOfFailures || child.holdsFailure || (node.hasFailed && !child.isCall)) {
        writeBranch(child, depth + 1);
      }
    }
  }

  std::string inWords(const TraceNode& call) const {
    const auto milliseconds = durationOf(call);
    std::string line =
        m_palette.call + withoutControls(call.record.operation.empty() ? "?" : call.record.operation) +
        m_palette.end + m_palette.quiet + " (" + withoutControls(call.record.className) + ")" + m_palette.end;
    line += milliseconds               ? "  " + withDecimals(*milliseconds) + " ms"
            : call.record.time.empty() ? "  its start is missing"
                                       : "  its end is missing";
    line += call.result.empty() ? "" : "  " + withoutControls(call.result);
    return call.hasFailed ? line + "  " + m_palette.failure + "FAILED" + m_palette.end : line;
  }

  std::string detailInWords(const TraceNode& node) const {
    const std::string text = shown(node.record.text);
    switch (node.record.kind) {
    case TraceKind::error:
      return m_palette.failure + ("! " + text) + m_palette.end;
    case TraceKind::timing:
      return "timing: " + text.substr(text.find(' ') + 1);
    default:
      return m_palette.quiet + text + m_palette.end;
    }
  }

  // In one line.
  std::string shown(const std::string& text) const {
    std::string line = text;
    if (!m_isFull && line.size() > longestText) {
      std::size_t end = longestText;
      while (end > 0 && (static_cast<unsigned char>(line[end]) & 0xC0U) == 0x80) {
        --end;
      }
      line = line.substr(0, end) + "... (" + std::to_string(text.size() - end) + " more bytes)";
    }
    return withoutControls(replaceAll(replaceAll(line, "\n", "\\n"), "\t", "\\t"));
  }

  ResultStream& m_result;
  Palette m_palette;
  bool m_isOfFailures;
  bool m_isFull;
  std::pair<long, long> m_thread{-1, -1};
};

// ---- one JSON object ---------------------------------------------------------------------------

nlohmann::ordered_json orNull(const std::string& text) {
  return text.empty() ? nlohmann::ordered_json() : nlohmann::ordered_json(text);
}

nlohmann::ordered_json asJSON(const TraceNode& node, bool isOfFailures) {
  const TraceRecord& record = node.record;
  nlohmann::ordered_json object = {{"kind", node.isCall ? "call" : kindName(record.kind)},
                                   {"time", orNull(record.time)},
                                   {"class", record.className},
                                   {"method", orNull(record.operation)},
                                   {"file", orNull(record.file)},
                                   {"line", record.line}};
  if (!node.isCall) {
    object["text"] = record.text;
    return object;
  }
  const auto milliseconds = durationOf(node);
  object["milliseconds"] = milliseconds ? nlohmann::ordered_json(*milliseconds) : nlohmann::ordered_json();
  object["result"] = orNull(node.result);
  object["failed"] = node.hasFailed;
  object["children"] = nlohmann::ordered_json::array();
  for (const TraceNode& child : node.children) {
    if (!isOfFailures || child.holdsFailure || (node.hasFailed && !child.isCall)) {
      object["children"].push_back(asJSON(child, isOfFailures));
    }
  }
  return object;
}

// The list is written while it is made; the result is known behind it.
class JSONWriter {
public:
  JSONWriter(ResultStream& result, bool isOfFailures) : m_result(result), m_isOfFailures(isOfFailures) {}

  void write(const TraceNode& node) {
    if (m_isOfFailures && !node.holdsFailure) {
      return;
    }
    nlohmann::ordered_json object = {{"process", node.record.process == 0
                                                     ? nlohmann::ordered_json()
                                                     : nlohmann::ordered_json(node.record.process)},
                                     {"thread", node.record.thread}};
    object.update(asJSON(node, m_isOfFailures));
    m_result.write((m_isFirst ? "{\"calls\":[" : ",") +
                   object.dump(-1, ' ', false, nlohmann::ordered_json::error_handler_t::replace));
    m_isFirst = false;
  }

  void finish(std::size_t skippedLines) {
    nlohmann::ordered_json object = resultObject(skippedLines == 0 ? S_OK : E_FAIL);
    object["skippedLines"] = skippedLines;
    m_result.write((m_isFirst ? "{\"calls\":[" : "") + std::string("],") + object.dump().substr(1) + "\n");
  }

private:
  ResultStream& m_result;
  bool m_isOfFailures;
  bool m_isFirst = true;
};

// ---- reading -----------------------------------------------------------------------------------

class SkippedLines {
public:
  explicit SkippedLines(std::string input) : m_input(std::move(input)) {}

  void add(std::size_t number) {
    if (++m_count <= mostReported) {
      writeNote("zepcfg: " + withoutControls(m_input) + ": line " + std::to_string(number) +
                " is no trace record, or a torn one, and is skipped\n");
    }
  }

  void finish() const {
    if (m_count > mostReported) {
      writeNote("zepcfg: " + withoutControls(m_input) + ": " + std::to_string(m_count) +
                " lines in all are no trace records\n");
    }
  }

  std::size_t count() const { return m_count; }

private:
  std::string m_input;
  std::size_t m_count = 0;
};

void readAll(const TraceOptions& options, ResultStream& result, TraceTree& tree, SkippedLines& skipped) {
  Progress progress;
  LineReader reader(options.file, [&result](int /*descriptor*/) { result.flush(); });
  std::size_t number = 0;
  while (const std::optional<Line> line = reader.next()) {
    ++number;
    std::optional<TraceRecord> record = line->isTooLong ? std::nullopt : readTraceRecord(line->text);
    if (record) {
      tree.add(std::move(*record));
    } else if (line->isTooLong || !line->text.empty()) {
      progress.clear();
      skipped.add(number);
    }
    progress.show(number, "lines", reader.share());
  }
  tree.finish();
}

} // namespace

int runTrace(const TraceOptions& options) {
  ResultStream result(options.output.file);
  SkippedLines skipped(inputName(options.file));
  TreeWriter writer(result, options);
  JSONWriter json(result, options.isOfFailures);
  TraceTree tree([&](const TraceNode& node) {
    if (options.output.json) {
      json.write(node);
    } else {
      writer.write(node);
    }
  });
  readAll(options, result, tree, skipped);
  if (options.output.json) {
    json.finish(skipped.count());
  }
  skipped.finish();
  result.finish();
  return skipped.count() == 0 ? exitDone : exitFailed;
}

} // namespace zep::cli
