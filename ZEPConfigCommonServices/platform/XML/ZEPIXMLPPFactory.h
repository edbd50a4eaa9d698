#pragma once

#include "ZEPIXMLPPOutputSource.h"
#include "ZEPXMLClassIds.h"

class ZEPXMLPPMemoryBuffer;

// Makes output sources.
class ZEP_PLATFORM_API ZEPIXMLPPFactory : public IUnknown {
public:
  // An output source that writes into `ioBuffer`, which stays the caller's. S_OK, or a failure
  // code and an empty handle.
  virtual long CreateOutputSource(ZEPXMLPPMemoryBuffer& ioBuffer, ZEPIXMLPPOutputSource_var& oSource) = 0;
};

using ZEPIXMLPPFactory_var = ZEPInterface_var<ZEPIXMLPPFactory>;

// `iClassId`: CLSID_XML4C5_PP. An unknown class id is a failure code and an empty handle.
ZEP_PLATFORM_API long CreateZEPIXMLPPFactory(ZEPIXMLPPFactory_var& oFactory, const GUID& iClassId);
