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

// The text with the value of the security context covered; an empty value stays visible, because
// that it is empty is what one looks for.
std::string WithoutSecrets(std::string text, std::string_view securityContext);

// The name of the operation in a signature: "Run" for "long __cdecl Job::Run(int)".
std::string_view OperationOf(std::string_view signature);

// The columns of a record behind its time, without a line end: thread, mark, class, operation,
// place and text. `text` stands for `record.text`, which cannot hold a NUL.
std::string TraceColumns(const ZEPTraceRecord& record, std::string_view text, const TraceOrigin& origin);

// The members of a record's JSON object behind its time, with the brace that ends it.
std::string TraceMembers(const ZEPTraceRecord& record, std::string_view text, const TraceOrigin& origin);

} // namespace zep
