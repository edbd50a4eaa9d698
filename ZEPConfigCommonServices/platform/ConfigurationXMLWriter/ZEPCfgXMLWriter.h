#pragma once

#include "ZEPPlatformExport.h"

#include <memory>

class PLMCfgInListVal;
class PLMCfgInString;
class ZEPUnicodeString;

// Writes one well-formed XML document, from its start to its end. Every operation returns a result
// code. After a failure the document is lost: each further call fails too, and a new writer is
// needed.
class ZEP_PLATFORM_API ZEPCfgXMLWriter {
public:
  ZEPCfgXMLWriter();
  virtual ~ZEPCfgXMLWriter();
  ZEPCfgXMLWriter(const ZEPCfgXMLWriter&) = delete;
  ZEPCfgXMLWriter& operator=(const ZEPCfgXMLWriter&) = delete;

  // The first call.
  virtual long WriteStartDocument();
  // Attributes come in the order of the lists, which are of one size; null for none. A name that
  // XML does not allow, and a value with a character that XML cannot hold, fail (E_INVALIDARG).
  // Values are escaped.
  virtual long WriteStartElement(const PLMCfgInString& iName, const PLMCfgInListVal* iAttributeNames,
                                 const PLMCfgInListVal* iAttributeValues);
  // Text inside the element that was opened last, escaped. A character that XML cannot hold is
  // E_INVALIDARG.
  virtual long WriteCharacters(const PLMCfgInString& iText);
  // Closes the element that was opened last.
  virtual long WriteEndElement();
  // The last call but GetGeneratedXML().
  virtual long WriteEndDocument();
  // The whole document as text, after WriteEndDocument(). A failure leaves `oXML` untouched.
  virtual long GetGeneratedXML(ZEPUnicodeString& oXML);

private:
  struct Implementation;
  std::unique_ptr<Implementation> m_implementation;
};
