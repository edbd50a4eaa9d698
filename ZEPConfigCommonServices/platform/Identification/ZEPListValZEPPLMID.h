#pragma once

#include "ZEPListVal.h"
#include "ZEPPLMID.h"

// A list of identifiers.
class ZEPListValZEPPLMID : public ZEPListVal<ZEPPLMID> {};
