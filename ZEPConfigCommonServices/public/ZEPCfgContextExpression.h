#pragma once

#include "ExportedByZEPCfgCommonServices.h"
#include "ZEPListValZEPUnicodeString.h"
#include "ZEPRawCollint.h"
#include "ZEPUnicodeString.h"

// One context of an effectivity expression, with the identifiers found in it: what
// ZEPCfgXMLExpressionServices::SplitByContext() makes of each. Callers read and fill the members
// directly. No operation fails; where memory runs out, the exception passes through. Not for several
// threads at once, unless all of them only read.
class ExportedByZEPCfgCommonServices ZEPCfgContextExpression {
public:
  // Every member is empty.
  ZEPCfgContextExpression();
  // The five arguments are ignored: the object starts empty, as the one above does, and callers fill
  // the members.
  ZEPCfgContextExpression(const ZEPUnicodeString& iContextName, const ZEPUnicodeString& iContextExpression,
                          const ZEPRawCollint& iInheritedEffIds,
                          const ZEPListValZEPUnicodeString& iHolderNames,
                          const ZEPRawCollint& iOperationHandlerIds);
  // A copy of all five members.
  ZEPCfgContextExpression(const ZEPCfgContextExpression& iOther);
  virtual ~ZEPCfgContextExpression();

  // Copies all five members; from itself, nothing happens.
  ZEPCfgContextExpression& operator=(const ZEPCfgContextExpression& iOther);
  // Always 0, whatever the members hold: context expressions are never told apart. There is no
  // operator==.
  int operator!=(const ZEPCfgContextExpression& iOther) const;

  // The name of the context's holder: its attribute "HolderName".
  ZEPUnicodeString m_contextName;
  // The whole expression, in XML, with this context alone.
  ZEPUnicodeString m_contextExpression;
  // The numbers "FilterableId" of its inherited effectivities, in the order of the text. In place of
  // what is no number stands the number in front of it, in an earlier context perhaps, or 0.
  ZEPRawCollint m_inheritedEffIds;
  // The holder name of each inherited effectivity, in the order of their ids; behind these, once for
  // each change, the name that was read last (perhaps that of an earlier context, or none).
  ZEPListValZEPUnicodeString m_holderNames;
  // The numbers "OperationHandlerId" of its changes, likewise.
  ZEPRawCollint m_operationHandlerIds;
};
