#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

// What is measured on. The same texts on every machine and in every run.
namespace inputs {

// A size and its name, as it stands in the names of the benchmarks.
struct Size {
  const char* name;
  std::size_t bytes;
};
constexpr Size size1KB{"1KB", 1000};
constexpr Size size10KB{"10KB", 10 * 1000};
constexpr Size size100KB{"100KB", 100 * 1000};
constexpr Size size5MB{"5MB", 5 * 1000 * 1000};
constexpr Size size10MB{"10MB", 10 * 1000 * 1000};

// An expression of about this size, in UTF-8. Its content depends on its number.
std::string expression(std::size_t bytes, unsigned number = 0);
std::vector<std::string> expressions(std::size_t count, std::size_t bytes);

// An expression with this many "DescId" attributes.
std::string expressionWithDescIds(std::size_t count);

// The text of a stylesheet of about this size.
std::string stylesheet(std::size_t bytes);
// A server's answer that holds this stylesheet.
std::string stylesheetAnswer(std::string_view stylesheet);

// Of well-formed UTF-8, and of well-formed UTF-16. With a run of ASCII taken at once, as somebody would
// write it who looks at the speed and has no library for it.
std::u16string toUTF16(std::string_view text);
std::string toUTF8(std::u16string_view text);

} // namespace inputs
