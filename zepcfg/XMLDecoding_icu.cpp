#include "XMLDecoding.h"

#include "Text.h"

#include <array>
#include <cstdint>
#include <memory>
#include <optional>
#include <unicode/ucnv.h>
#include <unicode/ucnv_err.h>

namespace zep::cli {
namespace {

using namespace std::string_view_literals;

struct CloseConverter {
  void operator()(UConverter* converter) const { ucnv_close(converter); }
};
using Converter = std::unique_ptr<UConverter, CloseConverter>;

struct Signature {
  std::string_view bytes;
  const char* encoding;
  std::size_t bytesToSkip;
};

// Longer marks first: that of UTF-32LE begins like that of UTF-16LE.
constexpr std::array<Signature, 5> byteOrderMarks{{
    {"\x00\x00\xFE\xFF"sv, "UTF-32BE", 4},
    {"\xFF\xFE\x00\x00"sv, "UTF-32LE", 4},
    {"\xFE\xFF"sv, "UTF-16BE", 2},
    {"\xFF\xFE"sv, "UTF-16LE", 2},
    {"\xEF\xBB\xBF"sv, "UTF-8", 3},
}};

// How a document begins without a mark.
constexpr std::array<Signature, 4> firstCharacters{{
    {"\x00\x00\x00<"sv, "UTF-32BE", 0},
    {"<\x00\x00\x00"sv, "UTF-32LE", 0},
    {"\x00<\x00"sv, "UTF-16BE", 0},
    {"<\x00"sv, "UTF-16LE", 0},
}};

template <std::size_t count>
std::optional<Signature> findSignature(std::string_view bytes,
                                       const std::array<Signature, count>& signatures) {
  for (const Signature& signature : signatures) {
    if (startsWith(bytes, signature.bytes)) {
      return signature;
    }
  }
  return std::nullopt;
}

Converter openConverter(const std::string& encoding) {
  UErrorCode status = U_ZERO_ERROR;
  Converter converter(encoding.empty() ? nullptr : ucnv_open(encoding.c_str(), &status));
  return U_SUCCESS(status) ? std::move(converter) : nullptr;
}

std::size_t offendingByteCount(const UConverter* converter) {
  std::array<char, 32> bytes{};
  auto length = static_cast<std::int8_t>(bytes.size());
  UErrorCode status = U_ZERO_ERROR;
  ucnv_getInvalidChars(converter, bytes.data(), &length, &status);
  return U_SUCCESS(status) ? static_cast<std::size_t>(length) : 0;
}

std::u16string convert(std::string_view bytes, UConverter* converter, const std::string& encoding,
                       std::size_t offsetOfFirst) {
  UErrorCode status = U_ZERO_ERROR;
  ucnv_setToUCallBack(converter, UCNV_TO_U_CALLBACK_STOP, nullptr, nullptr, nullptr, &status);
  std::u16string text(bytes.size() + 16, u'\0');
  std::size_t written = 0;
  const char* source = bytes.data();
  const char* const sourceEnd = source + bytes.size();
  for (;;) {
    UChar* target = text.data() + written;
    ucnv_toUnicode(converter, &target, text.data() + text.size(), &source, sourceEnd, nullptr, true, &status);
    written = static_cast<std::size_t>(target - text.data());
    if (status != U_BUFFER_OVERFLOW_ERROR) {
      break;
    }
    status = U_ZERO_ERROR;
    text.resize(text.size() * 2);
  }
  if (U_FAILURE(status)) {
    const auto read = static_cast<std::size_t>(source - bytes.data());
    throw DecodingError("it is not " + encoding + ": the byte at offset " +
                        std::to_string(offsetOfFirst + read - offendingByteCount(converter)) +
                        " is no part of a character");
  }
  text.resize(written);
  return text;
}

ZEPUnicodeString decodeAs(std::string_view bytes, const std::string& encoding, std::size_t bytesToSkip) {
  const Converter converter = openConverter(encoding);
  if (!converter) {
    throw DecodingError("the encoding '" + encoding + "' that it declares is not known");
  }
  const std::u16string text = convert(bytes.substr(bytesToSkip), converter.get(), encoding, bytesToSkip);
  return {text.data(), text.size()};
}

bool isWide(const std::string& encoding) {
  const std::string name = toLowerASCII(encoding);
  for (const char* wide : {"utf-16", "utf16", "utf-32", "utf32", "ucs-2", "ucs-4", "iso-10646-ucs"}) {
    if (startsWith(name, wide)) {
      return true;
    }
  }
  return false;
}

constexpr std::string_view xmlWhiteSpace = " \t\r\n";

void skipWhiteSpace(std::string_view& text) {
  text.remove_prefix(std::min(text.find_first_not_of(xmlWhiteSpace), text.size()));
}

} // namespace

std::string declaredEncoding(std::string_view text) {
  if (!startsWith(text, "<?xml") || text.size() < 6 || !contains(xmlWhiteSpace, text.substr(5, 1))) {
    return {};
  }
  text = text.substr(0, text.find("?>"));
  const std::size_t name = text.find("encoding");
  if (name == std::string_view::npos) {
    return {};
  }
  text.remove_prefix(name + "encoding"sv.size());
  skipWhiteSpace(text);
  if (!startsWith(text, "=")) {
    return {};
  }
  text.remove_prefix(1);
  skipWhiteSpace(text);
  if (text.empty() || (text[0] != '"' && text[0] != '\'')) {
    return {};
  }
  const std::size_t end = text.find(text[0], 1);
  return end == std::string_view::npos ? std::string() : std::string(text.substr(1, end - 1));
}

bool isEncodingKnown(const std::string& name) {
  return openConverter(name) != nullptr;
}

ZEPUnicodeString decodeText(std::string_view bytes) {
  const auto mark = findSignature(bytes, byteOrderMarks);
  return mark ? decodeAs(bytes, mark->encoding, mark->bytesToSkip) : decodeAs(bytes, "UTF-8", 0);
}

ZEPUnicodeString decodeXML(std::string_view bytes) {
  if (const auto mark = findSignature(bytes, byteOrderMarks)) {
    return decodeAs(bytes, mark->encoding, mark->bytesToSkip);
  }
  if (const auto shape = findSignature(bytes, firstCharacters)) {
    return decodeAs(bytes, shape->encoding, 0);
  }
  const std::string declared = declaredEncoding(bytes);
  if (isWide(declared)) {
    throw DecodingError("it declares the encoding '" + declared + "' but is not written in it");
  }
  return decodeAs(bytes, declared.empty() ? "UTF-8" : declared, 0);
}

} // namespace zep::cli
