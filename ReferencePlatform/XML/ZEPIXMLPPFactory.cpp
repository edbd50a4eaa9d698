#include "ZEPIXMLPPFactory.h"

#include "ZEPComponent.h"
#include "ZEPHResult.h"
#include "ZEPXMLCreation.h"
#include "ZEPXMLOutput.h"

#include <utility>

// ---- ZEPXMLPPMemoryBuffer ----------------------------------------------------------------------

ZEPXMLPPMemoryBuffer::ZEPXMLPPMemoryBuffer(unsigned int iInitialSizeBytes)
    : m_implementation(std::make_shared<Implementation>()) {
  m_implementation->bytes.reserve(iInitialSizeBytes);
}

ZEPXMLPPMemoryBuffer::~ZEPXMLPPMemoryBuffer() = default;

long ZEPXMLPPMemoryBuffer::GetBuffer(unsigned char*& oBytes, unsigned int& oByteCount) {
  std::string& bytes = m_implementation->bytes;
  oBytes = m_implementation->isDelivered ? reinterpret_cast<unsigned char*>(bytes.data()) : nullptr;
  oByteCount = static_cast<unsigned int>(bytes.size());
  return S_OK;
}

// ---- output sources ----------------------------------------------------------------------------

bool zep::XMLOutputSource::Deliver(std::string bytes) {
  const std::shared_ptr<ZEPXMLPPMemoryBuffer::Implementation> buffer = m_buffer.lock();
  if (buffer == nullptr) {
    return false;
  }
  buffer->bytes = std::move(bytes);
  buffer->isDelivered = true;
  return true;
}

namespace {

class PPFactory final : public ZEPComponent<ZEPIXMLPPFactory> {
public:
  long CreateOutputSource(ZEPXMLPPMemoryBuffer& ioBuffer, ZEPIXMLPPOutputSource_var& oSource) override {
    oSource = ZEPIXMLPPOutputSource_var(new zep::XMLOutputSource(ioBuffer));
    return S_OK;
  }
};

} // namespace

long CreateZEPIXMLPPFactory(ZEPIXMLPPFactory_var& oFactory, const GUID& iClassId) {
  return zep::CreateOfClass<PPFactory>(oFactory, iClassId, CLSID_XML4C5_PP);
}
