#pragma once

#include "ZEPPlatformExport.h"
#include "ZEPUnicodeString.h"

#include <vector>

// A 1-based list of texts, held by value.
class ZEP_PLATFORM_API ZEPListValZEPUnicodeString {
public:
  ZEPListValZEPUnicodeString();
  ZEPListValZEPUnicodeString(const ZEPListValZEPUnicodeString& other);
  ZEPListValZEPUnicodeString& operator=(const ZEPListValZEPUnicodeString& other);
  ~ZEPListValZEPUnicodeString();

  // Appends a copy; `text` may be an element of this list.
  void Append(const ZEPUnicodeString& text);
  int Size() const;
  // REQUIRES: 1 <= position <= Size(). References stay valid until the list is next changed.
  ZEPUnicodeString& operator[](int position);
  const ZEPUnicodeString& operator[](int position) const;
  void RemoveAll();

private:
  std::vector<ZEPUnicodeString> m_texts;
};
