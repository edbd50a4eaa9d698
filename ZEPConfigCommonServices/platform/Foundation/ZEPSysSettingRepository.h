#pragma once

#include "ZEPPlatformExport.h"

class ZEPUnicodeString;

// A named group of the user's settings.
class ZEP_PLATFORM_API ZEPSysSettingRepository {
public:
  // The repository of that name, or null when there is none that can be read. The caller owns the
  // reference and gives it back with Release(). `iMode` is 0.
  static ZEPSysSettingRepository* GetRepository(const char* iName, int iMode);

  // Exactly 1 when the attribute exists and is a text, which then replaces `*oValue`. Any other
  // result leaves `*oValue` untouched.
  virtual int ReadAttr(const char* iKey, ZEPUnicodeString* oValue) = 0;
  virtual void Release() = 0; // gives the caller's reference back

  ZEPSysSettingRepository(const ZEPSysSettingRepository&) = delete;
  ZEPSysSettingRepository& operator=(const ZEPSysSettingRepository&) = delete;

protected:
  ZEPSysSettingRepository();
  virtual ~ZEPSysSettingRepository();
};
