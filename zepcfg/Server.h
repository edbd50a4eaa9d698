#pragma once

#include "Failure.h"
#include "StylesheetCandidates.h"
#include "TraceCollector.h"

#include <optional>

namespace zep::cli {

struct ServerInquiry {
  ServerAnswer answer;
  std::optional<Failure> failure;
};

// Asks the server for its stylesheet, where one is named.
ServerInquiry askServer();

// What went wrong when the library asked the server for its stylesheet.
Failure describeFetchFailure(const TraceCollector& trace, const std::string& input,
                             const std::string& operation, long code);

// The URL that the platform was given; empty where there is none.
std::string serverURL();

} // namespace zep::cli
