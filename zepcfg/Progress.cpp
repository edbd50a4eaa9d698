#include "Progress.h"

#include "Output.h"

#include <algorithm>
#include <unistd.h>

namespace zep::cli {
namespace {

constexpr std::chrono::milliseconds untilFirst{500}; // short work shows none
constexpr std::chrono::milliseconds betweenTwo{100};
constexpr int barWidth = 30;

std::string bar(double share) {
  const int filled = std::clamp(static_cast<int>(share * barWidth), 0, barWidth);
  return "[" + std::string(static_cast<std::size_t>(filled), '#') +
         std::string(static_cast<std::size_t>(barWidth - filled), ' ') + "] " +
         std::to_string(std::clamp(static_cast<int>(share * 100), 0, 100)) + " %  ";
}

} // namespace

Progress::Progress()
    : m_isWanted(isatty(STDERR_FILENO) != 0),
      m_next(std::chrono::steady_clock::now() + untilFirst) {}

Progress::~Progress() {
  clear();
}

void Progress::show(std::size_t done, const char* unit, std::optional<double> share) {
  if (!m_isWanted || std::chrono::steady_clock::now() < m_next) {
    return;
  }
  m_next = std::chrono::steady_clock::now() + betweenTwo;
  m_isShown = true;
  writeNote("\r" + (share ? bar(*share) : std::string()) + std::to_string(done) + " " + unit + "\x1B[K");
}

void Progress::clear() {
  if (m_isShown) {
    writeNote("\r\x1B[K");
    m_isShown = false;
  }
}

} // namespace zep::cli
