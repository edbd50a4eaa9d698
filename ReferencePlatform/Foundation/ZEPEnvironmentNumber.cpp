#include "ZEPEnvironmentNumber.h"

#include "ZEPEnvironment.h"

#include <charconv>
#include <string_view>
#include <system_error>

namespace zep {

std::int64_t NumberFromEnvironment(const char* name, std::int64_t defaultValue, std::int64_t maximum) {
  const char* const value = ZEPGetEnv(name);
  const std::string_view text = value == nullptr ? "" : value;
  std::int64_t number = 0;
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
  const bool isNumber = error == std::errc() && end == text.data() + text.size();
  return isNumber && number > 0 && number <= maximum ? number : defaultValue;
}

} // namespace zep
