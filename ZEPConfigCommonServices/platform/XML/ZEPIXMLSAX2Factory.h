#pragma once

#include "ZEPISAXInputSource.h"
#include "ZEPXMLClassIds.h"

class ZEPUnicodeString;

// Makes input sources. Both operations give S_OK and a source, or a failure code and an empty
// handle. The source id names the source in messages.
class ZEP_PLATFORM_API ZEPIXMLSAX2Factory : public IUnknown {
public:
  // The file is read when the source is used, not before.
  virtual long CreateInputSourceFromFile(const ZEPUnicodeString& iPath, const ZEPUnicodeString& iSourceId,
                                         ZEPISAXInputSource_var& oSource) = 0;
  // The source keeps what it needs of the text: the caller's string may change or end.
  virtual long CreateInputSourceFromMemoryBuffer(const ZEPUnicodeString& iText,
                                                 const ZEPUnicodeString& iSourceId,
                                                 ZEPISAXInputSource_var& oSource) = 0;
};

using ZEPIXMLSAX2Factory_var = ZEPInterface_var<ZEPIXMLSAX2Factory>;

// `iClassId`: CLSID_XML4C_SAX. An unknown class id is a failure code and an empty handle.
ZEP_PLATFORM_API long CreateZEPIXMLSAX2Factory(ZEPIXMLSAX2Factory_var& oFactory, const GUID& iClassId);
