#pragma once

#include <string>
#include <string_view>

// What may be sent in the head of a request. libcurl sends what it is given: a line break in a
// header, a verb or a URL would end the line and let its author write headers of their own.

namespace zep {

struct HttpHeader {
  std::string name;
  std::string value; // may be empty
};

// Each returns what is wrong, in words, or the empty text.

std::string ProblemOfVerb(std::string_view verb);

// Absolute, http or https, without user name. Blanks and non-ASCII bytes behind the authority are
// percent-encoded into `oUrl`; everything else is kept as it stands.
std::string PrepareUrl(std::string_view url, std::string& oUrl);

// One CR LF at the end of the value is cut, then blanks around it, which mean nothing.
std::string PrepareHeader(std::string_view name, std::string_view& ioValue);

bool EqualsIgnoringAsciiCase(std::string_view left, std::string_view right);
inline bool IsControl(char character) {
  return static_cast<unsigned char>(character) < 0x20 || character == 0x7F;
}
bool IsToken(std::string_view text);
std::string_view WithoutBlanksAround(std::string_view text); // blanks and tabs

} // namespace zep
