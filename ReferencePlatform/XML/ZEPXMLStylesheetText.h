#pragma once

#include <string>

namespace zep {

// A stylesheet as it was read.
struct StylesheetText {
  bool operator==(const StylesheetText&) const = default;

  bool isFile;
  std::string name; // the real path of a file, the id of a text in memory
  std::string bytes;
};

// One that another one includes or imports.
struct IncludedText {
  std::string path; // as it was asked for
  StylesheetText text;
};

} // namespace zep
