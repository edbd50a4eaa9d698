#pragma once

#include "ZEPOmxAny.h"
#include "ZEPPlatformExport.h"

// The members of a JSON object by key; as constructed it has none.
class ZEP_PLATFORM_API ZEPOmxKeyValueBlock {
public:
  ZEPOmxKeyValueBlock();

  // S_OK and the member's value (of several with that key, the last); or E_FAIL when there is no
  // such member, `oValue` untouched.
  long GetValue(const ZEPOmxKeyString& iKey, ZEPOmxAny& oValue) const;

private:
  friend class ZEPOmxAny;
  ZEPOmxAny m_object;
};
