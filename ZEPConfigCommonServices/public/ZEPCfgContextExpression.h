#pragma once

#include "ExportedByZEPCfgCommonServices.h"
#include "ZEPListValZEPUnicodeString.h"
#include "ZEPRawCollint.h"
#include "ZEPUnicodeString.h"

// One context of an effectivity expression, with the identifiers found in it. Callers read and fill
// the members directly.
class ExportedByZEPCfgCommonServices ZEPCfgContextExpression {
public:
  ZEPCfgContextExpression();
  // The five arguments are ignored: the object starts empty, and callers fill the members.
  ZEPCfgContextExpression(const ZEPUnicodeString& iContextName, const ZEPUnicodeString& iContextExpression,
                          const ZEPRawCollint& iInheritedEffIds,
                          const ZEPListValZEPUnicodeString& iHolderNames,
                          const ZEPRawCollint& iOperationHandlerIds);
  ZEPCfgContextExpression(const ZEPCfgContextExpression& iOther);
  virtual ~ZEPCfgContextExpression();

  ZEPCfgContextExpression& operator=(const ZEPCfgContextExpression& iOther);
  // Always 0: context expressions are never told apart.
  int operator!=(const ZEPCfgContextExpression& iOther) const;

  ZEPUnicodeString m_contextName;           // the context's holder
  ZEPUnicodeString m_contextExpression;     // the whole expression with this context alone
  ZEPRawCollint m_inheritedEffIds;          // filterable ids of its inherited effectivities
  ZEPListValZEPUnicodeString m_holderNames; // a holder name for each of these and those ids
  ZEPRawCollint m_operationHandlerIds;      // operation handler ids of its changes
};
