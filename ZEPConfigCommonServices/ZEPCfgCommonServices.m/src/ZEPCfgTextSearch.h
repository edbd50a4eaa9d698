#pragma once

#include "ZEPUnicodeString.h"

#include <algorithm>
#include <unordered_set>
#include <utility>
#include <vector>

// Searches and cuts that the text operations are made of. They keep the cost of a whole walk over a
// text linear, whatever the text, and write what they give once.

namespace zep {

constexpr int forward = 1; // search mode

// What a text type can do without a text in between, where it offers that.
template <class Text>
void appendPart(Text& whole, const Text& text, int start, int length) {
  if constexpr (requires { whole.AppendPart(text, start, length); }) {
    whole.AppendPart(text, start, length);
  } else {
    whole.Append(text.SubString(start, length));
  }
}

// Makes room at once, where the text type offers that.
template <class Text>
void reserve(Text& text, int length) {
  if constexpr (requires { text.Reserve(length); }) {
    text.Reserve(length);
  }
}

// Whether the text ends with a character of the pattern. Where the text type does not show its
// characters, it may.
template <class Text>
bool mayEndInside(const Text& text, const Text& pattern) {
  if constexpr (requires { text.CastToUnitPtr()[0]; }) {
    const auto* const units = pattern.CastToUnitPtr();
    const int length = text.GetLengthInChar();
    return length > 0 && std::find(units, units + pattern.GetLengthInChar(),
                                   text.CastToUnitPtr()[length - 1]) != units + pattern.GetLengthInChar();
  } else {
    return true;
  }
}

// As SearchSubString for a quote, which mostly stands right behind an equals sign: no search is needed
// where the text type shows its characters. REQUIRES: one character, and a start of 0 or more.
template <class Text>
int searchQuote(const Text& text, const Text& quote, int start) {
  if constexpr (requires { text.CastToUnitPtr()[0]; }) {
    const auto* const units = text.CastToUnitPtr();
    if (start < text.GetLengthInChar() - 1 && units[start + 1] == quote.CastToUnitPtr()[0] &&
        units[start] != units[start + 1]) {
      return start + 1;
    }
  }
  return text.SearchSubString(quote, start, forward);
}

// Part of a text, with positions of its own. It can move on to the parts behind it; the searches in
// it are then those of the next part.
class TextPart {
public:
  explicit TextPart(const ZEPUnicodeString& text) : m_text(text) {}

  // REQUIRES: the part lies in the text, and not in front of the one before it.
  void MoveTo(int start, int end) {
    m_start = start;
    m_end = end;
  }
  const ZEPUnicodeString& Text() const { return m_text; }
  int Start() const { return m_start; }
  int End() const { return m_end; }
  // REQUIRES: the range lies in the part, or its length is negative.
  ZEPUnicodeString SubString(int start, int length) const {
    return m_text.SubString(m_start + start, length);
  }

private:
  const ZEPUnicodeString& m_text;
  int m_start = 0;
  int m_end = 0;
};

// Searches a part for one pattern from places that mostly move forward. Between the start of a search
// and its match there is no other match, so that asking again from there costs nothing; a walk over
// all parts then searches the text once, however often it asks.
class ForwardSearch {
public:
  ForwardSearch(const TextPart& part, const char* pattern) : m_part(part), m_pattern(pattern) {}

  // As SearchSubString of the part: the first match at or behind `start`, or -1.
  int From(int start) {
    const int from = m_part.Start() + std::max(start, 0);
    const int length = m_pattern.GetLengthInChar();
    if (from > m_part.End() - length) {
      return -1;
    }
    if (from < m_start) {
      SearchBack(from);
    } else if (m_isFirst || (m_match >= 0 && from > m_match)) {
      m_match = length == 1 ? searchQuote(m_part.Text(), m_pattern, from)
                            : m_part.Text().SearchSubString(m_pattern, from, forward);
      m_start = from;
    }
    m_isFirst = false;
    return m_match >= 0 && m_match + length <= m_part.End() ? m_match - m_part.Start() : -1;
  }

  int PatternLength() const { return m_pattern.GetLengthInChar(); }

private:
  // No further than where the last search began: from there on its result holds.
  void SearchBack(int from) {
    const int reach = m_start - from + m_pattern.GetLengthInChar() - 1;
    const int match = m_part.Text().SubString(from, reach).SearchSubString(m_pattern, 0, forward);
    m_match = match >= 0 ? from + match : m_match;
    m_start = from;
  }

  const TextPart& m_part;
  const ZEPUnicodeString m_pattern;
  bool m_isFirst = true;
  int m_start = 0; // of the last search, in the whole text
  int m_match = -1;
};

// A walk over a malformed text can come back to a place for ever.
class Walk {
public:
  void Begin() {
    m_onward.clear();
    m_back.clear();
  }
  // True for a match at which the walk has not been before.
  bool Enters(int position) {
    if (position < 0) {
      return false;
    }
    if (m_onward.empty() || position > m_onward.back()) {
      m_onward.push_back(position);
      return true;
    }
    return !std::binary_search(m_onward.begin(), m_onward.end(), position) && m_back.insert(position).second;
  }

private:
  std::vector<int> m_onward; // in rising order: nearly all places of nearly all walks
  std::unordered_set<int> m_back;
};

// The quoted values of one attribute in one part after the other.
class AttributeValues {
public:
  AttributeValues(const TextPart& part, const char* attribute)
      : m_part(part),
        m_attribute(part, attribute),
        m_opening(part, "\""),
        m_closing(part, "\"") {}

  // Goes to the value between the first two quotes behind the first such attribute behind `start`: its
  // name holds none.
  // What is missing is a position of -1 for the search or the cut that follows. False when that is
  // the value where it stood before.
  bool GoTo(int start) {
    const int attribute = m_attribute.From(start);
    const int opening = m_opening.From(attribute < 0 ? attribute : attribute + m_attribute.PatternLength());
    const int closing = m_closing.From(opening + 1);
    if (m_readIn == m_part.Start() && opening == m_openingQuote) {
      return false; // the closing quote is the next one
    }
    m_readIn = m_part.Start();
    m_openingQuote = opening;
    m_closingQuote = closing;
    m_value = m_part.SubString(opening + 1, closing - opening - 1);
    return true;
  }
  const ZEPUnicodeString& Value() const { return m_value; }
  int ClosingQuote() const { return m_closingQuote; }

private:
  const TextPart& m_part;
  ForwardSearch m_attribute;
  ForwardSearch m_opening;
  ForwardSearch m_closing;
  int m_readIn = -1; // start of the part that the value stands in
  int m_openingQuote = -1;
  int m_closingQuote = -1;
  ZEPUnicodeString m_value;
};

// A text out of which one span was taken, without writing what is left. Positions are those of what
// is left.
class TextWithoutSpan {
public:
  explicit TextWithoutSpan(const ZEPUnicodeString& text) : m_text(text) {}

  // As Remove. REQUIRES: the first span, and it begins in the text or right in front of it.
  void TakeOut(int start, int length) {
    m_start = std::max(start, 0);
    m_length = std::min(start + length, m_text.GetLengthInChar()) - m_start;
  }

  int GetLengthInChar() const { return m_text.GetLengthInChar() - m_length; }

  // As SearchSubString. REQUIRES: a start of 0 or more.
  int Search(const ZEPUnicodeString& pattern, int start) const {
    if (start >= m_start) {
      return FromOriginal(m_text.SearchSubString(pattern, start + m_length, forward));
    }
    return SearchFromFront(pattern, start);
  }
  int SearchQuote(const ZEPUnicodeString& quote, int start) const {
    if (start >= m_start) {
      return FromOriginal(searchQuote(m_text, quote, start + m_length));
    }
    return SearchFromFront(quote, start);
  }

  ZEPUnicodeString Whole() const {
    if (m_length == 0) {
      return m_text;
    }
    ZEPUnicodeString whole;
    reserve(whole, GetLengthInChar());
    AppendPartTo(whole, 0, GetLengthInChar());
    return whole;
  }
  void AppendPartTo(ZEPUnicodeString& whole, int start, int end) const {
    if (start < m_start) {
      appendPart(whole, m_text, start, std::min(end, m_start) - start);
    }
    if (end > m_start) {
      const int behind = std::max(start, m_start);
      appendPart(whole, m_text, behind + m_length, end - behind);
    }
  }

private:
  int FromOriginal(int position) const { return position < 0 ? -1 : position - m_length; }

  int SearchFromFront(const ZEPUnicodeString& pattern, int start) const {
    const int match = m_text.SearchSubString(pattern, start, forward);
    if (match >= 0 && match + pattern.GetLengthInChar() <= m_start) {
      return match;
    }
    const int joined = SearchJoint(pattern, start);
    if (joined >= 0) {
      return joined;
    }
    const int end = m_start + m_length;
    return FromOriginal(match >= end ? match : m_text.SearchSubString(pattern, end, forward));
  }

  // A match that has units on both sides of the span.
  int SearchJoint(const ZEPUnicodeString& pattern, int start) const {
    const int reach = pattern.GetLengthInChar() - 1;
    const int from = std::max(start, m_start - reach);
    ZEPUnicodeString joint;
    AppendPartTo(joint, from, std::min(m_start + reach, GetLengthInChar()));
    const int match = joint.SearchSubString(pattern, 0, forward);
    return match < 0 ? -1 : from + match;
  }

  const ZEPUnicodeString& m_text;
  int m_start = 0;
  int m_length = 0;
};

// A text out of which spans are cut from front to back, each beginning with a match of one pattern:
// what is kept of its front, then its rest. Positions are those of the two together.
class CutText {
public:
  CutText(const TextWithoutSpan& text, const ZEPUnicodeString& pattern)
      : m_text(text),
        m_pattern(pattern),
        m_match(text.Search(pattern, 0)) {}

  // The first match, or -1.
  int FindMatch() {
    const int joined = FindJoined();
    if (joined >= 0) {
      return joined;
    }
    if (m_match >= 0 && m_match < m_rest) {
      m_match = m_text.Search(m_pattern, m_rest);
    }
    return ToPosition(m_match);
  }
  // The first quote at or behind `position`, or -1. REQUIRES: `position` lies in the rest.
  int FindQuote(const ZEPUnicodeString& quote, int position) const {
    return ToPosition(m_text.SearchQuote(quote, m_rest + position - m_kept.GetLengthInChar()));
  }

  // REQUIRES: the span reaches into the rest.
  void Cut(int position, int length) {
    if (m_isUncut) {
      reserve(m_kept, m_text.GetLengthInChar());
      m_isUncut = false;
    }
    const int keptLength = m_kept.GetLengthInChar();
    if (position < keptLength) {
      m_kept.Remove(position, keptLength - position);
      m_rest += length - (keptLength - position);
    } else {
      const int end = m_rest + position - keptLength;
      m_text.AppendPartTo(m_kept, m_rest, end);
      m_rest = end + length;
    }
  }

  ZEPUnicodeString Whole() const {
    ZEPUnicodeString whole = m_kept;
    m_text.AppendPartTo(whole, m_rest, m_text.GetLengthInChar());
    return whole;
  }
  // The same; nothing is left behind.
  ZEPUnicodeString TakeWhole() {
    if (m_isUncut) {
      return m_text.Whole();
    }
    m_text.AppendPartTo(m_kept, m_rest, m_text.GetLengthInChar());
    reserve(m_kept, 0);
    return std::move(m_kept);
  }

private:
  int ToPosition(int inText) const { return inText < 0 ? -1 : m_kept.GetLengthInChar() + inText - m_rest; }

  // Where a match begins that a cut has joined from both sides of it, or -1.
  int FindJoined() const {
    if (!mayEndInside(m_kept, m_pattern)) {
      return -1;
    }
    const int reach = m_pattern.GetLengthInChar() - 1;
    const int start = std::max(m_kept.GetLengthInChar() - reach, 0);
    ZEPUnicodeString joint = m_kept.SubString(start, reach);
    m_text.AppendPartTo(joint, m_rest, std::min(m_rest + reach, m_text.GetLengthInChar()));
    const int match = joint.SearchSubString(m_pattern, 0, forward);
    return match < 0 ? -1 : start + match;
  }

  const TextWithoutSpan& m_text;
  const ZEPUnicodeString& m_pattern;
  ZEPUnicodeString m_kept;
  int m_rest = 0;
  int m_match; // in the text, the first that was at or behind the rest when it was searched
  bool m_isUncut = true;
};

} // namespace zep
