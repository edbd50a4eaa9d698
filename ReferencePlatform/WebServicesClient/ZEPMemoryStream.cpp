#include "ZEPMemoryStream.h"

#include "ZEPHResult.h"

#include <utility>

namespace zep {

MemoryStream::MemoryStream(SharedBytes bytes) : m_bytes(std::move(bytes)) {}

long MemoryStream::Read(char* oBuffer, std::size_t iCapacity, std::size_t& oCount) {
  oCount = 0;
  if (oBuffer == nullptr || iCapacity == 0) {
    return E_INVALIDARG;
  }
  oCount = m_bytes->copy(oBuffer, iCapacity, m_position);
  m_position += oCount;
  return oCount > 0 ? S_OK : S_FALSE;
}

} // namespace zep
