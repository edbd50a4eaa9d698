#include "JSONText.h"

#include <nlohmann/json.hpp>

namespace zep::cli {
namespace {

constexpr int deepestIndented = 100;
constexpr int indentWidth = 2;

bool isWhiteSpace(char character) {
  return character == ' ' || character == '\t' || character == '\n' || character == '\r';
}

// Works on a text known to be JSON.
class Indenter {
public:
  explicit Indenter(std::string_view text) : m_text(text) {}

  std::optional<std::string> run() {
    while (m_at < m_text.size()) {
      takePart();
      if (m_depth > deepestIndented) {
        return std::nullopt;
      }
    }
    return std::move(m_result);
  }

private:
  void takePart() {
    const char character = m_text[m_at];
    switch (character) {
    case '{':
    case '[':
      open(character);
      break;
    case '}':
    case ']':
      --m_depth;
      newLine();
      m_result += m_text[m_at++];
      break;
    case ',':
      m_result += m_text[m_at++];
      newLine();
      break;
    case ':':
      m_result += ": ";
      ++m_at;
      break;
    case '"':
      takeString();
      break;
    default:
      if (!isWhiteSpace(character)) {
        m_result += character;
      }
      ++m_at;
    }
  }

  // What holds nothing stays on one line.
  void open(char bracket) {
    m_result += bracket;
    do {
      ++m_at;
    } while (isWhiteSpace(m_text[m_at]));
    if (m_text[m_at] == '}' || m_text[m_at] == ']') {
      m_result += m_text[m_at++];
      return;
    }
    ++m_depth;
    newLine();
  }

  void takeString() {
    const std::size_t start = m_at++;
    while (m_text[m_at] != '"') {
      m_at += m_text[m_at] == '\\' ? 2 : 1;
    }
    ++m_at;
    m_result += m_text.substr(start, m_at - start);
  }

  void newLine() {
    m_result += '\n';
    m_result.append(static_cast<std::size_t>(m_depth) * indentWidth, ' ');
  }

  std::string_view m_text;
  std::size_t m_at = 0;
  int m_depth = 0;
  std::string m_result;
};

} // namespace

std::optional<std::string> indentedJSON(std::string_view text) {
  if (!nlohmann::json::accept(text)) {
    return std::nullopt;
  }
  constexpr std::string_view byteOrderMark = "\xEF\xBB\xBF"; // the parser skips one
  if (text.substr(0, byteOrderMark.size()) == byteOrderMark) {
    text.remove_prefix(byteOrderMark.size());
  }
  return Indenter(text).run();
}

} // namespace zep::cli
