#pragma once

#include "ZEPBaseUnknown_var.h"

// Where an XML text is read from: a file or a text in memory. Made by ZEPIXMLSAX2Factory and
// understood by the XML library alone.
class ZEP_PLATFORM_API ZEPISAXInputSource : public IUnknown {};

using ZEPISAXInputSource_var = ZEPInterface_var<ZEPISAXInputSource>;
