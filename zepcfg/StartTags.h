#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace zep::cli {

// Where the start tags of an XML text begin. Parsers tell on which line a tag ends, which is not where
// its author looks for it.
class StartTags {
public:
  StartTags() = default;
  // UTF-8; what is not well-formed gives lines that mean nothing.
  explicit StartTags(std::string_view text);

  // The line on which the tag of that name begins that ends on `lastLine`: the first such tag, or
  // `lastLine` itself where there is none. The name is without a prefix.
  long firstLine(std::string_view name, long lastLine) const;

private:
  struct Tag {
    std::string name;
    long firstLine;
    long lastLine;
  };

  std::vector<Tag> m_tags; // of more than one line, in the order of the text
};

// Of an XML document in its own encoding; none for bytes that cannot be decoded.
StartTags startTagsOf(std::string_view bytes);

} // namespace zep::cli
