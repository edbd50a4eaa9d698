#pragma once

#include "ZEPBinary.h"
#include "ZEPListVal.h"

// A list of binaries.
class ZEPListValZEPBinary : public ZEPListVal<ZEPBinary> {};
