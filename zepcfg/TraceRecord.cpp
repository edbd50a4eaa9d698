#include "TraceRecord.h"

#include "Text.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <chrono>
#include <nlohmann/json.hpp>
#include <system_error>

namespace zep::cli {
namespace {

constexpr std::size_t columnCount = 7;
constexpr std::size_t indentWidth = 2;
constexpr std::size_t deepestIndent = 20; // in text form a deeper record stands no further right

struct NamedKind {
  TraceKind kind;
  std::string_view name;
};

constexpr std::array<NamedKind, 6> kinds{{{TraceKind::entry, "entry"},
                                          {TraceKind::exit, "exit"},
                                          {TraceKind::detail, "detail"},
                                          {TraceKind::error, "error"},
                                          {TraceKind::timing, "timing"},
                                          {TraceKind::result, "result"}}};

template <class Number>
std::optional<Number> readNumber(std::string_view text) {
  Number number = 0;
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
  return error == std::errc() && end == text.data() + text.size() ? std::optional<Number>(number)
                                                                  : std::nullopt;
}

bool isTime(std::string_view text) {
  constexpr std::string_view shape = "0000-00-00T00:00:00.000000Z";
  if (text.size() != shape.size()) {
    return false;
  }
  for (std::size_t i = 0; i < shape.size(); ++i) {
    const bool isDigit = text[i] >= '0' && text[i] <= '9';
    if (shape[i] == '0' ? !isDigit : text[i] != shape[i]) {
      return false;
    }
  }
  return true;
}

// ---- text form ---------------------------------------------------------------------------------

// The escapes of the text form are those of JSON, but for the quotation mark.
std::string unescaped(std::string_view text) {
  if (!contains(text, "\\")) {
    return std::string(text);
  }
  const nlohmann::json read =
      nlohmann::json::parse('"' + replaceAll(std::string(text), "\"", "\\\"") + '"', nullptr, false);
  return read.is_string() ? read.get<std::string>() : std::string(text);
}

std::string unescapedColumn(std::string_view column) {
  return column == "-" ? std::string() : unescaped(column);
}

std::optional<std::array<std::string_view, columnCount>> columnsOf(std::string_view line) {
  std::array<std::string_view, columnCount> columns;
  for (std::size_t i = 0; i < columnCount; ++i) {
    const std::size_t tab = line.find('\t');
    if ((tab == std::string_view::npos) != (i + 1 == columnCount)) {
      return std::nullopt;
    }
    columns.at(i) = line.substr(0, tab);
    line.remove_prefix(tab == std::string_view::npos ? line.size() : tab + 1);
  }
  return columns;
}

TraceKind kindOfDetail(std::string_view text) {
  return startsWith(text, "perfo ")  ? TraceKind::timing
         : startsWith(text, "rc = ") ? TraceKind::result
                                     : TraceKind::detail;
}

std::optional<TraceKind> kindOfMark(std::string_view mark, std::string_view text) {
  if (mark.size() != 1) {
    return std::nullopt;
  }
  switch (mark[0]) {
  case '>':
    return TraceKind::entry;
  case '<':
    return TraceKind::exit;
  case '!':
    return TraceKind::error;
  case '-':
    return kindOfDetail(text);
  default:
    return std::nullopt;
  }
}

std::optional<TraceRecord> readColumns(std::string_view line) {
  const auto columns = columnsOf(line);
  if (!columns || !isTime(columns->at(0))) {
    return std::nullopt;
  }
  const auto& [time, thread, mark, className, operation, place, indented] = *columns;
  const std::size_t indent = std::min(indented.find_first_not_of(' '), indented.size()) / indentWidth;
  const std::string_view text = indented.substr(std::min(indent, deepestIndent) * indentWidth);
  const auto number = readNumber<long>(thread);
  const auto kind = kindOfMark(mark, text);
  const std::size_t colon = place.rfind(':');
  const auto placeLine =
      colon == std::string_view::npos ? std::nullopt : readNumber<long>(place.substr(colon + 1));
  if (!number || !kind || !placeLine) {
    return std::nullopt;
  }
  TraceRecord record;
  record.time = time;
  record.thread = *number;
  record.kind = *kind;
  record.className = unescapedColumn(className);
  record.operation = unescapedColumn(operation);
  record.file = unescapedColumn(place.substr(0, colon));
  record.line = *placeLine;
  record.depth = indent < deepestIndent ? std::optional<std::size_t>(indent) : std::nullopt;
  record.text = unescaped(text);
  return record;
}

// ---- JSON lines --------------------------------------------------------------------------------

std::optional<TraceKind> kindOfName(std::string_view name) {
  for (const NamedKind& kind : kinds) {
    if (kind.name == name) {
      return kind.kind;
    }
  }
  return std::nullopt;
}

std::string textMember(const nlohmann::json& object, const char* name) {
  const auto found = object.find(name);
  return found != object.end() && found->is_string() ? found->get<std::string>() : std::string();
}

template <class Number>
std::optional<Number> numberMember(const nlohmann::json& object, const char* name) {
  const auto found = object.find(name);
  return found != object.end() && found->is_number_integer() ? std::optional<Number>(found->get<Number>())
                                                             : std::nullopt;
}

std::optional<TraceRecord> readObject(std::string_view line) {
  // A trace's objects hold no others, so that a line cannot make the parser go deep.
  const nlohmann::json object = nlohmann::json::parse(
      line, [](int depth, auto /*event*/, auto& /*value*/) { return depth <= 1; }, false);
  if (!object.is_object()) {
    return std::nullopt;
  }
  const auto kind = kindOfName(textMember(object, "kind"));
  const auto thread = numberMember<long>(object, "thread");
  TraceRecord record;
  record.time = textMember(object, "time");
  if (!kind || !thread || !isTime(record.time)) {
    return std::nullopt;
  }
  record.process = numberMember<long>(object, "process").value_or(0);
  record.thread = *thread;
  record.kind = *kind;
  record.className = textMember(object, "class");
  record.operation = textMember(object, "method");
  record.file = textMember(object, "file");
  record.line = numberMember<long>(object, "line").value_or(0);
  record.depth = numberMember<std::size_t>(object, "depth");
  record.text = textMember(object, "text");
  return record;
}

// ---- times -------------------------------------------------------------------------------------

std::chrono::microseconds instant(const std::string& time) {
  const auto part = [&time](std::size_t start, std::size_t length) {
    return readNumber<int>(std::string_view(time).substr(start, length)).value_or(0);
  };
  const std::chrono::sys_days day{std::chrono::year(part(0, 4)) /
                                  std::chrono::month(static_cast<unsigned>(part(5, 2))) /
                                  std::chrono::day(static_cast<unsigned>(part(8, 2)))};
  return day.time_since_epoch() + std::chrono::hours(part(11, 2)) + std::chrono::minutes(part(14, 2)) +
         std::chrono::seconds(part(17, 2)) + std::chrono::microseconds(part(20, 6));
}

} // namespace

std::optional<TraceRecord> readTraceRecord(std::string_view line) {
  return startsWith(line, "{") ? readObject(line) : readColumns(line);
}

const char* kindName(TraceKind kind) {
  for (const NamedKind& named : kinds) {
    if (named.kind == kind) {
      return named.name.data();
    }
  }
  return "";
}

std::optional<double> millisecondsBetween(const std::string& start, const std::string& end) {
  if (!isTime(start) || !isTime(end)) {
    return std::nullopt;
  }
  return std::chrono::duration<double, std::milli>(instant(end) - instant(start)).count();
}

} // namespace zep::cli
