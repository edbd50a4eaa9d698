#pragma once

// How the sides of a comparison are read, as the configuration core numbers it. The library passes
// the number 1 alone.
enum PLMCfgComparisonMode : int {
  PLMCfgComparisonModeUnset = 0,
  PLMCfgComparisonModeExact = 1,
};
