#pragma once

#include <stdexcept>

namespace zep {

// Why a filter cannot be made, read or compared: for people, as a result code's message. Stays within the
// platform.
class FilterFault : public std::runtime_error {
public:
  using std::runtime_error::runtime_error;
};

// The comparison was given up.
class FilterWorkLimit : public FilterFault {
public:
  using FilterFault::FilterFault;
};

} // namespace zep
