#pragma once

#include "ZEPHResult.h"
#include "ZEPMemoryStream.h"
#include "ZEPOmxCreation.h"

#include <utility>

namespace zep {

// An entity, of whichever class of the platform, over bytes in memory.
template <class Interface>
class HttpBytesEntity final : public Interface {
public:
  explicit HttpBytesEntity(SharedBytes bytes) : m_bytes(std::move(bytes)) {}

  long GetContent(ZEPOmxSP<ZEPIOmxInputStream>& oStream) override {
    oStream = CreateOmx<MemoryStream>(m_bytes);
    return S_OK;
  }

private:
  SharedBytes m_bytes;
};

} // namespace zep
