#pragma once

#include "ZEPTraceObserver.h"

#include <cstddef>
#include <string>
#include <string_view>

namespace zep {

// How a record is written: one line of columns, or one JSON object in a line.
enum class TraceForm { Columns, JSON };

// What ZEP_TRACE_FORMAT asks for; where it asks for neither, the name of the file decides.
TraceForm TraceFormFor(std::string_view format, std::string_view path);

// Where a record was written.
struct TraceOrigin {
  long process;
  long thread;
  std::size_t nesting; // operations around it
};

// What the records of an error report begin with. The first begins with the second, so that one
// test finds both.
inline constexpr const char* kTraceError = "**** ERROR ****";
inline constexpr const char* kTraceErrorIndent = "**** ";

// What the texts of a performance measure begin with.
inline constexpr const char* kTracePerfo = "perfo ";

// What the record of an operation's result begins with.
inline constexpr const char* kTraceResult = "rc = ";

// The name of the group of classes that name none.
inline constexpr const char* kTraceDefaultGroup = "default";

bool IsErrorText(std::string_view text);
bool IsPerfoText(std::string_view text);

// Covers the value of the security context in the text; an empty value stays visible, because that it is
// empty is what one looks for.
void CoverSecrets(std::string& ioText, std::string_view securityContext);

// The name of the operation in a signature: "Run" for "long __cdecl Job::Run(int)".
std::string_view OperationOf(std::string_view signature);

// Appends what stands behind the time of a record, without a line end: its columns, which are thread, mark,
// class, operation, place and text; or the members of its JSON object, with the brace that ends it. `text`
// stands for `record.text`, which cannot hold a NUL.
void AppendTraceRecord(std::string& line, TraceForm form, const ZEPTraceRecord& record, std::string_view text,
                       const TraceOrigin& origin);

} // namespace zep
