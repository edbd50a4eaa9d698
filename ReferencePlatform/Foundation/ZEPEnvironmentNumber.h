#pragma once

#include <cstdint>

namespace zep {

// The number that an environment variable holds; the default where it is not set or holds anything
// but digits that make a number from 1 to `maximum`.
std::int64_t NumberFromEnvironment(const char* name, std::int64_t defaultValue, std::int64_t maximum);

} // namespace zep
