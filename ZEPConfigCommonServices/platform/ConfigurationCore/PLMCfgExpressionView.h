#pragma once

// The view under which an expression is read, as the configuration core numbers it.
enum PLMCfgExpressionView : int {
  PLMCfgExpressionViewSource = 0,
  PLMCfgExpressionViewCurrent = 1,
  PLMCfgExpressionViewProjected = 2,
  PLMCfgExpressionViewUnset = 3,
};
