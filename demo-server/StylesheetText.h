#pragma once

#include <string>

struct StylesheetText {
  std::string text;    // UTF-8, without a byte-order mark
  std::string problem; // empty when the file could be read and is text
};

// Reads a stylesheet in UTF-8 or, with a byte-order mark, in UTF-16.
StylesheetText readStylesheet(const std::string& path);

// The stylesheet that is installed with the program.
std::string installedStylesheetPath();
