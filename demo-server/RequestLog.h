#pragma once

#include <httplib.h>
#include <nlohmann/json.hpp>

#include <fstream>
#include <mutex>
#include <string>

// What a client sent: "method", "path" (as sent, with the query), "headers" (an object; values of
// a repeated name are joined with a comma) and "body". Bytes that are no UTF-8 become U+FFFD.
nlohmann::ordered_json describeRequest(const httplib::Request& request);

// UTF-8 text of a JSON value; never fails on bytes that are no UTF-8.
std::string toText(const nlohmann::ordered_json& value, int indent = -1);

// One JSON object per line and request. Safe for the threads of the server.
class RequestLog {
public:
  // False when the file cannot be written. An existing file is emptied.
  bool open(const std::string& path);
  // Nothing happens while no file is open.
  void write(const httplib::Request& request);

private:
  std::mutex m_mutex;
  std::ofstream m_file;
};
