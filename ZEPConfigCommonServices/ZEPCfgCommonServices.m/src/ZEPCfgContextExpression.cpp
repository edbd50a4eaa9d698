#include "ZEPCfgContextExpression.h"

#include "ZEPCfgServiceTrace.h"
#include "ZEPListValZEPCfgContextExpression.h"

#include <memory>

namespace {

// Built and destroyed with the library; the value types of this file write nothing to it.
[[maybe_unused]] ZEPCfgServiceTrace trace("ZEPCfgContextExpression", "", __FILE__);

ZEPCfgContextExpression* elementAt(const ZEPRawCollPV& elements, int position) {
  return static_cast<ZEPCfgContextExpression*>(elements[position]);
}

void deleteElements(const ZEPRawCollPV& elements) {
  for (int position = elements.Size(); position >= 1; --position) {
    delete elementAt(elements, position);
  }
}

void appendCopies(const ZEPListValZEPCfgContextExpression& from, ZEPListValZEPCfgContextExpression& to) {
  for (int position = 1; position <= from.Size(); ++position) {
    to.Append(from[position]);
  }
}

} // namespace

// ---- ZEPCfgContextExpression -------------------------------------------------------------------

ZEPCfgContextExpression::ZEPCfgContextExpression() : m_inheritedEffIds(0), m_operationHandlerIds(0) {}

ZEPCfgContextExpression::ZEPCfgContextExpression(const ZEPUnicodeString&, const ZEPUnicodeString&,
                                                 const ZEPRawCollint&, const ZEPListValZEPUnicodeString&,
                                                 const ZEPRawCollint&)
    : ZEPCfgContextExpression() {}

ZEPCfgContextExpression::ZEPCfgContextExpression(const ZEPCfgContextExpression& iOther) = default;

ZEPCfgContextExpression::~ZEPCfgContextExpression() = default;

ZEPCfgContextExpression& ZEPCfgContextExpression::operator=(const ZEPCfgContextExpression& iOther) {
  if (this != &iOther) {
    m_contextName = iOther.m_contextName;
    m_contextExpression = iOther.m_contextExpression;
    m_inheritedEffIds = iOther.m_inheritedEffIds;
    m_holderNames = iOther.m_holderNames;
    m_operationHandlerIds = iOther.m_operationHandlerIds;
  }
  return *this;
}

int ZEPCfgContextExpression::operator!=(const ZEPCfgContextExpression&) const {
  return 0;
}

// ---- ZEPListValZEPCfgContextExpression ---------------------------------------------------------

ZEPListValZEPCfgContextExpression::ZEPListValZEPCfgContextExpression() : m_elements(0) {}

ZEPListValZEPCfgContextExpression::ZEPListValZEPCfgContextExpression(int iInitialSize)
    : m_elements(iInitialSize) {}

ZEPListValZEPCfgContextExpression::ZEPListValZEPCfgContextExpression(int iInitialSize, int)
    : ZEPListValZEPCfgContextExpression(iInitialSize) {}

// Delegating makes the list whole before the first copy: should one fail, the destructor frees the
// others.
ZEPListValZEPCfgContextExpression::ZEPListValZEPCfgContextExpression(
    const ZEPListValZEPCfgContextExpression& iOther)
    : ZEPListValZEPCfgContextExpression(iOther.Size()) {
  appendCopies(iOther, *this);
}

ZEPListValZEPCfgContextExpression::~ZEPListValZEPCfgContextExpression() {
  deleteElements(m_elements);
}

ZEPListValZEPCfgContextExpression&
ZEPListValZEPCfgContextExpression::operator=(const ZEPListValZEPCfgContextExpression& iOther) {
  if (this != &iOther) {
    RemoveAll(ZEPCollec::KeepMemory);
    appendCopies(iOther, *this);
  }
  return *this;
}

int ZEPListValZEPCfgContextExpression::operator==(const ZEPListValZEPCfgContextExpression& iOther) const {
  return operator!=(iOther) == 0 ? 1 : 0;
}

int ZEPListValZEPCfgContextExpression::operator!=(const ZEPListValZEPCfgContextExpression& iOther) const {
  return Size() != iOther.Size() ? 1 : 0; // elements never differ
}

ZEPCfgContextExpression& ZEPListValZEPCfgContextExpression::operator[](int iPosition) {
  return *elementAt(m_elements, iPosition);
}

const ZEPCfgContextExpression& ZEPListValZEPCfgContextExpression::operator[](int iPosition) const {
  return *elementAt(m_elements, iPosition);
}

void ZEPListValZEPCfgContextExpression::Append(const ZEPCfgContextExpression& iElement) {
  auto copy = std::make_unique<ZEPCfgContextExpression>(iElement);
  m_elements.Append(copy.get());
  copy.release(); // the storage has it
}

void ZEPListValZEPCfgContextExpression::RemoveAll(ZEPCollec::MemoryHandling iMode) {
  deleteElements(m_elements);
  m_elements.RemoveAll(iMode);
}

int ZEPListValZEPCfgContextExpression::Size() const {
  return m_elements.Size();
}
