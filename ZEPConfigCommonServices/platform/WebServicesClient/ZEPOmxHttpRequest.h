#pragma once

#include "ZEPOmxHttpMessage.h"

// A request, of whatever verb.
class ZEP_PLATFORM_API ZEPOmxHttpRequest : public ZEPOmxHttpMessage {};
