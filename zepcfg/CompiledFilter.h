#pragma once

#include "ZEPBinary.h"

#include <cstddef>
#include <string>

// Filters in their compiled form. Failures throw CommandFailure.
namespace zep::cli {

struct CompiledFilter {
  ZEPBinary binary;
  std::size_t termCount = 0;
};

// An expression in XML.
CompiledFilter compileInput(const std::string& file, const std::string& bytes);

// A compiled filter as it is, or an expression in XML, compiled.
ZEPBinary readFilter(const std::string& file);

} // namespace zep::cli
