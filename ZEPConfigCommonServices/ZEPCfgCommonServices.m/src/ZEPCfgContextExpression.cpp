#include "ZEPCfgServiceTrace.h"

namespace {

// Built and destroyed with the library; the value types of this file write nothing to it.
[[maybe_unused]] ZEPCfgServiceTrace trace("ZEPCfgContextExpression", "", __FILE__);

} // namespace
