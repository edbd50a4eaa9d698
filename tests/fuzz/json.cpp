#include "FuzzTarget.h"
#include "ZEPCfgXMLExpressionServices.h"
#include "ZEPHResult.h"
#include "ZEPOmxAny.h"
#include "ZEPOmxJson.h"
#include "ZEPOmxUTF8String.h"

#include <algorithm>
#include <string>

#include <nlohmann/json.hpp>

namespace {

bool IsDigit(char character) {
  return character >= '0' && character <= '9';
}

// What our parser refuses and another one need not: many levels, and whole numbers that may not fit 64 bits.
bool MayBeBeyondLimits(std::string_view document) {
  constexpr std::ptrdiff_t kLevels = 512;
  constexpr std::ptrdiff_t kDigits = 18;
  std::ptrdiff_t digits = 0;
  std::ptrdiff_t mostDigits = 0;
  for (const char character : document) {
    digits = IsDigit(character) ? digits + 1 : 0;
    mostDigits = std::max(mostDigits, digits);
  }
  return mostDigits > kDigits || std::count_if(document.begin(), document.end(), [](char character) {
                                   return character == '[' || character == '{';
                                 }) >= kLevels;
}

// What another parser finds. For that one a NUL ends the document, which none can hold.
nlohmann::json Parsed(std::string_view document) {
  return document.find('\0') == std::string_view::npos
             ? nlohmann::json::parse(document.begin(), document.end(), nullptr, false)
             : nlohmann::json(nlohmann::json::value_t::discarded);
}

ZEPUnicodeString ExpectedStylesheet(const nlohmann::json& answer) {
  if (!answer.is_object() || !answer.contains("xslt")) {
    return fuzz::kUntouched;
  }
  const nlohmann::json& server = answer["xslt"];
  const bool hasText = server.is_object() && server.contains("content") && server["content"].is_string();
  return hasText ? fuzz::Text(server["content"].get<std::string>()) : ZEPUnicodeString();
}

} // namespace

// A server's answer gives the stylesheet that another parser finds in it.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::string_view document = fuzz::Bytes(data, size);
  const nlohmann::json expected = Parsed(document);
  ZEPOmxAny answer;
  const long parsed = ZEPOmxJson::parse(ZEPOmxUTF8String(document.data(), document.size()), answer);
  if (ZEPFailed(parsed)) {
    fuzz::Require(answer.GetValue() == nullptr, "a failed parse leaves the value untouched");
    fuzz::Require(expected.is_discarded() || MayBeBeyondLimits(document), "a document within limits is read");
    return 0;
  }
  fuzz::Require(!expected.is_discarded(), "what is read is a document");
  ZEPUnicodeString stylesheet = fuzz::kUntouched;
  const long result = ZEPCfgXMLExpressionServices::ParseQueryResponse(answer, stylesheet);
  fuzz::Require(stylesheet == ExpectedStylesheet(expected), "the stylesheet is the one in the document");
  fuzz::Require(!ZEPFailed(result) || stylesheet.IsEmpty(), "what could not be read is empty");
  fuzz::Require(fuzz::IsWellFormed(stylesheet), "a stylesheet is a whole text");
  return 0;
}
