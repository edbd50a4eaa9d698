#pragma once

#include "ZEPPlatformExport.h"

// The base of every component interface: a reference count. An object is created with one
// reference, which belongs to who created it; it ends itself when the last one is released.
// Both operations may be called on any thread.
class ZEP_PLATFORM_API IUnknown {
public:
  IUnknown(const IUnknown&) = delete;
  IUnknown& operator=(const IUnknown&) = delete;

  virtual unsigned long AddRef() = 0;  // one more reference; returns the new count
  virtual unsigned long Release() = 0; // one reference less; returns the new count

protected:
  IUnknown();
  virtual ~IUnknown();
};
