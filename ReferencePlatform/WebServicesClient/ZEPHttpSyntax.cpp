#include "ZEPHttpSyntax.h"

#include <algorithm>
#include <array>
#include <cstddef>

namespace zep {
namespace {

char LowerAscii(char character) {
  return character >= 'A' && character <= 'Z' ? static_cast<char>(character - 'A' + 'a') : character;
}

// Whether a character, by its number, may stand in a token.
constexpr std::array<bool, 256> kTokenCharacters = [] {
  std::array<bool, 256> isTokenCharacter = {};
  for (const char character :
       std::string_view("0123456789abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ"
                        "!#$%&'*+-.^_`|~")) {
    isTokenCharacter[static_cast<unsigned char>(character)] = true;
  }
  return isTokenCharacter;
}();

// They say where the message ends, who it is for, and what becomes of the connection.
bool IsTransportHeader(std::string_view name) {
  constexpr std::array<std::string_view, 10> names = {
      "Connection", "Content-Length",    "Expect", "Host", "Keep-Alive", "Proxy-Connection", "TE",
      "Trailer",    "Transfer-Encoding", "Upgrade"};
  return std::any_of(names.begin(), names.end(),
                     [name](std::string_view known) { return EqualsIgnoringAsciiCase(name, known); });
}

void AppendPercentEncoded(std::string& encoded, std::string_view text) {
  constexpr std::string_view digits = "0123456789ABCDEF";
  for (const char character : text) {
    const auto byte = static_cast<unsigned char>(character);
    if (byte == ' ' || byte >= 0x80) {
      encoded += {'%', digits[byte >> 4], digits[byte & 0xF]};
    } else {
      encoded += character;
    }
  }
}

} // namespace

bool IsToken(std::string_view text) {
  return !text.empty() && std::all_of(text.begin(), text.end(), [](char character) {
    return kTokenCharacters[static_cast<unsigned char>(character)];
  });
}

std::string_view WithoutBlanksAround(std::string_view text) {
  constexpr std::string_view blanks = " \t";
  const std::size_t first = text.find_first_not_of(blanks);
  if (first == std::string_view::npos) {
    return {};
  }
  return text.substr(first, text.find_last_not_of(blanks) - first + 1);
}

bool EqualsIgnoringAsciiCase(std::string_view left, std::string_view right) {
  return std::equal(left.begin(), left.end(), right.begin(), right.end(),
                    [](char a, char b) { return LowerAscii(a) == LowerAscii(b); });
}

std::string ProblemOfVerb(std::string_view verb) {
  if (!IsToken(verb)) {
    return "the verb is not a token of HTTP";
  }
  if (verb == "CONNECT") { // asks for a tunnel, not for an answer
    return "the verb CONNECT is not offered";
  }
  return {};
}

std::string PrepareUrl(std::string_view url, std::string& oUrl) {
  if (std::any_of(url.begin(), url.end(), IsControl)) {
    return "the URL holds a control character";
  }
  constexpr std::string_view separator = "://";
  const std::size_t schemeEnd = url.find(separator);
  if (schemeEnd == std::string_view::npos) {
    return "the URL is not absolute: it has to begin with http:// or https://";
  }
  const std::string_view scheme = url.substr(0, schemeEnd);
  if (!EqualsIgnoringAsciiCase(scheme, "http") && !EqualsIgnoringAsciiCase(scheme, "https")) {
    return "the URL is neither http nor https";
  }
  const std::size_t hostStart = schemeEnd + separator.size();
  const std::size_t hostEnd = std::min(url.find_first_of("/?#", hostStart), url.size());
  const std::string_view authority = url.substr(hostStart, hostEnd - hostStart);
  if (authority.empty()) {
    return "the URL names no host";
  }
  // "http://known.example" with "@other.example/" appended would go to the other one.
  if (authority.find('@') != std::string_view::npos) {
    return "the URL holds a user name";
  }
  oUrl.clear();
  oUrl.reserve(url.size());
  oUrl.append(url.substr(0, hostEnd));
  AppendPercentEncoded(oUrl, url.substr(hostEnd));
  return {};
}

std::string PrepareHeader(std::string_view name, std::string_view& ioValue) {
  if (!IsToken(name)) {
    return "the name of a header is not a token of HTTP";
  }
  if (IsTransportHeader(name)) {
    return "the header " + std::string(name) + " is not the caller's to set";
  }
  constexpr std::string_view lineEnd = "\r\n";
  if (ioValue.ends_with(lineEnd)) {
    ioValue.remove_suffix(lineEnd.size());
  }
  if (std::any_of(ioValue.begin(), ioValue.end(), [](char c) { return IsControl(c) && c != '\t'; })) {
    return "the value of the header " + std::string(name) + " holds a control character";
  }
  ioValue = WithoutBlanksAround(ioValue);
  return {};
}

} // namespace zep
