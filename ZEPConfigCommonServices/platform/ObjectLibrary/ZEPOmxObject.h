#pragma once

#include "ZEPPlatformExport.h"

#include <atomic>

// Base of the reference-counted objects. A new object has no reference yet; the last ZEPOmxSP that
// lets go of it deletes it, on whatever thread.
class ZEP_PLATFORM_API ZEPOmxObject {
public:
  ZEPOmxObject(const ZEPOmxObject&) = delete;
  ZEPOmxObject& operator=(const ZEPOmxObject&) = delete;

  void AddRef() const;  // one more reference
  void Release() const; // one reference less; the last one deletes the object

protected:
  ZEPOmxObject();
  virtual ~ZEPOmxObject();

private:
  mutable std::atomic<long> m_references;
};
