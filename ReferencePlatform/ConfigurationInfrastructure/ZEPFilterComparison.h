#pragma once

#include "ZEPFilter.h"
#include "ZEPPlatformExport.h"

#include <memory>
#include <optional>
#include <string>
#include <vector>

class ZEPBinary;

namespace zep {

// What a configuration has of one variable: a name, a day as 2025-03-31, or a unit number. Without a value
// any name that neither filter mentions.
struct ConfigurationValue {
  FilterVariableKind kind;
  std::string variable;
  std::optional<std::string> value;
};

// The values of all variables that one of two filters speaks of. Others do not matter.
using Configuration = std::vector<ConfigurationValue>;

// Compares filters with one reference.
class FilterComparison {
public:
  // Throws FilterFault for bytes that are no compiled filter, as all operations here.
  explicit FilterComparison(const ZEPBinary& reference);
  ~FilterComparison();

  // A configuration that the candidate selects and the reference does not; none where the reference
  // includes the candidate. Throws FilterWorkLimit when it takes too long, all questions together.
  std::optional<Configuration> FindCounterexample(const ZEPBinary& candidate);

private:
  class Implementation;
  std::unique_ptr<Implementation> m_implementation;
};

// The same for one candidate, with result codes: E_INVALIDARG for what is no compiled filter, E_ABORT
// when it takes too long. The last error says more. A failure leaves the output untouched.
ZEP_PLATFORM_API long FindCounterexample(const ZEPBinary& reference, const ZEPBinary& candidate,
                                         std::optional<Configuration>& counterexample);

} // namespace zep
