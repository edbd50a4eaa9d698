#pragma once

#include "ZEPPlatformExport.h"

#include <atomic>

// Base of the reference-counted objects. A new object has no reference yet; the last ZEPOmxSP that
// lets go of it deletes it.
class ZEP_PLATFORM_API ZEPOmxObject {
public:
  ZEPOmxObject(const ZEPOmxObject&) = delete;
  ZEPOmxObject& operator=(const ZEPOmxObject&) = delete;

  void AddRef() const;
  void Release() const;

protected:
  ZEPOmxObject();
  virtual ~ZEPOmxObject();

private:
  mutable std::atomic<long> m_references;
};
