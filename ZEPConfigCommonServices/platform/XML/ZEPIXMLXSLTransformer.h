#pragma once

#include "ZEPISAXInputSource.h"
#include "ZEPIXMLPPOutputSource.h"

class ZEPUnicodeString;

// Applies one compiled stylesheet. Every operation returns a result code; a failure leaves a
// message with the last-error service (ZEPError), and the transformer usable.
class ZEP_PLATFORM_API ZEPIXMLXSLTransformer : public IUnknown {
public:
  // The document that the next Transform() reads. The transformer shares the source.
  virtual long SetInputSource(const ZEPISAXInputSource_var& iSource) = 0;
  // See ZEPXMLXSLTransformerOptions; an option or a value that is not known is E_INVALIDARG.
  virtual long SetOption(const ZEPUnicodeString& iOption, const ZEPUnicodeString& iValue) = 0;
  // Where Transform() writes to; the transformer shares the source. An empty handle detaches.
  virtual long SetOutputSource(const ZEPIXMLPPOutputSource_var& iSource) = 0;
  // A string parameter of the stylesheet, `iNamespace` empty for none. It stays set until it is
  // set again.
  virtual long SetParameter(const ZEPUnicodeString& iName, const ZEPUnicodeString& iNamespace,
                            const ZEPUnicodeString& iValue) = 0;
  // Reads, transforms and writes. All of the result is delivered, or none: on a failure code the
  // output holds nothing of it. A result without characters is delivered as an empty one.
  //
  // The bytes are in the encoding that the stylesheet's xsl:output names; where it names none, in
  // UTF-16 of the machine's byte order behind a byte-order mark.
  virtual long Transform() = 0;
};

using ZEPIXMLXSLTransformer_var = ZEPInterface_var<ZEPIXMLXSLTransformer>;
