#pragma once

#include "ZEPCollec.h"
#include "ZEPPlatformExport.h"

#include <vector>

// A 1-based growable array of ints.
class ZEP_PLATFORM_API ZEPRawCollint {
public:
  // The initial size is a capacity: the collection starts empty. 0 or less reserves nothing.
  explicit ZEPRawCollint(int iInitialSize = 0);
  ZEPRawCollint(const ZEPRawCollint& other);
  ZEPRawCollint& operator=(const ZEPRawCollint& other);
  ~ZEPRawCollint();

  void Append(int iElement);
  int Size() const;
  // REQUIRES: 1 <= iPosition <= Size().
  int& operator[](int iPosition);
  int operator[](int iPosition) const;
  void RemoveAll(ZEPCollec::MemoryHandling iMode);

private:
  std::vector<int> m_elements;
};
