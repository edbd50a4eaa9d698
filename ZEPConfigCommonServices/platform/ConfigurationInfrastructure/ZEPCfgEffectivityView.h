#pragma once

// The view under which an expression is read, as callers number it.
enum ZEPCfgEffectivityView : int {
  ZEPCfgEffectivityViewUnset = 0,
  ZEPCfgEffectivityViewSource = 1,
  ZEPCfgEffectivityViewCurrent = 2,
  ZEPCfgEffectivityViewProjected = 3,
};
