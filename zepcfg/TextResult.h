#pragma once

#include "Commands.h"
#include "ZEPUnicodeString.h"

namespace zep::cli {

// The result of a command that makes one text: the text itself, or an object with it as "text".
void deliverText(long code, const ZEPUnicodeString& text, const OutputOptions& output);

} // namespace zep::cli
