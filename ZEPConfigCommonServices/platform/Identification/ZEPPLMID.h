#pragma once

#include "ZEPPlatformExport.h"
#include "ZEPUnicodeString.h"

// Identifies an object of the PLM server. A null identifier, as constructed, identifies none.
class ZEP_PLATFORM_API ZEPPLMID {
public:
  ZEPPLMID();
  // From its textual form; an empty text gives the null identifier.
  explicit ZEPPLMID(const ZEPUnicodeString& text);
  ZEPPLMID(const ZEPPLMID& other);
  ZEPPLMID& operator=(const ZEPPLMID& other);
  ~ZEPPLMID();

  bool IsNull() const; // whether it identifies no object
  // The textual form. `iFormat` is 0.
  ZEPUnicodeString ToString(int iFormat) const;

private:
  ZEPUnicodeString m_text;
};
