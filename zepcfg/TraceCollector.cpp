#include "TraceCollector.h"

#include "Failure.h"
#include "PLMCfgInTraceClass.h"
#include "Text.h"
#include "ZEPHResult.h"
#include "ZEPTraceObserver.h"

#include <optional>
#include <utility>

namespace zep::cli {
namespace {

constexpr int entryLevel = 1;
constexpr int exitLevel = 2;

void observe(const ZEPTraceRecord& record, void* context) {
  static_cast<TraceCollector*>(context)->take(record);
}

// The value of a record "name = [value]" of that name.
std::optional<std::string_view> dumped(std::string_view text, std::string_view name) {
  constexpr std::string_view opening = " = [";
  if (!startsWith(text, name) || !startsWith(text.substr(name.size()), opening) || text.back() != ']') {
    return std::nullopt;
  }
  text.remove_prefix(name.size() + opening.size());
  text.remove_suffix(1);
  return text;
}

std::string_view without(std::string_view text, std::string_view start) {
  return startsWith(text, start) ? text.substr(start.size()) : text;
}

// The library's classes have one prefix; other records are the platform's.
bool isLibraryClass(std::string_view className) {
  return startsWith(className, "ZEPCfg");
}

} // namespace

TraceCollector::TraceCollector() {
  ZEPSetTraceObserver(observe, this, true);
}

TraceCollector::~TraceCollector() {
  ZEPSetTraceObserver(nullptr, nullptr, false);
}

long TraceCollector::resultOf(const std::string& operation) const {
  const auto found = m_results.find(operation);
  return found == m_results.end() ? S_OK : found->second;
}

void TraceCollector::take(const ZEPTraceRecord& record) {
  if (record.level == entryLevel) {
    m_operations.push_back(operationName(record.method));
  } else if (record.level == exitLevel) {
    if (!m_operations.empty()) {
      m_operations.pop_back();
    }
  } else {
    takeText(record.text, isLibraryClass(record.className));
  }
}

std::string TraceCollector::message() const {
  std::string all = m_message;
  for (const std::string& error : m_platformErrors) {
    if (!contains(all, error)) {
      all += (all.empty() ? "" : "\n") + error;
    }
  }
  return all;
}

// What two layers report alike is kept once.
void TraceCollector::takeError(std::string text, bool isLibrarys) {
  std::vector<std::string>& errors = isLibrarys ? m_errors : m_platformErrors;
  if (!text.empty() && (errors.empty() || errors.back() != text)) {
    errors.push_back(std::move(text));
  }
}

void TraceCollector::takeText(std::string_view text, bool isLibrarys) {
  if (m_errorFollows) {
    takeError(std::string(without(text, PLMCfgInTraceClass::GetErrorIndent())), isLibrarys);
    m_errorFollows = false;
  } else if (text == PLMCfgInTraceClass::GetError()) {
    m_errorFollows = true;
  } else if (const auto message = dumped(text, "message")) {
    m_message = without(*message, "XSLTProcessor has failed:\n");
  } else if (const auto path = dumped(text, "XSLTFilePath")) {
    m_stylesheetFile = *path;
  } else if (const auto stylesheet = dumped(text, "ioUstrXSLTFileContents")) {
    m_serverSentStylesheet = !stylesheet->empty();
  } else if (startsWith(text, "rc = ") && !m_operations.empty()) {
    m_results[m_operations.back()] = resultCode(text.substr(5)).value_or(S_OK);
  }
}

std::string operationName(std::string_view signature) {
  const std::size_t end = signature.find('(');
  const std::size_t colon = signature.rfind(':', end);
  if (end == std::string_view::npos || colon == std::string_view::npos) {
    return std::string(signature);
  }
  return std::string(signature.substr(colon + 1, end - colon - 1));
}

} // namespace zep::cli
