#include "ZEPCfgTracePerfo.h"

#include "ZEPTraceText.h"

#include <chrono>
#include <optional>
#include <string>

#include <spdlog/fmt/fmt.h>

using Clock = std::chrono::steady_clock;

struct ZEPCfgTracePerfo::Implementation {
  std::string prefix;
  std::optional<Clock::time_point> start;
  std::string beginText;
  std::string endText;
};

ZEPCfgTracePerfo::ZEPCfgTracePerfo(const char* iLabel)
    : m_implementation(std::make_unique<Implementation>()) {
  m_implementation->prefix = std::string(zep::kTracePerfo) + (iLabel != nullptr ? iLabel : "") + ": ";
}

ZEPCfgTracePerfo::~ZEPCfgTracePerfo() = default;

char* ZEPCfgTracePerfo::beginPerfo() {
  m_implementation->beginText = m_implementation->prefix + "begin";
  m_implementation->start = Clock::now();
  return m_implementation->beginText.data();
}

char* ZEPCfgTracePerfo::endPerfo() {
  const auto end = Clock::now();
  auto& [prefix, start, beginText, endText] = *m_implementation;
  if (start) {
    const std::chrono::duration<double, std::milli> elapsed = end - *start;
    endText = fmt::format("{}{:.3f} ms", prefix, elapsed.count());
  } else {
    endText = prefix + "not begun";
  }
  return endText.data();
}
