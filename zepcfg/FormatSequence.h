#pragma once

#include "Commands.h"

// Formatting many expressions with one prepared stylesheet.
namespace zep::cli {

// Each file by itself, in the order of the names. The first failure ends it, with nothing written.
void formatFiles(const FormatOptions& options);

// The same through the library's batch operation.
void formatBatch(const FormatOptions& options);

// A stream of JSON lines. Returns the exit code.
int formatLines(const FormatOptions& options);

} // namespace zep::cli
