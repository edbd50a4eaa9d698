#pragma once

#include "ZEPUTF8Conversion.h"
#include "ZEPUnicodeString.h"

#include <string>

// Texts of the platform from UTF-8 and back; they may hold NUL.

inline ZEPUnicodeString textOf(const std::string& utf8) {
  ZEPUnicodeString text;
  text.BuildFromUTF8(utf8.data(), utf8.size());
  return text;
}

inline std::string utf8Of(const ZEPUnicodeString& text) {
  const ZEPUTF8Conversion converted(text);
  return {converted.Bytes(), converted.ByteCount()};
}
