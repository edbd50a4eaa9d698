#include "RequestLog.h"

#include <array>
#include <string_view>

namespace {

// The HTTP library files the addresses of the connection among the headers of the request.
bool isFromTheLibrary(std::string_view name) {
  constexpr std::array<std::string_view, 4> names{"REMOTE_ADDR", "REMOTE_PORT", "LOCAL_ADDR", "LOCAL_PORT"};
  return std::find(names.begin(), names.end(), name) != names.end();
}

} // namespace

nlohmann::ordered_json describeRequest(const httplib::Request& request) {
  auto headers = nlohmann::ordered_json::object();
  for (const auto& [name, value] : request.headers) {
    if (isFromTheLibrary(name)) {
      continue;
    }
    headers[name] = headers.contains(name) ? headers[name].get<std::string>() + ", " + value : value;
  }
  return {{"method", request.method}, {"path", request.target}, {"headers", headers}, {"body", request.body}};
}

std::string toText(const nlohmann::ordered_json& value, int indent) {
  return value.dump(indent, ' ', false, nlohmann::ordered_json::error_handler_t::replace);
}

bool RequestLog::open(const std::string& path) {
  m_file.open(path, std::ios::trunc);
  return m_file.is_open();
}

void RequestLog::write(const httplib::Request& request) {
  if (!m_file.is_open()) {
    return;
  }
  const std::string line = toText(describeRequest(request)) + "\n";
  const std::lock_guard lock(m_mutex);
  m_file << line << std::flush;
}
