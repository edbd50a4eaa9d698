#include "ZEPCfgTracePerfo.h"

#include "ZEPTraceText.h"

#include <chrono>
#include <optional>
#include <string>

#include <spdlog/fmt/fmt.h>

using Clock = std::chrono::steady_clock;

struct ZEPCfgTracePerfo::Implementation {
  std::string label;
  std::optional<Clock::time_point> start;
  std::string beginText;
  std::string endText;

  std::string Prefix() const { return zep::kTracePerfo + label + ": "; }
};

ZEPCfgTracePerfo::ZEPCfgTracePerfo(const char* iLabel)
    : m_implementation(std::make_unique<Implementation>()) {
  m_implementation->label = iLabel != nullptr ? iLabel : "";
}

ZEPCfgTracePerfo::~ZEPCfgTracePerfo() = default;

char* ZEPCfgTracePerfo::beginPerfo() {
  m_implementation->beginText = m_implementation->Prefix() + "begin";
  m_implementation->start = Clock::now();
  return m_implementation->beginText.data();
}

char* ZEPCfgTracePerfo::endPerfo() {
  const auto end = Clock::now();
  std::string& endText = m_implementation->endText;
  if (const auto start = m_implementation->start) {
    const std::chrono::duration<double, std::milli> elapsed = end - *start;
    endText = fmt::format("{}{:.3f} ms", m_implementation->Prefix(), elapsed.count());
  } else {
    endText = m_implementation->Prefix() + "not begun";
  }
  return endText.data();
}
