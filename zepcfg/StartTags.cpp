#include "StartTags.h"

#include "Text.h"
#include "XMLDecoding.h"

#include <algorithm>
#include <iterator>
#include <utility>

namespace zep::cli {
namespace {

// What begins so is no start tag and holds none.
constexpr std::pair<std::string_view, std::string_view> sections[] = {
    {"<!--", "-->"}, {"<![CDATA[", "]]>"}, {"<?", "?>"}, {"</", ">"}};

// Behind `pattern`, or the end of the text.
std::size_t behind(std::string_view text, std::string_view pattern, std::size_t from) {
  const std::size_t at = text.find(pattern, from);
  return at == std::string_view::npos ? text.size() : at + pattern.size();
}

// Behind the first of these characters that is in no quotes, or the end of the text.
std::size_t behindUnquoted(std::string_view text, std::string_view characters, std::size_t from) {
  const std::string wanted = std::string(characters) + "\"'";
  std::size_t at = text.find_first_of(wanted, from);
  while (at != std::string_view::npos && (text[at] == '"' || text[at] == '\'')) {
    const std::size_t quote = text.find(text[at], at + 1);
    at = quote == std::string_view::npos ? quote : text.find_first_of(wanted, quote + 1);
  }
  return at == std::string_view::npos ? text.size() : at + 1;
}

bool isAt(std::string_view text, std::size_t position, std::string_view pattern) {
  return text.substr(position, pattern.size()) == pattern;
}

long linesIn(std::string_view text) {
  return static_cast<long>(std::count(text.begin(), text.end(), '\n'));
}

// Of a start tag, without its prefix.
std::string_view localName(std::string_view tag) {
  const std::string_view name = tag.substr(1, tag.find_first_of(" \t\r\n/>", 1) - 1);
  const std::size_t colon = name.find(':');
  return colon == std::string_view::npos ? name : name.substr(colon + 1);
}

} // namespace

StartTags::StartTags(std::string_view text) {
  long line = 1;
  std::size_t counted = 0; // up to here in `line`
  for (std::size_t start = text.find('<'); start != std::string_view::npos;) {
    line += linesIn(text.substr(counted, start - counted));
    counted = start;
    const auto* const section =
        std::find_if(std::begin(sections), std::end(sections),
                     [text, start](const auto& row) { return isAt(text, start, row.first); });
    std::size_t end = 0;
    if (section != std::end(sections)) {
      end = behind(text, section->second, start + section->first.size());
    } else if (isAt(text, start, "<!")) {
      end = behindUnquoted(text, "[>", start); // a document type goes on with its declarations
    } else {
      end = behindUnquoted(text, ">", start);
      const std::string_view tag = text.substr(start, end - start);
      if (const long further = linesIn(tag); further > 0) {
        m_tags.push_back({std::string(localName(tag)), line, line + further});
      }
    }
    start = text.find('<', end);
  }
}

long StartTags::firstLine(std::string_view name, long lastLine) const {
  const auto found = std::find_if(m_tags.begin(), m_tags.end(), [name, lastLine](const Tag& tag) {
    return tag.lastLine == lastLine && tag.name == name;
  });
  return found == m_tags.end() ? lastLine : found->firstLine;
}

StartTags startTagsOf(std::string_view bytes) {
  try {
    return StartTags(toUTF8(decodeXML(bytes)));
  } catch (const DecodingError&) {
    return {};
  }
}

} // namespace zep::cli
