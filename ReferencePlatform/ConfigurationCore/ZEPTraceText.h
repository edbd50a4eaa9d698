#pragma once

#include "ZEPTraceObserver.h"

#include <cstddef>
#include <string>
#include <string_view>

namespace zep {

// What the records of an error report begin with. The first begins with the second, so that one
// test finds both.
inline constexpr const char* kTraceError = "**** ERROR ****";
inline constexpr const char* kTraceErrorIndent = "**** ";

// What the texts of a performance measure begin with.
inline constexpr const char* kTracePerfo = "perfo ";

bool IsErrorText(std::string_view text);
bool IsPerfoText(std::string_view text);

// The text with the value of the security context covered; an empty value stays visible, because
// that it is empty is what one looks for.
std::string WithoutSecrets(std::string text);

// The name of the operation in a signature: "Run" for "long __cdecl Job::Run(int)".
std::string_view OperationOf(std::string_view signature);

// The columns of a record behind its time, without a line end: thread, mark, class, operation,
// place and text. `text` stands for `record.text`, which cannot hold a NUL.
std::string TraceColumns(const ZEPTraceRecord& record, std::string_view text, long thread,
                         std::size_t nesting);

} // namespace zep
