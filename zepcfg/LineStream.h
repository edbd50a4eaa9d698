#pragma once

#include "Commands.h"
#include "ZEPUnicodeString.h"

#include <functional>
#include <nlohmann/json.hpp>
#include <string>

// Streams of JSON lines: an expression on each input line, one object on each output line, in order.
namespace zep::cli {

// What failures call the expression of a line; the line's own number is put to its failure later.
inline constexpr char lineExpression[] = "the expression";

// What a command does with the expression of one line: the members of its object, "hresult" and
// "result" among them. Throws CommandFailure for an expression that fails.
using LineOperation = std::function<nlohmann::ordered_json(const ZEPUnicodeString& expression)>;

// Runs the operation over all lines of the input; with more than one job in that many processes,
// which are copies of this one as it is now. A line that fails gives an
// object with its failure, and the stream goes on. Returns the exit code.
int runLineStream(const std::string& file, int jobs, const LineOperation& operation,
                  const OutputOptions& output);

} // namespace zep::cli
