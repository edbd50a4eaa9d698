#pragma once

#include "ZEPListVal.h"
#include "ZEPUnicodeString.h"

// A list of texts.
class ZEPListValZEPUnicodeString : public ZEPListVal<ZEPUnicodeString> {};
