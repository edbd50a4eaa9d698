#pragma once

#include "ExportedByZEPCfgCommonServices.h"
#include "ZEPRawCollPV.h"

class ZEPCfgContextExpression;

// A list of context expressions. It makes, owns and deletes a copy of each element. Positions are
// 1-based and not checked. References to elements stay valid until the list removes them.
class ExportedByZEPCfgCommonServices ZEPListValZEPCfgContextExpression {
public:
  ZEPListValZEPCfgContextExpression();
  // The first number is the capacity to start with, the second has no effect. The list is empty.
  ZEPListValZEPCfgContextExpression(int iInitialSize); // NOLINT(google-explicit-constructor)
  ZEPListValZEPCfgContextExpression(int iInitialSize, int iIgnored);
  ZEPListValZEPCfgContextExpression(const ZEPListValZEPCfgContextExpression& iOther);
  ~ZEPListValZEPCfgContextExpression();

  ZEPListValZEPCfgContextExpression& operator=(const ZEPListValZEPCfgContextExpression& iOther);
  // Lists are told apart by their sizes alone.
  int operator==(const ZEPListValZEPCfgContextExpression& iOther) const;
  int operator!=(const ZEPListValZEPCfgContextExpression& iOther) const;

  ZEPCfgContextExpression& operator[](int iPosition);
  const ZEPCfgContextExpression& operator[](int iPosition) const;

  // Appends a copy; the argument may be an element of this list.
  void Append(const ZEPCfgContextExpression& iElement);
  // Deletes every element; the mode says what becomes of the storage.
  void RemoveAll(ZEPCollec::MemoryHandling iMode);
  int Size() const;

private:
  ZEPRawCollPV m_elements;
};
