#pragma once

#include "ZEPUTF8Conversion.h"
#include "ZEPUnicodeString.h"

#include <cstdint>
#include <cstdlib>
#include <fstream>
#include <iomanip>
#include <iostream>
#include <iterator>
#include <string>

// What the examples share: files, texts, and saying what failed.

inline std::string readFile(const char* path) {
  std::ifstream file(path, std::ios::binary);
  std::string bytes{std::istreambuf_iterator<char>(file), {}};
  if (!file) {
    std::cerr << path << ": cannot be read\n";
    std::exit(2);
  }
  return bytes;
}

// Texts of the library are UTF-16. This takes any UTF-8, zeros included, and never fails.
inline ZEPUnicodeString fromUTF8(const std::string& bytes) {
  ZEPUnicodeString text;
  text.BuildFromUTF8(bytes.data(), bytes.size());
  return text;
}

inline std::ostream& operator<<(std::ostream& stream, const ZEPUnicodeString& text) {
  const ZEPUTF8Conversion utf8(text);
  return stream.write(utf8.Bytes(), static_cast<std::streamsize>(utf8.ByteCount()));
}

// A result code is a 32-bit number in a long. What exactly went wrong stands in the trace.
inline int fail(const char* operation, long result) {
  std::cerr << operation << " failed with 0x" << std::hex << std::setfill('0') << std::setw(8)
            << static_cast<std::uint32_t>(result)
            << "; with ZEP_TRACE=1 in the environment the trace says why\n";
  return 2;
}

inline int showUsage(const char* usage) {
  std::cerr << "usage: " << usage << "\n";
  return 2;
}
