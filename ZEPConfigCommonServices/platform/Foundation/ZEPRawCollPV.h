#pragma once

#include "ZEPCollec.h"
#include "ZEPPlatformExport.h"

#include <vector>

// A 1-based growable array of untyped pointers, which it does not own.
class ZEP_PLATFORM_API ZEPRawCollPV {
public:
  // The initial size is a capacity: the collection starts empty. 0 or less reserves nothing.
  explicit ZEPRawCollPV(int iInitialSize = 0);
  ZEPRawCollPV(const ZEPRawCollPV& other);
  ZEPRawCollPV& operator=(const ZEPRawCollPV& other);
  ~ZEPRawCollPV();

  void Append(void* iElement);
  int Size() const;
  // REQUIRES: 1 <= iPosition <= Size().
  void*& operator[](int iPosition);
  void* operator[](int iPosition) const;
  void RemoveAll(ZEPCollec::MemoryHandling iMode);

private:
  std::vector<void*> m_elements;
};
