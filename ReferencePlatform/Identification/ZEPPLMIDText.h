#pragma once

#include <optional>
#include <string>

class ZEPPLMID;

namespace zep {

// The parts of an identifier's textual form, type:logical:physical (docs/identifiers.md).
struct PLMIDParts {
  std::u16string type;
  std::u16string logicalId; // may be empty, and may hold colons
  std::u16string physicalId;
};

// Nothing for the null identifier and for a text of another form; then the last error says why.
std::optional<PLMIDParts> PartsOf(const ZEPPLMID& id);

} // namespace zep
