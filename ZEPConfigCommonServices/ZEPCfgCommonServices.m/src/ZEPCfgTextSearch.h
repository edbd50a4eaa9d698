#pragma once

#include "ZEPUnicodeString.h"

#include <algorithm>
#include <climits>
#include <unordered_set>

// Searches and cuts that the text operations are made of. They keep the cost of a whole walk over a
// text linear, whatever the text.

namespace zep {

constexpr int forward = 1; // search mode

// Searches one text for one pattern from places that mostly move forward. Between the start of a
// search and its match there is no other match, so that asking again from there costs nothing;
// a walk over the text then searches it once, however often it asks.
class ForwardSearch {
public:
  ForwardSearch(const ZEPUnicodeString& text, const ZEPUnicodeString& pattern)
      : m_text(text),
        m_pattern(pattern) {}

  // As SearchSubString: the first match at or behind `start`, or -1.
  int From(int start) {
    start = std::max(start, 0);
    if (start < m_start || (m_match >= 0 && start > m_match)) {
      m_match = m_text.SearchSubString(m_pattern, start, forward);
      m_start = start;
    }
    return m_match;
  }

private:
  const ZEPUnicodeString& m_text;
  const ZEPUnicodeString m_pattern;
  int m_start = INT_MAX; // nothing was searched yet
  int m_match = -1;
};

// A walk over a malformed text can come back to a place for ever.
class Walk {
public:
  // True for a match at which the walk has not been before.
  bool Enters(int position) { return position >= 0 && m_visited.insert(position).second; }

private:
  std::unordered_set<int> m_visited;
};

// The quoted values of one attribute in one text.
class AttributeValues {
public:
  AttributeValues(const ZEPUnicodeString& text, const char* attribute)
      : m_text(text),
        m_attribute(text, attribute),
        m_opening(text, "\""),
        m_closing(text, "\"") {}

  // Goes to the value between the first two quotes behind the first such attribute behind `start`.
  // What is missing is a position of -1 for the search or the cut that follows. False when that is
  // the value where it stood before.
  bool GoTo(int start) {
    const int opening = m_opening.From(m_attribute.From(start));
    const int closing = m_closing.From(opening + 1);
    if (m_isRead && opening == m_openingQuote && closing == m_closingQuote) {
      return false;
    }
    m_isRead = true;
    m_openingQuote = opening;
    m_closingQuote = closing;
    m_value = m_text.SubString(opening + 1, closing - opening - 1);
    return true;
  }
  const ZEPUnicodeString& Value() const { return m_value; }
  int ClosingQuote() const { return m_closingQuote; }

private:
  const ZEPUnicodeString& m_text;
  ForwardSearch m_attribute;
  ForwardSearch m_opening;
  ForwardSearch m_closing;
  bool m_isRead = false;
  int m_openingQuote = -1;
  int m_closingQuote = -1;
  ZEPUnicodeString m_value;
};

// A text out of which spans are cut from front to back: what is kept of its front, then its rest.
// Positions are those of the two together.
class CutText {
public:
  explicit CutText(const ZEPUnicodeString& text) : m_text(text) {}

  int ToPosition(int inText) const { return inText < 0 ? -1 : m_kept.GetLengthInChar() + inText - m_rest; }
  int ToText(int position) const { return m_rest + position - m_kept.GetLengthInChar(); }
  const ZEPUnicodeString& Kept() const { return m_kept; }
  int Rest() const { return m_rest; }

  // REQUIRES: the span reaches into the rest.
  void Cut(int position, int length) {
    const int keptLength = m_kept.GetLengthInChar();
    if (position < keptLength) {
      m_kept.Remove(position, keptLength - position);
      m_rest += length - (keptLength - position);
    } else {
      m_kept.Append(m_text.SubString(m_rest, position - keptLength));
      m_rest += position - keptLength + length;
    }
  }
  // Where a match begins that a cut has joined from both sides of it, or -1.
  int FindJoined(const ZEPUnicodeString& pattern) const {
    const int reach = pattern.GetLengthInChar() - 1;
    const int start = std::max(m_kept.GetLengthInChar() - reach, 0);
    const ZEPUnicodeString joint = m_kept.SubString(start, reach) + m_text.SubString(m_rest, reach);
    const int match = joint.SearchSubString(pattern, 0, forward);
    return match < 0 ? -1 : start + match;
  }
  ZEPUnicodeString Whole() const { return m_kept + m_text.SubString(m_rest, INT_MAX); }

private:
  const ZEPUnicodeString& m_text;
  ZEPUnicodeString m_kept;
  int m_rest = 0;
};

} // namespace zep
