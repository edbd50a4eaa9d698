#pragma once

#include "ZEPPlatformExport.h"

class IUnknown;
class ZEPUnicodeString;

// The last error of the calling thread: what a platform call that failed has to say beyond its
// result code.
class ZEP_PLATFORM_API ZEPError {
public:
  // The error recorded last on this thread, or null when there is none. The caller owns the
  // reference and gives it back with Release(). `iResult` is the code that the failing call
  // returned, `iObject` the object that it was made on, or null; an error recorded for another
  // code is not given out.
  static ZEPError* ZEPGetLastError(long iResult, IUnknown* iObject);
  // Forgets the thread's last error.
  static void ZEPCleanLastError();

  virtual ZEPUnicodeString GetMessageText() = 0; // what went wrong, in words
  virtual void Release() = 0;                    // gives the caller's reference back

  ZEPError(const ZEPError&) = delete;
  ZEPError& operator=(const ZEPError&) = delete;

protected:
  ZEPError();
  virtual ~ZEPError();
};
