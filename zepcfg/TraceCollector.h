#pragma once

#include <map>
#include <string>
#include <string_view>
#include <vector>

struct ZEPTraceRecord;

namespace zep::cli {

// Listens to the library's trace as long as it lives and keeps what a person needs to know after a
// failure. One at a time.
class TraceCollector {
public:
  TraceCollector();
  ~TraceCollector();
  TraceCollector(const TraceCollector&) = delete;
  TraceCollector& operator=(const TraceCollector&) = delete;

  // The messages of the error records, without the platform's prefix and indent.
  const std::vector<std::string>& errors() const { return m_errors; }
  // What the platform said about a failure; empty when it said nothing.
  std::string message() const;
  // The stylesheet file that was chosen; empty when none was.
  const std::string& stylesheetFile() const { return m_stylesheetFile; }
  // True when a server's stylesheet text was delivered.
  bool serverSentStylesheet() const { return m_serverSentStylesheet; }
  // The result that the operation traced last; S_OK where it did not run.
  long resultOf(const std::string& operation) const;

  void take(const ZEPTraceRecord& record);

private:
  void takeText(std::string_view text, bool isLibrarys);
  void takeError(std::string text, bool isLibrarys);

  std::vector<std::string> m_operations; // those running, outermost first
  std::vector<std::string> m_errors;
  std::string m_message; // of the failure report that the library fetched
  std::vector<std::string> m_platformErrors;
  std::string m_stylesheetFile;
  bool m_serverSentStylesheet = false;
  bool m_errorFollows = false;
  std::map<std::string, long> m_results;
};

// "FormatExpression" of a method's whole signature.
std::string operationName(std::string_view signature);

} // namespace zep::cli
