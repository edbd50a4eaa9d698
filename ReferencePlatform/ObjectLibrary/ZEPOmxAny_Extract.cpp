#include "ZEPHResult.h"
#include "ZEPOmxAny.h"
#include "ZEPOmxAnyValue.h"
#include "ZEPOmxKeyValueBlock.h"

long ZEPOmxAny::Extract(ZEPOmxKeyValueBlock& oBlock) const {
  const bool isObject = m_value && m_value->GetKind() == Value::Kind::Object;
  oBlock.m_object = isObject ? *this : ZEPOmxAny();
  return isObject ? S_OK : E_FAIL;
}
