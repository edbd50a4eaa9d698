#include "ZEPTraceText.h"

#include "ZEPTranscoding.h"

#include <spdlog/fmt/fmt.h>

#include <algorithm>
#include <charconv>
#include <iterator>

namespace zep {

namespace {

constexpr std::size_t kDeepestIndent = 20;

// Beside the control characters, the two Unicode line ends: many a program splits lines there.
bool NeedsEscape(char16_t unit, TraceForm form) {
  return unit < 0x20 || unit == u'\\' || (form == TraceForm::JSON && unit == u'"') ||
         (unit >= 0x7F && unit < 0xA0) || unit == 0x2028 || unit == 0x2029;
}

void AppendEscaped(std::u16string& line, char16_t unit) {
  switch (unit) {
  case u'\n':
    line += u"\\n";
    break;
  case u'\r':
    line += u"\\r";
    break;
  case u'\t':
    line += u"\\t";
    break;
  case u'\\':
    line += u"\\\\";
    break;
  case u'"':
    line += u"\\\"";
    break;
  default:
    for (const char digit : fmt::format("\\u{:04x}", static_cast<unsigned>(unit))) {
      line += static_cast<char16_t>(digit);
    }
  }
}

// ASCII that stands in a line as it is. Looks at every byte, since that can be done for many bytes at
// once.
bool IsPlain(std::string_view text, TraceForm form) {
  const unsigned char alsoEscaped = form == TraceForm::JSON ? '"' : '\\';
  unsigned others = 0;
  for (const char character : text) {
    const auto byte = static_cast<unsigned char>(character);
    others |= static_cast<unsigned>(byte < 0x20) | static_cast<unsigned>(byte >= 0x7F) |
              static_cast<unsigned>(byte == '\\') | static_cast<unsigned>(byte == alsoEscaped);
  }
  return others == 0;
}

template <typename Number>
void AppendNumber(std::string& line, Number number) {
  char digits[24];
  line.append(digits, std::to_chars(std::begin(digits), std::end(digits), number).ptr);
}

// The text without line ends, tabs and control characters, and valid UTF-8 whatever comes in. The
// escapes are those of JSON.
void AppendOneLine(std::string& line, std::string_view text, TraceForm form) {
  if (IsPlain(text, form)) {
    line += text;
    return;
  }
  std::u16string escaped;
  escaped.reserve(text.size());
  for (const char16_t unit : UTF16FromUTF8(text.data(), text.size())) {
    if (NeedsEscape(unit, form)) {
      AppendEscaped(escaped, unit);
    } else {
      escaped += unit;
    }
  }
  line += UTF8FromUTF16(escaped.data(), escaped.size());
}

// A column is never empty, so that a reader can count them by eye.
void AppendColumn(std::string& line, std::string_view text) {
  AppendOneLine(line, text.empty() ? std::string_view("-") : text, TraceForm::Columns);
  line += '\t';
}

char MarkOf(int level, std::string_view text) {
  switch (level) {
  case 1:
    return '>';
  case 2:
    return '<';
  default:
    return IsErrorText(text) ? '!' : '-';
  }
}

std::string_view WordFor(int level, std::string_view text) {
  if (!text.empty()) {
    return text;
  }
  switch (level) {
  case 1:
    return "enter";
  case 2:
    return "leave";
  default:
    return text;
  }
}

const char* KindOf(int level, std::string_view text) {
  switch (level) {
  case 1:
    return "entry";
  case 2:
    return "exit";
  default:
    return IsErrorText(text)                ? "error"
           : IsPerfoText(text)              ? "timing"
           : text.starts_with(kTraceResult) ? "result"
                                            : "detail";
  }
}

void AppendString(std::string& object, std::string_view name, std::string_view text) {
  object.append(",\"").append(name).append("\":\"");
  AppendOneLine(object, text, TraceForm::JSON);
  object += '"';
}

void AppendStringOrNull(std::string& object, std::string_view name, std::string_view text) {
  if (text.empty()) {
    object.append(",\"").append(name).append("\":null");
  } else {
    AppendString(object, name, text);
  }
}

template <typename Number>
void AppendMember(std::string& object, std::string_view name, Number number) {
  object.append(",\"").append(name).append("\":");
  AppendNumber(object, number);
}

void AppendColumns(std::string& line, const ZEPTraceRecord& record, std::string_view text,
                   const TraceOrigin& origin) {
  AppendNumber(line, origin.thread);
  line += '\t';
  line += MarkOf(record.level, text);
  line += '\t';
  AppendColumn(line, record.className);
  AppendColumn(line, OperationOf(record.method));
  AppendOneLine(line, record.file != nullptr ? record.file : "-", TraceForm::Columns);
  line += ':';
  AppendNumber(line, record.line);
  line += '\t';
  line.append(2 * std::min(origin.nesting, kDeepestIndent), ' ');
  AppendOneLine(line, WordFor(record.level, text), TraceForm::Columns);
}

void AppendMembers(std::string& object, const ZEPTraceRecord& record, std::string_view text,
                   const TraceOrigin& origin) {
  object += "\"process\":";
  AppendNumber(object, origin.process);
  AppendMember(object, "thread", origin.thread);
  AppendString(object, "kind", KindOf(record.level, text));
  AppendString(object, "class", record.className);
  AppendString(object, "group", record.traceGroup[0] == '\0' ? kTraceDefaultGroup : record.traceGroup);
  AppendStringOrNull(object, "method", OperationOf(record.method));
  AppendStringOrNull(object, "file", record.file != nullptr ? record.file : "");
  AppendMember(object, "line", record.line);
  AppendMember(object, "depth", origin.nesting);
  AppendString(object, "text", text);
  object += '}';
}

} // namespace

bool IsErrorText(std::string_view text) {
  return text.starts_with(kTraceErrorIndent);
}

bool IsPerfoText(std::string_view text) {
  return text.starts_with(kTracePerfo);
}

void CoverSecrets(std::string& ioText, std::string_view securityContext) {
  constexpr std::string_view kSecret = "ustrSecurityContext";
  constexpr std::string_view kCover = "***";
  // A shorter one would be found by chance, and cover half of every text.
  constexpr std::size_t kShortestSecret = 8;
  if (ioText.starts_with(kSecret) && ioText != "ustrSecurityContext = []") {
    ioText.assign(kSecret).append(" = [").append(kCover).append("]");
  } else if (securityContext.size() >= kShortestSecret) {
    for (std::size_t at = 0; (at = ioText.find(securityContext, at)) != std::string::npos;
         at += kCover.size()) {
      ioText.replace(at, securityContext.size(), kCover);
    }
  }
}

std::string_view OperationOf(std::string_view signature) {
  const auto name = signature.substr(0, signature.find('('));
  const auto before = name.find_last_of(": ");
  return before == std::string_view::npos ? name : name.substr(before + 1);
}

TraceForm TraceFormFor(std::string_view format, std::string_view path) {
  if (format == "json" || format == "text") {
    return format == "json" ? TraceForm::JSON : TraceForm::Columns;
  }
  return path.ends_with(".jsonl") ? TraceForm::JSON : TraceForm::Columns;
}

void AppendTraceRecord(std::string& line, TraceForm form, const ZEPTraceRecord& record, std::string_view text,
                       const TraceOrigin& origin) {
  if (form == TraceForm::JSON) {
    AppendMembers(line, record, text, origin);
  } else {
    AppendColumns(line, record, text, origin);
  }
}

} // namespace zep
