#pragma once

#include <cstddef>
#include <vector>

// What the lists of values share: 1-based positions, elements held by value.
template <class Element>
class ZEPListVal {
public:
  // Appends a copy; the argument may be an element of this list.
  void Append(const Element& element) {
    if (m_elements.capacity() == 0) {
      m_elements.reserve(kFirstCapacity);
    }
    m_elements.push_back(element);
  }
  // The number of elements.
  int Size() const { return static_cast<int>(m_elements.size()); }
  // REQUIRES: 1 <= position <= Size(). References stay valid until the list is next changed.
  Element& operator[](int position) { return m_elements[static_cast<std::size_t>(position) - 1]; }
  // The same, to read.
  const Element& operator[](int position) const { return m_elements[static_cast<std::size_t>(position) - 1]; }
  // Empties the list.
  void RemoveAll() { m_elements.clear(); }

private:
  static constexpr std::size_t kFirstCapacity = 4; // most lists that are not empty hold a few

  std::vector<Element> m_elements;
};
