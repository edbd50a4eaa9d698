#include "ZEPHttpHeadWatch.h"

#include "ZEPHttpSyntax.h"

#include <algorithm>
#include <cstddef>

namespace zep {
namespace {

constexpr const char* kMalformedHeader = "a header of the answer is malformed";

bool IsDigit(char character) {
  return character >= '0' && character <= '9';
}

bool IsBlank(char character) {
  return character == ' ' || character == '\t';
}

bool HasControlCharacter(std::string_view text) {
  return std::any_of(text.begin(), text.end(),
                     [](char character) { return IsControl(character) && character != '\t'; });
}

// libcurl looks at the rest of it.
const char* ProblemOfStatusLine(std::string_view line) {
  const bool isKnown = line.starts_with("HTTP/1.0 ") || line.starts_with("HTTP/1.1 ");
  return isKnown && !HasControlCharacter(line)
             ? nullptr
             : "the answer does not begin with a status line of HTTP/1.0 or HTTP/1.1";
}

// The digits without zeros in front; nothing where it is not a number.
std::optional<std::string_view> Number(std::string_view text) {
  if (text.empty() || !std::all_of(text.begin(), text.end(), IsDigit)) {
    return std::nullopt;
  }
  return text.substr(std::min(text.find_first_not_of('0'), text.size() - 1));
}

} // namespace

const char* HttpHeadWatch::Read(std::string_view line) {
  if (!m_isInHead) {
    *this = {};
    m_isInHead = true;
    return ProblemOfStatusLine(line);
  }
  if (line.empty()) {
    m_isInHead = false;
    return m_length && m_isChunked ? "the answer has both a Content-Length and a Transfer-Encoding" : nullptr;
  }
  return ReadHeader(line);
}

const char* HttpHeadWatch::ReadTrailer(std::string_view line) {
  HttpHeadWatch trailers;
  trailers.m_mayGoOn = true;
  return line.empty() ? nullptr : trailers.ReadHeader(line);
}

const char* HttpHeadWatch::ReadHeader(std::string_view line) {
  if (HasControlCharacter(line)) {
    return kMalformedHeader;
  }
  if (IsBlank(line.front())) {
    return m_mayGoOn ? nullptr : kMalformedHeader;
  }
  const std::size_t colon = line.find(':');
  const std::string_view name = line.substr(0, colon);
  if (colon == std::string_view::npos || !IsToken(name)) {
    return kMalformedHeader;
  }
  const std::string_view value = WithoutBlanksAround(line.substr(colon + 1));
  m_mayGoOn = false;
  if (EqualsIgnoringAsciiCase(name, "Content-Length")) {
    return ReadLength(value);
  }
  if (EqualsIgnoringAsciiCase(name, "Transfer-Encoding")) {
    return ReadTransferCoding(value);
  }
  m_mayGoOn = true;
  return nullptr;
}

// The same number may stand there several times.
const char* HttpHeadWatch::ReadLength(std::string_view value) {
  constexpr const char* problem = "the Content-Length of the answer is not one number";
  while (true) {
    const std::size_t comma = std::min(value.find(','), value.size());
    const auto number = Number(WithoutBlanksAround(value.substr(0, comma)));
    if (!number || (m_length && *m_length != *number)) {
      return problem;
    }
    m_length = *number;
    if (comma == value.size()) {
      return nullptr;
    }
    value.remove_prefix(comma + 1);
  }
}

const char* HttpHeadWatch::ReadTransferCoding(std::string_view value) {
  if (m_isChunked || !EqualsIgnoringAsciiCase(value, "chunked")) {
    return "the answer has a Transfer-Encoding that was not asked for";
  }
  m_isChunked = true;
  return nullptr;
}

} // namespace zep
