#pragma once

#include "ZEPComponent.h"
#include "ZEPIXMLPPOutputSource.h"
#include "ZEPXMLPPMemoryBuffer.h"

#include <memory>
#include <string>

// The bytes of a memory buffer; nothing was delivered while there are none.
struct ZEPXMLPPMemoryBuffer::Implementation {
  std::string bytes;
  bool isDelivered = false;
};

class ZEPXMLPPMemoryBufferAccess {
public:
  static std::weak_ptr<ZEPXMLPPMemoryBuffer::Implementation> Of(const ZEPXMLPPMemoryBuffer& buffer) {
    return buffer.m_implementation;
  }
};

namespace zep {

// Delivers into a memory buffer for as long as that exists.
class XMLOutputSource final : public ZEPComponent<ZEPIXMLPPOutputSource> {
public:
  explicit XMLOutputSource(const ZEPXMLPPMemoryBuffer& buffer)
      : m_buffer(ZEPXMLPPMemoryBufferAccess::Of(buffer)) {}

  // False when the buffer is gone.
  bool Deliver(std::string bytes);

private:
  std::weak_ptr<ZEPXMLPPMemoryBuffer::Implementation> m_buffer;
};

// The source behind a handle, or null for an empty handle and for a source of somebody else.
inline XMLOutputSource* SourceOf(const ZEPIXMLPPOutputSource_var& handle) {
  return !handle ? nullptr : dynamic_cast<XMLOutputSource*>(handle.operator->());
}

} // namespace zep
