#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <optional>
#include <random>
#include <string>
#include <string_view>
#include <vector>

// Mutations that mostly leave XML well-formed, for the engine: bytes changed at random seldom get past a
// parser.

extern "C" std::size_t LLVMFuzzerMutate(std::uint8_t* data, std::size_t size, std::size_t maxSize);

namespace {

// A part of the text: [begin, end).
struct Span {
  std::size_t begin;
  std::size_t end;
  std::size_t Length() const { return end - begin; }
};

class XMLMutator {
public:
  XMLMutator(std::string& text, unsigned seed) : m_text(text), m_engine(seed) { FindTags(); }

  // False where the text has nothing to change.
  bool Mutate() {
    switch (Below(6)) {
    case 0:
      return CopyElement();
    case 1:
      return RemoveElement();
    case 2:
      return MoveElement();
    case 3:
      return RenameElement();
    case 4:
      return CopyValue();
    default:
      return ChangeValue();
    }
  }

private:
  std::size_t Below(std::size_t limit) { return static_cast<std::size_t>(m_engine() % limit); }
  std::string Of(const Span& span) const { return m_text.substr(span.begin, span.Length()); }
  char At(std::size_t position) const { return position < m_text.size() ? m_text[position] : '\0'; }

  void FindTags() {
    for (std::size_t at = m_text.find('<'); at != std::string::npos; at = m_text.find('<', at + 1)) {
      const std::size_t end = m_text.find('>', at);
      if (end != std::string::npos && At(at + 1) != '!' && At(at + 1) != '?') {
        m_tags.push_back({at, end + 1});
      }
    }
  }

  bool IsEndTag(const Span& tag) const { return At(tag.begin + 1) == '/'; }
  bool IsWhole(const Span& tag) const { return At(tag.end - 2) == '/'; }

  Span NameOf(const Span& tag) const {
    const std::size_t begin = tag.begin + (IsEndTag(tag) ? 2 : 1);
    return {begin, std::min(m_text.find_first_of(" \t\r\n/>", begin), tag.end)};
  }

  // The tag that ends the element which the other one begins.
  std::optional<std::size_t> EndOf(std::size_t tag) const {
    int depth = 0;
    for (std::size_t i = tag; i < m_tags.size(); ++i) {
      depth += IsEndTag(m_tags[i]) ? -1 : 1;
      depth -= IsWhole(m_tags[i]) ? 1 : 0;
      if (depth == 0) {
        return i;
      }
    }
    return std::nullopt;
  }

  struct Element {
    Span first; // its tags, which may be the same
    Span last;
    Span Whole() const { return {first.begin, last.end}; }
  };

  std::optional<Element> AnyElement() {
    if (m_tags.empty()) {
      return std::nullopt;
    }
    const std::size_t tag = Below(m_tags.size());
    const auto end = IsEndTag(m_tags[tag]) ? std::nullopt : EndOf(tag);
    return end ? std::optional(Element{m_tags[tag], m_tags[*end]}) : std::nullopt;
  }

  bool CopyElement() {
    const auto element = AnyElement();
    if (element) {
      m_text.insert(m_tags[Below(m_tags.size())].begin, Of(element->Whole()));
    }
    return element.has_value();
  }

  bool RemoveElement() {
    const auto element = AnyElement();
    if (element) {
      m_text.erase(element->Whole().begin, element->Whole().Length());
    }
    return element.has_value();
  }

  bool MoveElement() {
    const auto element = AnyElement();
    if (!element) {
      return false;
    }
    const Span whole = element->Whole();
    const std::string moved = Of(whole);
    const std::size_t to = m_tags[Below(m_tags.size())].begin;
    m_text.erase(whole.begin, whole.Length());
    m_text.insert(to <= whole.begin ? to : std::max(whole.begin, to - std::min(to, whole.Length())), moved);
    return true;
  }

  bool RenameElement() {
    const auto element = AnyElement();
    const auto other = AnyElement();
    if (!element || !other) {
      return false;
    }
    const std::string name = Of(NameOf(other->first));
    if (element->last.begin != element->first.begin) {
      Replace(NameOf(element->last), name);
    }
    Replace(NameOf(element->first), name);
    return true;
  }

  // An attribute's value, without its quotes.
  std::optional<Span> AnyValue() {
    if (m_tags.empty()) {
      return std::nullopt;
    }
    const Span tag = m_tags[Below(m_tags.size())];
    std::vector<Span> values;
    for (std::size_t at = tag.begin; at < tag.end; ++at) {
      if (m_text[at] == '"' || m_text[at] == '\'') {
        const std::size_t end = m_text.find(m_text[at], at + 1);
        if (end >= tag.end) {
          break;
        }
        values.push_back({at + 1, end});
        at = end;
      }
    }
    return values.empty() ? std::nullopt : std::optional(values[Below(values.size())]);
  }

  bool CopyValue() {
    const auto from = AnyValue();
    const auto to = AnyValue();
    if (from && to) {
      Replace(*to, Of(*from));
    }
    return from && to;
  }

  bool ChangeValue() {
    const auto value = AnyValue();
    if (value) {
      std::string changed = Of(*value);
      const std::size_t size = changed.size();
      constexpr std::size_t kRoom = 64;
      changed.resize(size + kRoom);
      changed.resize(LLVMFuzzerMutate(reinterpret_cast<std::uint8_t*>(changed.data()), size, changed.size()));
      Replace(*value, changed);
    }
    return value.has_value();
  }

  void Replace(const Span& span, const std::string& by) { m_text.replace(span.begin, span.Length(), by); }

  std::string& m_text;
  std::mt19937 m_engine;
  std::vector<Span> m_tags;
};

} // namespace

extern "C" std::size_t LLVMFuzzerCustomMutator(std::uint8_t* data, std::size_t size, std::size_t maxSize,
                                               unsigned int seed) {
  std::string text(reinterpret_cast<const char*>(data), size);
  if (seed % 4 == 0 || !XMLMutator(text, seed).Mutate() || text.size() > maxSize) {
    return LLVMFuzzerMutate(data, size, maxSize);
  }
  std::memcpy(data, text.data(), text.size());
  return text.size();
}
