#include "ZEPOmxIOUtils.h"

#include "ZEPHResult.h"
#include "ZEPOmxStreamBytes.h"
#include "ZEPOmxUTF8String.h"

#include <array>
#include <cstddef>
#include <string>

long zep::ReadToEnd(const ZEPOmxSP<ZEPIOmxInputStream>& stream, std::string& oBytes) {
  if (stream.IsNull()) {
    return E_POINTER;
  }
  std::array<char, std::size_t{16} << 10> buffer;
  while (true) {
    std::size_t count = 0;
    const long result = stream->Read(buffer.data(), buffer.size(), count);
    if (ZEPFailed(result) || result == S_FALSE) {
      return result;
    }
    if (count == 0 || count > buffer.size()) {
      return E_UNEXPECTED; // the stream breaks its contract; going on might never end
    }
    oBytes.append(buffer.data(), count);
  }
}

long ZEPOmxIOUtils::ToString(const ZEPOmxSP<ZEPIOmxInputStream>& iStream, ZEPOmxUTF8String& oText) {
  std::string bytes;
  const long result = zep::ReadToEnd(iStream, bytes);
  if (ZEPFailed(result)) {
    return result;
  }
  oText = ZEPOmxUTF8String(bytes.data(), bytes.size());
  return S_OK;
}
