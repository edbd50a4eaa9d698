#pragma once

#include "FaultMatrix.h"

#include <array>
#include <optional>
#include <span>

namespace fault {

// How one call can go wrong: the failure code, unless it has none; whether it can give nothing; whether it
// may raise. What gives something back in a destructor may not raise.
struct Ability {
  Op operation;
  std::optional<long> code;
  bool isEmptied;
  bool raises = true;
};

inline constexpr std::array kinds = {Kind::Fails, Kind::FailsButActs, Kind::Empty, Kind::Throws};

std::span<const Ability> allAbilities();
const Ability& abilityOf(Op operation);
bool canBe(const Ability& ability, Kind kind);

// Nothing needs memory between the last step in front of it and these.
bool givesBack(Op operation);

} // namespace fault
