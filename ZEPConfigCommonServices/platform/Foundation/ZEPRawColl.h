#pragma once

#include "ZEPCollec.h"

#include <cstddef>
#include <vector>

// What the raw collections share: 1-based growable arrays of plain values.
template <class Element>
class ZEPRawColl {
public:
  // The initial size is a capacity: the collection starts empty. 0 or less reserves nothing.
  explicit ZEPRawColl(int iInitialSize = 0) {
    if (iInitialSize > 0) {
      m_elements.reserve(static_cast<std::size_t>(iInitialSize));
    }
  }

  // Appends a value.
  void Append(Element element) { m_elements.push_back(element); }
  // The number of elements.
  int Size() const { return static_cast<int>(m_elements.size()); }
  // REQUIRES: 1 <= position <= Size().
  Element& operator[](int position) { return m_elements[static_cast<std::size_t>(position) - 1]; }
  // The same, to read.
  Element operator[](int position) const { return m_elements[static_cast<std::size_t>(position) - 1]; }
  // Empties the collection; the mode says whether its memory is kept for later elements.
  void RemoveAll(ZEPCollec::MemoryHandling mode) {
    m_elements.clear();
    if (mode == ZEPCollec::ReleaseMemory) {
      m_elements.shrink_to_fit();
    }
  }

private:
  std::vector<Element> m_elements;
};
