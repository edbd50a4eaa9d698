#pragma once

#include "ZEPTraceText.h"

#include <spdlog/sinks/base_sink.h>

#include <memory>
#include <mutex>
#include <string>

namespace zep {

// Writes each record with one call, so that the lines of several processes that share a file
// stay whole. What cannot be written is dropped, without an exception and without a signal.
class TraceSink final : public spdlog::sinks::base_sink<std::mutex> {
public:
  explicit TraceSink(TraceForm form); // on the standard error
  TraceSink(const std::string& path, TraceForm form);
  ~TraceSink() override;

  // Where not, errno says why as long as nothing else was called.
  bool IsOpen() const { return m_descriptor >= 0; }

  // Around a fork, so that the child does not inherit a mutex that nobody will open again.
  void HoldForFork() { mutex_.lock(); }
  void ReleaseAfterFork() { mutex_.unlock(); }

protected:
  void sink_it_(const spdlog::details::log_msg& message) override;
  void flush_() override {}

private:
  // The standard error is the host's, to turn elsewhere and to close.
  bool OwnsFile() const { return !m_path.empty(); }
  bool Open(const std::string& path);
  void Write(const char* bytes, std::size_t size);

  std::string m_path; // empty for the standard error
  int m_descriptor;
  bool m_isFile = false;  // its own, so that it stays one
  bool m_midLine = false; // the line written last has no end
};

// The sink for the value of ZEP_TRACE_FILE and records of that form, or null when nothing can be written
// there. A file that cannot be opened is reported on the standard error, once.
std::shared_ptr<TraceSink> OpenTraceSink(const std::string& path, TraceForm form);

} // namespace zep
