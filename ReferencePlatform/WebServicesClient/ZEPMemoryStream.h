#pragma once

#include "ZEPIOmxInputStream.h"

#include <memory>
#include <string>

namespace zep {

using SharedBytes = std::shared_ptr<const std::string>;

// Reads bytes that it shares with others.
class MemoryStream final : public ZEPIOmxInputStream {
public:
  explicit MemoryStream(SharedBytes bytes);

  long Read(char* oBuffer, std::size_t iCapacity, std::size_t& oCount) override;

private:
  SharedBytes m_bytes;
  std::size_t m_position = 0;
};

} // namespace zep
