#pragma once

#include <cstddef>
#include <memory>
#include <string>

class ZEPUnicodeString;

namespace zep {

// A stylesheet as it was read.
struct StylesheetText {
  bool operator==(const StylesheetText&) const = default;

  bool isFile;
  std::string name; // the real path of a file, the id of a text in memory
  std::string bytes;
};

// One that another one includes or imports.
struct IncludedText {
  std::string path; // as it was asked for
  StylesheetText text;
};

// The UTF-8 form of one text after the other, in storage that is kept for the next one.
class UTF8Buffer {
public:
  // Null, or why the text cannot be one of XML: a lone surrogate would pass as a replacement
  // character, and a NUL behind the document as its end.
  const char* Set(const ZEPUnicodeString& text);

  const char* Bytes() const { return m_bytes.get(); }
  std::size_t ByteCount() const { return m_byteCount; }

  // Gives the storage up, unless it is small.
  void Shrink();

private:
  void Reserve(std::size_t byteCount);

  std::unique_ptr<char[]> m_bytes;
  std::size_t m_capacity = 0;
  std::size_t m_byteCount = 0;
};

// UTF-16 as libxml2 writes it under that name: with a byte-order mark, low byte first. Nothing for a
// text that is not well-formed UTF-8.
bool WriteUTF16(const std::string& utf8, std::string& bytes);

} // namespace zep
