#pragma once

#include "ExportedByZEPCfgCommonServices.h"
#include "ZEPRawCollPV.h"

class ZEPCfgContextExpression;

// A list of context expressions. It makes, owns and deletes a copy of each element. Positions are
// 1-based and not checked. References to elements stay valid until the list removes them. No operation
// fails; where memory runs out, the exception passes through, and an element whose copy could not be
// made is not in the list. Not for several threads at once, unless all of them only read.
class ExportedByZEPCfgCommonServices ZEPListValZEPCfgContextExpression {
public:
  // An empty list.
  ZEPListValZEPCfgContextExpression();
  // An empty list with room for so many elements.
  ZEPListValZEPCfgContextExpression(int iInitialSize); // NOLINT(google-explicit-constructor)
  // The same; the second number has no effect.
  ZEPListValZEPCfgContextExpression(int iInitialSize, int iIgnored);
  // Copies each element, in order.
  ZEPListValZEPCfgContextExpression(const ZEPListValZEPCfgContextExpression& iOther);
  // Deletes the elements, the last one first.
  ~ZEPListValZEPCfgContextExpression();

  // Deletes its elements and copies those of the other list; from itself, nothing happens.
  ZEPListValZEPCfgContextExpression& operator=(const ZEPListValZEPCfgContextExpression& iOther);
  // Non-zero when both have the same number of elements: lists are told apart by their sizes alone.
  int operator==(const ZEPListValZEPCfgContextExpression& iOther) const;
  // Non-zero when the numbers of elements differ.
  int operator!=(const ZEPListValZEPCfgContextExpression& iOther) const;

  // The element at a position from 1 to Size(), to read and to change; it stays the list's.
  ZEPCfgContextExpression& operator[](int iPosition);
  // The element at a position from 1 to Size(), to read; it stays the list's.
  const ZEPCfgContextExpression& operator[](int iPosition) const;

  // Appends a copy; the caller keeps the argument, which may be an element of this list.
  void Append(const ZEPCfgContextExpression& iElement);
  // Deletes every element, the last one first; the mode says what becomes of the storage.
  void RemoveAll(ZEPCollec::MemoryHandling iMode);
  // The number of elements.
  int Size() const;

private:
  ZEPRawCollPV m_elements;
};
