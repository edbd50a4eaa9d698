#include "ZEPCfgServiceTrace.h"

namespace {

[[maybe_unused]] ZEPCfgServiceTrace trace("ZEPCfgFilterBasicServices", "", __FILE__);

} // namespace
