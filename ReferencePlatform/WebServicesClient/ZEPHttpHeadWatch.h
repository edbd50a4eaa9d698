#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace zep {

// Looks at the head of an answer for whatever leaves open where the answer ends: libcurl then takes
// the likeliest meaning, and one that the server did not have in mind tears the body or takes part of
// it for the next answer.
class HttpHeadWatch {
public:
  // Takes the next line, without its end. What is wrong with it, in words, or null.
  const char* Read(std::string_view line);
  // Likewise for a line behind a chunked body.
  static const char* ReadTrailer(std::string_view line);

private:
  const char* ReadHeader(std::string_view line);
  const char* ReadLength(std::string_view value);
  const char* ReadTransferCoding(std::string_view value);

  bool m_isInHead = false;
  bool m_mayGoOn = false; // on a line that begins with a blank
  std::optional<std::string> m_length;
  bool m_isChunked = false;
};

} // namespace zep
