#include "Text.h"

#include "ZEPUTF8Conversion.h"

namespace zep::cli {
namespace {

bool isControl(unsigned char byte) {
  return (byte < 0x20 && byte != '\n' && byte != '\t') || byte == 0x7F;
}

bool isContinuation(unsigned char byte) {
  return (byte & 0xC0U) == 0x80;
}

// Bytes of the sequence that begins there, or 0 where none does. U+0080 to U+009F, which terminals
// take for controls too, are refused with the malformed ones.
std::size_t sequenceLength(std::string_view text) {
  const auto lead = static_cast<unsigned char>(text[0]);
  const std::size_t length = lead < 0x80   ? 1
                             : lead < 0xC2 ? 0
                             : lead < 0xE0 ? 2
                             : lead < 0xF0 ? 3
                             : lead < 0xF5 ? 4
                                           : 0;
  if (length > text.size() || (length == 2 && lead == 0xC2 && static_cast<unsigned char>(text[1]) < 0xA0)) {
    return 0;
  }
  for (std::size_t i = 1; i < length; ++i) {
    if (!isContinuation(static_cast<unsigned char>(text[i]))) {
      return 0;
    }
  }
  return length;
}

} // namespace

std::string toUTF8(const ZEPUnicodeString& text) {
  const ZEPUTF8Conversion utf8(text);
  return {utf8.Bytes(), utf8.ByteCount()};
}

ZEPUnicodeString fromUTF8(std::string_view text) {
  ZEPUnicodeString result;
  result.BuildFromUTF8(text.data(), text.size());
  return result;
}

std::string inputName(const std::string& file) {
  return file == "-" ? "standard input" : "'" + file + "'";
}

std::string toHexadecimal(unsigned long value, int digits) {
  std::string text;
  for (int shift = 4 * (digits - 1); shift >= 0; shift -= 4) {
    text += "0123456789ABCDEF"[(value >> shift) & 0xFU];
  }
  return text;
}

std::string replaceAll(std::string text, std::string_view from, std::string_view to) {
  for (std::size_t at = text.find(from); at != std::string::npos; at = text.find(from, at + to.size())) {
    text.replace(at, from.size(), to);
  }
  return text;
}

bool startsWith(std::string_view text, std::string_view start) {
  return text.substr(0, start.size()) == start;
}

bool contains(std::string_view text, std::string_view pattern) {
  return text.find(pattern) != std::string_view::npos;
}

std::string toLowerASCII(std::string_view text) {
  std::string lower(text);
  for (char& character : lower) {
    if (character >= 'A' && character <= 'Z') {
      character = static_cast<char>(character - 'A' + 'a');
    }
  }
  return lower;
}

std::string asSentence(std::string words) {
  if (words.empty()) {
    return words;
  }
  char& first = words.front();
  first = first >= 'a' && first <= 'z' ? static_cast<char>(first - 'a' + 'A') : first;
  return words.back() == '.' ? words : words + ".";
}

std::string withoutControls(std::string_view text) {
  std::string clean;
  while (!text.empty()) {
    const std::size_t length = sequenceLength(text);
    const auto byte = static_cast<unsigned char>(text[0]);
    if (length == 0 || isControl(byte)) {
      clean += "\\x" + toHexadecimal(byte, 2);
      text.remove_prefix(1);
    } else {
      clean += text.substr(0, length);
      text.remove_prefix(length);
    }
  }
  return clean;
}

} // namespace zep::cli
