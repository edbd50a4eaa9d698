#pragma once

#include "ZEPIXMLXSLTransformer.h"
#include "ZEPXMLClassIds.h"

// Makes transformers.
class ZEP_PLATFORM_API ZEPIXMLXSLFactory : public IUnknown {
public:
  // Reads and compiles the stylesheet. S_OK and a transformer, or a failure code, an empty handle
  // and a message with the last-error service.
  virtual long CreateTransformer(const ZEPISAXInputSource_var& iStylesheet,
                                 ZEPIXMLXSLTransformer_var& oTransformer) = 0;
};

using ZEPIXMLXSLFactory_var = ZEPInterface_var<ZEPIXMLXSLFactory>;

// `iClassId`: CLSID_XSLT_JAVA. An unknown class id is a failure code and an empty handle.
ZEP_PLATFORM_API long CreateZEPIXMLXSLFactory(ZEPIXMLXSLFactory_var& oFactory, const GUID& iClassId);
