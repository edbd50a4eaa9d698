#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace zep::cli {

// The same JSON text with each member on a line of its own. Only white space between its parts
// changes: numbers, escapes and keys that repeat stay as they are written. Nothing for a text that
// is not JSON, that holds a number beyond all bounds, or that is so deep that indenting it would not
// help anybody.
std::optional<std::string> indentedJSON(std::string_view text);

} // namespace zep::cli
