#include "LineInput.h"

#include "Failure.h"
#include "Text.h"

#include <algorithm>
#include <optional>
#include <string_view>

namespace zep::cli {
namespace {

const char nameOfId[] = "id";
const char nameOfExpression[] = "expression";

[[noreturn]] void failLine(const std::string& error) {
  failBadInput("", "reading the line", error,
               R"(write the expression as a JSON string, or as an object {"id": ..., "expression": "..."})");
}

LineInput withoutId() {
  return {nlohmann::ordered_json(nlohmann::ordered_json::value_t::discarded), {}};
}

bool hasBeyondASCII(std::string_view text) {
  return std::any_of(text.begin(), text.end(), [](char byte) { return static_cast<signed char>(byte) < 0; });
}

bool isPlain(char character) {
  return character != '"' && character != '\\' && static_cast<unsigned char>(character) >= 0x20;
}

// What an escape of two characters stands for, or 0.
char meaningOfEscape(char character) {
  switch (character) {
  case '"':
  case '\\':
  case '/':
    return character;
  case 'b':
    return '\b';
  case 'f':
    return '\f';
  case 'n':
    return '\n';
  case 'r':
    return '\r';
  case 't':
    return '\t';
  default:
    return '\0';
  }
}

// Reads lines as they usually are: a string, or an object with scalar members, without escapes by number.
// The general parser takes seven times as long. This one gives up on anything that it is not sure of.
class QuickReader {
public:
  explicit QuickReader(std::string_view line) : m_line(line) {}

  std::optional<LineInput> read() {
    LineInput input = withoutId();
    skipBlanks();
    const bool isRead = next() == '"' ? takeExpression(input) : takeObject(input);
    skipBlanks();
    return isRead && m_at == m_line.size() ? std::optional<LineInput>(std::move(input)) : std::nullopt;
  }

private:
  char next() const { return m_at < m_line.size() ? m_line[m_at] : '\0'; }

  void skipBlanks() {
    while (next() == ' ' || next() == '\t' || next() == '\r' || next() == '\n') {
      ++m_at;
    }
  }

  bool takeNext(char character) {
    const bool isThere = next() == character;
    m_at += isThere ? 1 : 0;
    return isThere;
  }

  bool take(char character) {
    skipBlanks();
    return takeNext(character);
  }

  std::optional<std::string> takeString(std::size_t room = 0) {
    if (!take('"')) {
      return std::nullopt;
    }
    std::string text;
    text.reserve(room);
    for (;;) {
      const std::size_t start = m_at;
      while (m_at < m_line.size() && isPlain(m_line[m_at])) {
        ++m_at;
      }
      text.append(m_line, start, m_at - start);
      if (takeNext('"')) {
        return text;
      }
      const char meaning =
          next() == '\\' && m_at + 1 < m_line.size() ? meaningOfEscape(m_line[m_at + 1]) : '\0';
      if (meaning == '\0') {
        return std::nullopt;
      }
      text += meaning;
      m_at += 2;
    }
  }

  bool takeExpression(LineInput& input) {
    const std::optional<std::string> text = takeString(m_line.size() - m_at); // it is most of the line
    if (!text) {
      return false;
    }
    input.expression = fromUTF8(*text);
    return !hasBeyondASCII(*text) || !holdsReplacement(input.expression);
  }

  // A malformed sequence reads as this character: the general parser knows whether there was one.
  static bool holdsReplacement(const ZEPUnicodeString& text) {
    static const ZEPUnicodeString replacement("\xEF\xBF\xBD");
    return text.SearchSubString(replacement, 0, 1) >= 0;
  }

  bool takeObject(LineInput& input) {
    if (!take('{')) {
      return false;
    }
    bool hasExpression = false;
    do {
      const std::optional<std::string> name = takeString();
      if (!name || hasBeyondASCII(*name) || !take(':')) {
        return false;
      }
      const bool isExpression = *name == nameOfExpression;
      if (isExpression ? !takeExpression(input) : !takeScalar(*name == nameOfId ? &input.id : nullptr)) {
        return false;
      }
      hasExpression = hasExpression || isExpression;
    } while (take(','));
    return take('}') && hasExpression;
  }

  // Of lists and objects it takes a part that is no JSON, or all of it.
  bool takeScalar(nlohmann::ordered_json* value) {
    skipBlanks();
    const std::size_t start = m_at;
    if (next() == '"') {
      if (!takeString()) {
        return false;
      }
    } else {
      m_at = std::min(m_line.find_first_of(",} \t\r\n", m_at), m_line.size());
    }
    nlohmann::ordered_json parsed =
        nlohmann::ordered_json::parse(m_line.substr(start, m_at - start), nullptr, false);
    const bool isJSON = !parsed.is_discarded();
    if (isJSON && value != nullptr) {
      *value = std::move(parsed);
    }
    return isJSON;
  }

  std::string_view m_line;
  std::size_t m_at = 0;
};

LineInput readThoroughly(const std::string& line) {
  LineInput input = withoutId();
  nlohmann::ordered_json json = nlohmann::ordered_json::parse(line, nullptr, false);
  if (json.is_discarded()) {
    failLine("it is not JSON");
  }
  if (json.is_object()) {
    if (json.contains(nameOfId)) {
      input.id = json[nameOfId];
    }
    const auto expression = json.find(nameOfExpression);
    json = expression == json.end() ? nlohmann::ordered_json() : nlohmann::ordered_json(*expression);
  }
  if (!json.is_string()) {
    failLine("it holds no expression");
  }
  input.expression = fromUTF8(json.get_ref<const std::string&>());
  return input;
}

} // namespace

LineInput parseLine(const std::string& line) {
  std::optional<LineInput> input = QuickReader(line).read();
  return input ? std::move(*input) : readThoroughly(line);
}

} // namespace zep::cli
