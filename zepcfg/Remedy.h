#pragma once

#include "Failure.h"
#include "TraceCollector.h"

#include <string>

namespace zep::cli {

// What to do about a failure, told from what was reported about it.
std::string remedyFor(const Failure& failure);

// What a person needs to know about an operation of the library that failed with this code.
Failure describeFailure(const TraceCollector& trace, const std::string& input, const std::string& operation,
                        long code);

} // namespace zep::cli
