#pragma once

#include "TraceCollector.h"
#include "ZEPUnicodeString.h"

#include <string>

// What the ways of formatting have to say when they fail. `operation` is the one that was called.
namespace zep::cli {

// No display text can be this one, since no XML text may hold that character: an output that still
// is it was never written.
const ZEPUnicodeString& untouched();

bool hasStylesheet(const TraceCollector& trace);

[[noreturn]] void failFormatting(const TraceCollector& trace, const std::string& input,
                                 const std::string& operation, long result);

// For a success without a text.
[[noreturn]] void failWithNothingFormatted(const TraceCollector& trace, const std::string& input,
                                           const std::string& operation, long result);

// A server that was asked and failed is a failure here, although the library may go on to the next
// candidate: nobody who names a server wants the text of another stylesheet unawares.
void requireServerStylesheet(const TraceCollector& trace, const std::string& input,
                             const std::string& operation);

} // namespace zep::cli
