#include "Failure.h"

#include "Text.h"
#include "ZEPHResult.h"
#include "valueToMacro.h"

#include <charconv>
#include <cstdint>
#include <system_error>
#include <utility>

namespace zep::cli {
namespace {

constexpr std::size_t longestPartInReport = 2000; // bytes; --json has all of it

std::string hexadecimal(long code) {
  return "0x" + toHexadecimal(static_cast<std::uint32_t>(code), 8);
}

const char* meaning(long code) {
  if (code == ZEP_E_HTTP_NOT_FOUND) {
    return "the server answered 404, not found";
  }
  if (code == ZEP_E_HTTP_STATUS) {
    return "the server answered with an error status";
  }
  return "a code without a name";
}

std::string shortened(const std::string& text) {
  if (text.size() <= longestPartInReport) {
    return text;
  }
  std::size_t end = longestPartInReport;
  while (end > 0 && (static_cast<unsigned char>(text[end]) & 0xC0U) == 0x80) {
    --end;
  }
  return text.substr(0, end) + " ... (" + std::to_string(text.size() - end) + " more bytes)";
}

// "  label: text", further lines of the text below its first one.
std::string reportPart(const std::string& label, const std::string& text) {
  std::string lines = withoutControls(shortened(text));
  while (!lines.empty() && lines.back() == '\n') {
    lines.pop_back();
  }
  if (lines.empty()) {
    return {};
  }
  const std::string start = "  " + label + ": ";
  return start + replaceAll(lines, "\n", "\n" + std::string(start.size(), ' ')) + "\n";
}

std::string joined(const std::vector<std::string>& texts) {
  std::string all;
  for (const std::string& text : texts) {
    all += (all.empty() ? "" : "\n") + text;
  }
  return all;
}

} // namespace

CommandFailure::CommandFailure(Failure failure) : m_failure(std::move(failure)) {}

const char* CommandFailure::what() const noexcept {
  return m_failure.operation.c_str();
}

void failBadInput(const std::string& input, const std::string& operation, const std::string& error,
                  const std::string& remedy) {
  throw CommandFailure({input, operation, E_INVALIDARG, {error}, "", remedy});
}

void failUnable(const std::string& input, const std::string& operation, const std::string& error,
                const std::string& remedy) {
  throw CommandFailure({input, operation, E_FAIL, {error}, "", remedy});
}

std::string resultName(long code) {
  const auto found = valueToMacro.find(code);
  return found == valueToMacro.end() ? hexadecimal(code) : found->second;
}

std::optional<long> resultCode(std::string_view name) {
  for (const auto& [code, macro] : valueToMacro) {
    if (name == macro) {
      return code;
    }
  }
  long number = 0;
  const auto [end, error] = std::from_chars(name.data(), name.data() + name.size(), number);
  const bool isNumber = error == std::errc() && end == name.data() + name.size();
  return isNumber ? std::optional<long>(number) : std::nullopt;
}

std::string resultInWords(long code) {
  const bool hasName = valueToMacro.find(code) != valueToMacro.end();
  return hasName ? resultName(code) + " (" + hexadecimal(code) + ")"
                 : hexadecimal(code) + " (" + meaning(code) + ")";
}

nlohmann::ordered_json resultObject(long code) {
  return {{"hresult", static_cast<std::int32_t>(code)}, {"result", resultName(code)}};
}

nlohmann::ordered_json failureObject(const Failure& failure) {
  nlohmann::ordered_json object = resultObject(failure.code);
  object["error"] = joined(failure.errors);
  object["message"] = failure.message;
  object["input"] = failure.input;
  object["operation"] = failure.operation;
  object["remedy"] = failure.remedy;
  if (!failure.stylesheet.empty()) {
    object["stylesheet"] = failure.stylesheet;
  }
  if (!failure.server.empty()) {
    object["server"] = failure.server;
  }
  object.update(failure.members);
  return object;
}

std::string failureReport(const Failure& failure) {
  return "zepcfg: " + withoutControls(failure.input) + ": " + failure.operation +
         (failure.code < 0 ? " failed with " : " ended with ") + resultInWords(failure.code) + "\n" +
         reportPart("error", joined(failure.errors)) + reportPart("cause", failure.message) +
         reportPart("stylesheet", failure.stylesheet) + reportPart("server", failure.server) +
         reportPart("remedy", failure.remedy);
}

} // namespace zep::cli
