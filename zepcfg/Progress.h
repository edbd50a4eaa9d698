#pragma once

#include <chrono>
#include <cstddef>
#include <optional>
#include <string>

namespace zep::cli {

// A progress bar on standard error when that is a terminal; otherwise nothing at all.
class Progress {
public:
  Progress();
  ~Progress();
  Progress(const Progress&) = delete;
  Progress& operator=(const Progress&) = delete;

  // How many are done, and how much of the whole that is where it is known.
  void show(std::size_t done, const char* unit, std::optional<double> share);
  void clear();

private:
  bool m_isWanted;
  bool m_isShown = false;
  std::chrono::steady_clock::time_point m_next; // nothing is drawn before
};

} // namespace zep::cli
