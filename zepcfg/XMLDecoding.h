#pragma once

#include "ZEPUnicodeString.h"

#include <stdexcept>
#include <string>
#include <string_view>

namespace zep::cli {

// Why bytes could not be decoded, in words.
class DecodingError : public std::runtime_error {
public:
  using std::runtime_error::runtime_error;
};

// The text of an XML document as an XML processor would read its bytes: the byte-order mark decides
// about the encoding, else the shape of the first characters, else the XML declaration, else it is
// UTF-8. The mark is no part of the text. Throws DecodingError for an unknown encoding, and for bytes
// that the encoding does not have, naming their offset.
ZEPUnicodeString decodeXML(std::string_view bytes);

// UTF-8 with or without a byte-order mark, or UTF-16 or UTF-32 with one. Throws as decodeXML does.
ZEPUnicodeString decodeText(std::string_view bytes);

// The encoding that the XML declaration at the start of the text names; empty when there is none.
std::string declaredEncoding(std::string_view text);

// Whether there is an encoding of that name.
bool isEncodingKnown(const std::string& name);

} // namespace zep::cli
