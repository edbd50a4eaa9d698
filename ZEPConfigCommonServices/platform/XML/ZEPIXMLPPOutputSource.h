#pragma once

#include "ZEPBaseUnknown_var.h"

// Where a transformer writes to. Made by ZEPIXMLPPFactory and understood by the XML library alone.
class ZEP_PLATFORM_API ZEPIXMLPPOutputSource : public IUnknown {};

using ZEPIXMLPPOutputSource_var = ZEPInterface_var<ZEPIXMLPPOutputSource>;
