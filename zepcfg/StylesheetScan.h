#pragma once

#include <optional>
#include <string>
#include <vector>

namespace zep::cli {

// Something about a stylesheet that would surprise.
struct Finding {
  long line; // 0 where no line is to blame
  std::string text;
  std::string remedy;
  bool isRefused = false; // the library does not take a stylesheet with this
};

enum class Decoding { UTF8, UTF16 };

const char* decodingName(Decoding decoding);

// Reads a stylesheet as XML, without applying it. `path` is the file that `bytes` came from, or empty
// for a text from a server, which may include no other file. `decodedAs` is how the library will
// decode its output.
std::vector<Finding> scanStylesheet(const std::string& bytes, const std::string& path, Decoding decodedAs);

} // namespace zep::cli
