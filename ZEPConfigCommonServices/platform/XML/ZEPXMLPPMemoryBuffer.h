#pragma once

#include "ZEPPlatformExport.h"

#include <memory>

// Collects the bytes that an output source writes. An output source that outlives its buffer never
// touches it again.
class ZEP_PLATFORM_API ZEPXMLPPMemoryBuffer {
public:
  explicit ZEPXMLPPMemoryBuffer(unsigned int iInitialSizeBytes); // a capacity; it grows as needed
  ~ZEPXMLPPMemoryBuffer();
  ZEPXMLPPMemoryBuffer(const ZEPXMLPPMemoryBuffer&) = delete;
  ZEPXMLPPMemoryBuffer& operator=(const ZEPXMLPPMemoryBuffer&) = delete;

  // S_OK and the bytes written so far, which stay the buffer's own and valid until it is written
  // to or destroyed: null with a size of 0 when nothing was ever delivered, a non-null pointer
  // with a size of 0 when an empty result was. A failure code leaves both outputs untouched.
  // The bytes need not be aligned.
  long GetBuffer(unsigned char*& oBytes, unsigned int& oByteCount);

  struct Implementation;

private:
  friend class ZEPXMLPPMemoryBufferAccess; // the platform's own way to the bytes
  std::shared_ptr<Implementation> m_implementation;
};
