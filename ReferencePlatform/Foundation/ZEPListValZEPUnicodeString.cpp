#include "ZEPListValZEPUnicodeString.h"

#include <utility>

ZEPListValZEPUnicodeString::ZEPListValZEPUnicodeString() = default;
ZEPListValZEPUnicodeString::ZEPListValZEPUnicodeString(const ZEPListValZEPUnicodeString& other) = default;
ZEPListValZEPUnicodeString&
ZEPListValZEPUnicodeString::operator=(const ZEPListValZEPUnicodeString& other) = default;
ZEPListValZEPUnicodeString::~ZEPListValZEPUnicodeString() = default;

void ZEPListValZEPUnicodeString::Append(const ZEPUnicodeString& text) {
  // Copied before the list may move its elements: the text can be one of them.
  ZEPUnicodeString copy(text);
  m_texts.push_back(std::move(copy));
}

int ZEPListValZEPUnicodeString::Size() const {
  return static_cast<int>(m_texts.size());
}

ZEPUnicodeString& ZEPListValZEPUnicodeString::operator[](int position) {
  return m_texts[static_cast<std::size_t>(position) - 1];
}

const ZEPUnicodeString& ZEPListValZEPUnicodeString::operator[](int position) const {
  return m_texts[static_cast<std::size_t>(position) - 1];
}

void ZEPListValZEPUnicodeString::RemoveAll() {
  m_texts.clear();
}
