#pragma once

#include "ZEPUnicodeString.h"

#include <string>
#include <string_view>

// Small helpers on texts.
namespace zep::cli {

std::string toUTF8(const ZEPUnicodeString& text);
ZEPUnicodeString fromUTF8(std::string_view text);

// 'name', or "standard input" for "-".
std::string inputName(const std::string& file);

// That many digits, in capitals.
std::string toHexadecimal(unsigned long value, int digits);

std::string replaceAll(std::string text, std::string_view from, std::string_view to);

bool startsWith(std::string_view text, std::string_view start);
bool contains(std::string_view text, std::string_view pattern);

// Case of ASCII letters alone.
std::string toLowerASCII(std::string_view text);

// Few words as a sentence: with a capital letter and a full stop.
std::string asSentence(std::string words);

// Control characters other than line feed and tab as \xNN, so that a text from elsewhere cannot
// drive the terminal; what is not UTF-8 likewise.
std::string withoutControls(std::string_view text);

} // namespace zep::cli
