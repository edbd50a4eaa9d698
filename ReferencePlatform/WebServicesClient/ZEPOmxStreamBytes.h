#pragma once

#include "ZEPIOmxInputStream.h"
#include "ZEPOmxSP.h"

#include <string>

namespace zep {

// Appends what the stream holds. Not negative, or the failure; then the bytes are those that came before it.
long ReadToEnd(const ZEPOmxSP<ZEPIOmxInputStream>& stream, std::string& oBytes);

} // namespace zep
