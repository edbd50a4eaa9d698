#include "StylesheetText.h"

#include <nlohmann/json.hpp>

#include <cstdint>
#include <filesystem>
#include <fstream>
#include <optional>
#include <sstream>
#include <string_view>

namespace {

constexpr char32_t replacement = 0xFFFD;

void appendUtf8(std::string& text, char32_t character) {
  const auto put = [&text](char32_t bits) { text.push_back(static_cast<char>(bits)); };
  if (character < 0x80) {
    put(character);
  } else if (character < 0x800) {
    put(0xC0 | (character >> 6));
    put(0x80 | (character & 0x3F));
  } else if (character < 0x10000) {
    put(0xE0 | (character >> 12));
    put(0x80 | ((character >> 6) & 0x3F));
    put(0x80 | (character & 0x3F));
  } else {
    put(0xF0 | (character >> 18));
    put(0x80 | ((character >> 12) & 0x3F));
    put(0x80 | ((character >> 6) & 0x3F));
    put(0x80 | (character & 0x3F));
  }
}

bool isHighSurrogate(char32_t unit) {
  return unit >= 0xD800 && unit < 0xDC00;
}
bool isLowSurrogate(char32_t unit) {
  return unit >= 0xDC00 && unit < 0xE000;
}

// `bytes` without its byte-order mark.
std::string utf16ToUtf8(std::string_view bytes, bool littleEndian) {
  const auto unitAt = [&](std::size_t index) {
    const auto first = static_cast<std::uint8_t>(bytes[2 * index]);
    const auto second = static_cast<std::uint8_t>(bytes[2 * index + 1]);
    return static_cast<char32_t>(littleEndian ? first | (second << 8) : (first << 8) | second);
  };
  std::string text;
  const std::size_t count = bytes.size() / 2;
  for (std::size_t index = 0; index < count; ++index) {
    const char32_t unit = unitAt(index);
    if (isHighSurrogate(unit) && index + 1 < count && isLowSurrogate(unitAt(index + 1))) {
      appendUtf8(text, 0x10000 + ((unit - 0xD800) << 10) + (unitAt(++index) - 0xDC00));
    } else {
      appendUtf8(text, isHighSurrogate(unit) || isLowSurrogate(unit) ? replacement : unit);
    }
  }
  return text;
}

std::string decode(std::string_view bytes) {
  if (bytes.starts_with("\xFF\xFE") || bytes.starts_with("\xFE\xFF")) {
    return utf16ToUtf8(bytes.substr(2), bytes.front() == '\xFF');
  }
  if (bytes.starts_with("\xEF\xBB\xBF")) {
    bytes.remove_prefix(3);
  }
  return std::string(bytes);
}

// The answer of the stylesheet service is JSON, which cannot carry anything but Unicode.
bool isUtf8(const std::string& text) {
  try {
    static_cast<void>(nlohmann::json(text).dump());
    return true;
  } catch (const nlohmann::json::type_error&) {
    return false;
  }
}

std::optional<std::string> readBytes(const std::string& path) {
  std::error_code error;
  std::ifstream file(path, std::ios::binary);
  if (std::filesystem::is_directory(path, error) || !file) {
    return std::nullopt;
  }
  std::ostringstream bytes;
  bytes << file.rdbuf();
  return std::move(bytes).str();
}

} // namespace

StylesheetText readStylesheet(const std::string& path) {
  const std::optional<std::string> bytes = readBytes(path);
  if (!bytes) {
    return {{}, "cannot read the stylesheet \"" + path + "\"; name a readable file with --stylesheet"};
  }
  StylesheetText stylesheet{decode(*bytes), {}};
  if (!isUtf8(stylesheet.text)) {
    stylesheet.problem = "the stylesheet \"" + path + "\" is neither UTF-8 nor UTF-16; convert it to UTF-8";
  }
  return stylesheet;
}

std::string installedStylesheetPath() {
  std::error_code error;
  const std::filesystem::path program = std::filesystem::read_symlink("/proc/self/exe", error);
  return (program.parent_path().parent_path() /
          "share/zepcfg/resources/xsl/server/CfgEffectivityDisplay_UTF16.xsl")
      .string();
}
