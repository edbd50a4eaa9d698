#pragma once

#include "StylesheetScan.h"

#include <nlohmann/json.hpp>
#include <string>
#include <vector>

namespace zep::cli {

struct StylesheetReport {
  Decoding decodedAs;
  std::vector<Finding> findings;
};

// Whether a stylesheet file compiles, how its output would be decoded, and what in it would surprise.
// Throws CommandFailure when the file cannot be read.
StylesheetReport checkStylesheetFile(const std::string& file);

// The same of a file that is meant for a server.
StylesheetReport checkFileForServer(const std::string& file);

// The same of the stylesheet that the server has supplied.
StylesheetReport checkServerStylesheet(const std::string& text);

nlohmann::ordered_json findingsAsJSON(const std::vector<Finding>& findings);

// "line 3: text"
std::string findingInWords(const Finding& finding);

} // namespace zep::cli
