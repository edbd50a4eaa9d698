#pragma once

#include "ZEPListVal.h"

// A list of booleans; non-zero is true.
class ZEPListValZEPBoolean : public ZEPListVal<unsigned char> {};
